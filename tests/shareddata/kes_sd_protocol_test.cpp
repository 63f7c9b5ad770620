#include "shareddata/kes_sd_protocol.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/scale_fixture.hpp"
#include "tests/support/shared_data.hpp"

namespace tarn {
namespace {

using namespace std::string_literals;

class SharedData : public ScaleFixture {
 protected:
  SharedData() { Start(1, "A"); }

  void Start(std::int16_t number, const std::string& letter) {
    scale = NewScale(number);
    ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
    ethernet->IPAddress("10.0.0.5");
    ethernet->IsBidirectional(true);
    ethernet->SocketProtocol(0);  // as another protocol would leave them
    ethernet->RemotePort(1749);
    protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
    protocol->scaleNum(letter);
    scale->Connection(ethernet);
    scale->Protocol(protocol);
    scale->Disabled(false);
    scale->RunScale();
    socket = std::dynamic_pointer_cast<FakeSocket>(ethernet->mvarSocket());
    socket->sent.clear();
  }
  /// The names that were asked for or written since the last call, with the values written.
  std::string Sent() const {
    std::string text;
    for (const std::string& request : std::exchange(socket->sent, {})) {
      if (!text.empty()) text += ' ';
      text += std::string(FieldText(HeaderOf(request).destination).substr(3));
      if (request[24] == 0x10) text += "=" + request.substr(29, static_cast<unsigned>(request[27]));
    }
    return text;
  }
  void Tick() { host.loop.Advance(100); }
  /// One whole reading; the units end it.
  void Cycle(const std::string& status, const std::string& gross = "12.5",
             const std::string& net = "10.0", const std::string& tare = "2.5",
             const std::string& units = "kg") {
    Tick();
    socket->Deliver(Reply("/k1/_safl", status));
    socket->Deliver(Reply("/k1/wt101", gross));
    socket->Deliver(Reply("/k1/wt102", net));
    socket->Deliver(Reply("/k1/ws102", tare));
    socket->Deliver(Reply("/k1/wt103", units));
  }
  std::string Reading() const {
    const auto w = scale->WeightData();
    return w->GrossWeight() + "|" + w->TareWeight() + "|" + w->NetWeight() + " " + w->Units() +
           (w->Motion() ? " M" : "") + (w->OutOfRange() ? " R" : "") +
           (w->NoDataError() ? " E" : "");
  }

  std::shared_ptr<TarnScale> scale;
  std::shared_ptr<EthernetConnection> ethernet;
  std::shared_ptr<KesSDProtocol> protocol;
  std::shared_ptr<FakeSocket> socket;
};

TEST_F(SharedData, ConnectTakesTheSocketOfTheScaleAndItsPorts) {
  Start(12, "A");
  EXPECT_EQ(socket->calls,
            (std::vector<std::string>{"Transport 1", "LocalPort 1712", "RemoteHost 10.0.0.5",
                                      "RemotePort 1701", "Bind 1712"}));
  EXPECT_EQ(ethernet->NodeName(), "/kc");
}

TEST_F(SharedData, RequestsHaveTheirExactBytes) {
  Tick();
  std::string read = Hex("00640110 2f77312f7730303031 00 2f6b312f5f7361666c 00 20000100 00");
  read.resize(201);
  ASSERT_EQ(socket->sent.size(), 1U);
  EXPECT_EQ(socket->sent[0], read);
  socket->sent.clear();
  double tare = -12.5;
  scale->SetTare(tare);
  std::string write =
      Hex("00640110 2f77312f7730303031 00 2f6b312f6261733132 00 10000208 00"
          "00000000000029c0");
  write.resize(201);
  EXPECT_EQ(socket->sent[0], write);

  // A long node text runs on: only the end of the request stops it, and the header's rest stands.
  ethernet->SetNodeName(std::string(300, 'n'));
  scale->Z();
  const std::string& last = socket->sent.back();
  EXPECT_EQ(last.size(), 201U);
  EXPECT_EQ(last.substr(14, 20), std::string(10, 'n') + Hex("10 00 03 01 00") + "1nnnn");
  EXPECT_EQ(last.substr(34), std::string(167, 'n'));
}

TEST_F(SharedData, EventsComeInTheOrderOfTheSetters) {
  Cycle("\x20\x02");
  EventRecorder recorder;
  recorder.Watch(*scale);
  Cycle("\x21\x02", "1", "1", "0", "lb");
  // motion, units, and the net mode that the commit finds gone
  EXPECT_EQ(recorder.Take(), "UpdateWeight StatusChange StatusChange StatusChange NewWeight");
  Cycle("\x21\x02", "2", "2", "0", "lb");
  EXPECT_EQ(recorder.Take(), "UpdateWeight NewWeight");
  // While the values stay, any arrival publishes them once more.
  socket->Deliver(Reply("/k1/t_690", ""));
  EXPECT_EQ(recorder.Take(), "NewWeight");
}

TEST_F(SharedData, StepsThroughArrivals) {
  const std::string status = Reply("/k1/_safl", "\x20\x02");
  const std::string gross = Reply("/k1/wt101", "5");
  const std::string foreign = Reply("/k1/zz999", "abc");
  std::string many;
  while (many.size() < 65000) many += Reply("/k1/_safl", "");
  const struct {
    const char* name;
    std::string datagram;
    const char* asked;
  } cases[] = {
      {"two replies", status + gross, "/wt101 /wt102"},
      {"foreign in front", foreign + status, "/wt101"},
      {"a variable is asked for once a datagram", many + gross, "/wt101 /wt102"},
      {"any node text", Reply("/xy/_safl", "1"), "/wt101"},
      {"only the low byte of the length counts",
       Reply("/k1/_safl", "").replace(27, 2, Hex("0001")) + gross, "/wt101 /wt102"},
      {"no data", Reply("/k1/_safl", ""), "/wt101"},
      {"cut short", status.substr(0, 30), ""},
      {"cut short behind a good one", gross + status.substr(0, 29), "/wt102"},
      {"shorter than a header", status.substr(0, 28), ""},
      {"one byte", "x", ""},
      {"empty", "", ""},
      {"a rest behind", gross + "abc", "/wt102"},
      {"a long one of noise", std::string(65507, '\xFF'), ""},
  };
  for (const auto& c : cases) {
    socket->sent.clear();
    socket->Deliver(c.datagram);
    EXPECT_EQ(Sent(), c.asked) << c.name;
  }
  EXPECT_EQ(host.traces, (std::vector<std::string>{"Scale x: A reply is cut short"}));
}

TEST_F(SharedData, AfterALostReplyTheNextChainWaitsForSilence) {
  Cycle("\x20\x02");
  Sent();
  Tick();
  EXPECT_EQ(Sent(), "/_safl");
  socket->Deliver(Reply("/k1/_safl", "\x20\x02"));  // what it asks for gets lost
  EXPECT_EQ(Sent(), "/wt101");
  host.loop.Advance(300);
  EXPECT_EQ(Sent(), "");
  host.loop.Advance(1500);  // two time-outs of 500 ms
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_EQ(Sent().substr(0, 6), "/_safl");
  host.loop.Advance(100);
  Cycle("\x20\x02");
  host.loop.Advance(600);
  EXPECT_EQ(Reading(), "12.5|2.5|10.0 kg");
  EXPECT_FALSE(scale->ErrorLED());
}

TEST_F(SharedData, FailuresOfTheSocketReachCommandsAndAreTracedElsewhere) {
  int ticks = 0;
  const auto count = scale->UpdateWeight.Subscribe([&] { ++ticks; });
  socket->failSend = AutomationError(ErrorNumber::SocketWrongState, "Not bound");
  EXPECT_EQ(ErrorOf([&] { scale->Z(); }), 40006);
  Tick();
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(host.traces, (std::vector<std::string>{"Scale x: Not bound"}));

  ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
  ethernet->IPAddress("");
  ethernet->IsBidirectional(true);
  protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
  protocol->scaleNum("A");
  scale->Connection(ethernet);
  scale->Protocol(protocol);
  host.traces.clear();
  scale->RunScale();  // without a socket: a quiet scale
  host.loop.Advance(1000);
  EXPECT_TRUE(host.traces.empty());
  EXPECT_EQ(ErrorOf([&] { scale->Z(); }), 91);
  protocol->Connection(NewObject<_Connection>(*site, "NoConnection"));
  EXPECT_EQ(ErrorOf([&] { protocol->Connect(); }), 0);
  Tick();
  EXPECT_TRUE(host.traces.empty());
}

TEST_F(SharedData, AScaleThatIsDisabledWhileItRunsAsksForNothing) {
  scale->Disabled(true);
  Tick();
  EXPECT_EQ(Sent(), "");
  EXPECT_TRUE(host.traces.empty());
}

TEST_F(SharedData, ALineThatWasReplacedIsReadNoMore) {
  Cycle("\x20\x02");
  EventRecorder recorder;
  const auto without = NewObject<EthernetConnection>(*site, "EthernetConnection");
  without->IPAddress("");
  scale->Connection(without);
  recorder.Watch(*scale);
  for (const bool running : {false, true}) {
    if (running) scale->RunScale();
    recorder.Take();
    EXPECT_EQ(socket->State(), SocketState::Closed);
    socket->Bind(1701);  // as a client may that holds it
    socket->Deliver(Reply("/k1/wt103", "lb"));
    EXPECT_EQ(recorder.Take(), "") << running;
    socket->Close();
  }
}

TEST_F(SharedData, OnTheTerminalNetworkNoWeightIsPublished) {
  socket->Deliver(Reply("/k1/wt101", "a gross weight of the line before"));
  const auto network = NewObject<ArcNetConnection>(*site, "ArcNetConnection");
  network->Cluster("A");
  network->KestrelNum("1");
  network->IsBidirectional(true);
  scale->Connection(network);
  auto& library = host.terminalNetwork;
  library.variables = {{"/a1/_safl", "\x20\x02"}, {"/a1/wt102", "10.0"}, {"/a1/ws102", "2.5"},
                       {"/a1/wt103", "kg"},       {"/a1/t_690", ""},     {"/a1/bas12", ""}};
  scale->RunScale();
  scale->WeightData()->NoDataError(false);
  EventRecorder recorder;
  recorder.Watch(*scale);
  library.calls.clear();
  Tick();
  EXPECT_EQ(library.calls,
            (std::vector<std::string>{"KesRead /a1/_safl 3 20", "KesRead /a1/wt102 13 20",
                                      "KesRead /a1/ws102 13 20", "KesRead /a1/wt103 4 20"}));
  EXPECT_EQ(recorder.Take(), "UpdateWeight");
  EXPECT_FALSE(scale->ActivityLED());

  double tare = 1.5;
  scale->T();
  scale->SetTare(tare);
  EXPECT_EQ(library.variables["/a1/t_690"], "1");
  EXPECT_EQ(library.variables["/a1/bas12"], Hex("000000000000f83f"));
  EXPECT_EQ(library.calls.back().substr(0, 20), "KesWrite /a1/bas12 8");

  library.variables.erase("/a1/ws102");
  library.calls.clear();
  Tick();
  EXPECT_EQ(recorder.Take(), "StatusChange NewWeight UpdateWeight");
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_EQ(library.calls.size(), 3U);
  EXPECT_TRUE(host.traces.empty());
  library.missing = true;
  Tick();
  EXPECT_EQ(host.traces.size(), 1U);
  EXPECT_EQ(ErrorOf([&] { scale->T(); }), 53);
  library.missing = false;
  scale->StopScale();
}

TEST_F(SharedData, SurvivesWhatAHandlerDoesInTheMiddleOfAReading) {
  const std::vector<std::function<void()>> deeds = {
      [&] { scale->StopScale(); },
      [&] { scale->RunScale(); },
      [&] { scale->Protocol(NewObject<_Protocol>(*site, "NoProtocol")); },
      [&] { scale->Connection(NewObject<_Connection>(*site, "NoConnection")); },
      [&] { scale.reset(); },
      [&] { protocol->scaleNum("B"); },
      [&] { host.loop.RunUntil([] { return false; }, 1000); },
  };
  for (const auto& deed : deeds) {
    for (const bool inStatus : {true, false}) {
      Start(1, "A");
      protocol.reset();
      ethernet.reset();
      const auto record = scale->WeightData();
      protocol = std::dynamic_pointer_cast<KesSDProtocol>(scale->Protocol());
      const std::weak_ptr<KesSDProtocol> watched = protocol;
      auto& event = inStatus ? record->StatusChange : record->NewWeight;
      bool done = false;
      const auto subscription = event.Subscribe([&] {
        if (std::exchange(done, true)) return;
        auto held = std::move(protocol);
        protocol = held;
        deed();
        protocol.reset();
      });
      Cycle("\x21\x12", "1", "1", "0", "oz");
      host.loop.Advance(1000);
      EXPECT_TRUE(done);
    }
  }
}

TEST_F(SharedData, SettingsPersist) {
  const auto saved = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
  EXPECT_EQ(saved->pType(), ProtocolType::KesSharedDataType);
  EXPECT_EQ(saved->TypeToClass(saved->pType()), ProtocolClass::KesSharedData);
  EXPECT_EQ(saved->scaleNum(), "");
  std::string changed;
  const auto watch =
      saved->PropertyChanged.Subscribe([&](std::string_view name) { changed = name; });
  saved->scaleNum("");
  EXPECT_EQ(changed, "");
  saved->scaleNum("C");
  EXPECT_EQ(changed, "ScaleNum");
  saved->pType(ProtocolType::KesSQLType);
  EXPECT_EQ(ErrorOf([&] { saved->pType(ProtocolType{70000}); }), 6);
  PropertyBag written, expected;
  saved->WriteProperties(written);
  expected.WriteText("ScaleNum", "c", "A");
  expected.WriteInteger("Ptype", static_cast<std::int16_t>(ProtocolType::KesSQLType), 14);
  EXPECT_EQ(written.Contents(), expected.Contents());
  PropertyBag bag;
  bag.WriteObject("Protocol", *saved);
  const auto read = ReadObject<KesSDProtocol>(bag, "Protocol", *site, "NoProtocol");
  EXPECT_EQ(read->scaleNum(), "c");
  EXPECT_EQ(read->pType(), ProtocolType::KesSQLType);
  const auto bare = std::make_shared<KesSDProtocol>(*site);
  bare->ReadProperties(PropertyBag());
  EXPECT_EQ(bare->scaleNum(), "a");
  EXPECT_EQ(bare->pType(), ProtocolType::KesSharedDataType);
}

}  // namespace
}  // namespace tarn
