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

TEST_F(SharedData, NamesFollowTheLetter) {
  const struct {
    const char* letter;
    const char* stored;
    const char* chain;
    const char* commands;  ///< C T P Z
  } cases[] = {
      {"A", "a", "/_safl /wt101 /wt102 /ws102 /wt103", "/t_691=1 /t_690=1 /t_692=1 /t_693=1"},
      {"B", "b", "/_sbfl /wt201 /wt202 /ws202 /wt203", "/t_6a1=1 /t_6a0=1 /t_6a2=1 /t_6a3=1"},
      {"c", "c", "/_scfl /wt301 /wt302 /ws302 /wt303", "/t_621=1 /t_620=1 /t_622=1 /t_623=1"},
      {"D", "d", "/_sdfl /wt401 /wt402 /ws402 /wt403", "/t_631=1 /t_630=1 /t_632=1 /t_633=1"},
      {"E", "e", "/_sefl /wt501 /wt502 /ws502 /wt503", "/t_641=1 /t_640=1 /t_642=1 /t_643=1"},
      {"", "e", "/_sefl /wt501 /wt502 /ws502 /wt503", "/t_641=1 /t_640=1 /t_642=1 /t_643=1"},
      {"F", "f", "/_sffl /wt601 /wt602 /ws602 /wt603", ""},
  };
  for (const auto& c : cases) {
    protocol->scaleNum(c.letter);
    EXPECT_EQ(protocol->scaleNum(), c.stored);
    scale->C(), scale->T(), scale->P(), scale->Z();
    EXPECT_EQ(Sent(), c.commands);
    host.loop.Advance(3000);  // silence lets the next chain begin
    socket->sent.clear();
    Tick();
    for (int i = 0; i < 5; ++i) {
      socket->Deliver(Reply(FieldText(HeaderOf(socket->sent.back()).destination), "\x20\x02kg"));
    }
    EXPECT_EQ(Sent(), c.chain);
  }
  const struct {
    const char* letter;
    const char* variable;
  } presets[] = {
      {"a", "/bas12"}, {"b", "/bas13"}, {"c", "/bas54"}, {"d", "/bas55"}, {"e", "/bas56"}};
  for (const auto& c : presets) {
    protocol->scaleNum(c.letter);
    double tare = 0;
    scale->SetTare(tare);
    EXPECT_EQ(Sent(), c.variable + "="s + std::string(8, '\0'));
  }
}

TEST_F(SharedData, PublishesReadings) {
  const std::string valid = "\x20\x02";
  const struct {
    const char* name;
    std::string status, gross, net, tare, units;
    const char* reading;
  } cases[] = {
      {"usual", valid, "  12.5", "10.0 ", "2.5", "kg", "12.5|2.5|10.0 kg"},
      {"motion", "\x21\x02", "12.5", "10", "2.5", "lb", "12.5|2.5|10 lb M"},
      {"units end at the 0", valid, "1", "1", "0", "kg  \0?"s, "1|0|1 kg"},
      {"texts of blanks", valid, "   ", "1", "0", " ", "|0|1 "},
      {"a comma alone stays", valid, "1,5", "1.5", "0", "t", "1,5|0|1.5 t"},
      {"bytes of the code page", valid, "1", "1", "0", "\xB5g", "1|0|1 \xC2\xB5g"},
      {"not valid: units and motion stay", "\x21\x10", "1", "1", "0", "kg",
       "*******|*******|******* \xC2\xB5g R"},
      {"a status of one character", "\x02", "1", "1", "0", "kg",
       "*******|*******|******* \xC2\xB5g R"},
  };
  for (const auto& c : cases) {
    Cycle(c.status, c.gross, c.net, c.tare, c.units);
    EXPECT_EQ(Reading(), c.reading) << c.name;
    EXPECT_TRUE(scale->ActivityLED()) << c.name;
    EXPECT_FALSE(scale->watchdog()) << c.name;
  }
  // An empty value keeps the reading back.
  int readings = 0;
  const auto count = scale->WeightData()->NewWeight.Subscribe([&] { ++readings; });
  Cycle(valid, "7", "7", "", "kg");
  EXPECT_EQ(readings, 0);
  Sent();
  Tick();
  EXPECT_EQ(Sent(), "") << "the chain is not complete and the scale not yet silent";
}

TEST_F(SharedData, TextsFollowTheUsersDecimalSeparator) {
  host.locale.decimal = ",";
  Start(2, "A");
  Cycle("\x20\x02", "1,234.5");
  EXPECT_EQ(scale->WeightData()->GrossWeight(), "1,234,5");
  EXPECT_EQ(scale->WeightData()->NetWeightValue(), 10);
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

TEST_F(SharedData, OnePrintForEachTimeTheBitComesUp) {
  int prints = 0;
  const auto count = scale->PrintData()->NewWeight.Subscribe([&] { ++prints; });
  const struct {
    const char* status;
    int prints;
  } cases[] = {
      {"\x20\x12", 1}, {"\x20\x12", 1}, {"\x20\x10", 1}, {"\x20\x12", 1}, {"\x20\x02", 1},
      {"\x20\x12", 2}, {"\x20\x02", 2}, {"\x21\x12", 2}, {"\x20\x12", 3}};  // the last but one
                                                                            // waits for the end of
                                                                            // motion
  for (const auto& c : cases) {
    Cycle(c.status);
    EXPECT_EQ(prints, c.prints);
  }
  EXPECT_EQ(scale->PrintData()->NetWeight(), "10.0");
}

TEST_F(SharedData, SequenceRunsFromOneTo126AndThenFromZero) {
  for (int expected = 1; expected <= 260; ++expected) {
    scale->Z();
    EXPECT_EQ(socket->sent.back()[26], expected % 127);
  }
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
    ASSERT_EQ(socket->State(), SocketState::Open);
    socket->Deliver(Reply("/k1/wt103", "lb"));
    EXPECT_EQ(recorder.Take(), "") << running;
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
  std::string changed;
  const auto watch =
      saved->PropertyChanged.Subscribe([&](std::string_view name) { changed = name; });
  saved->scaleNum("");
  EXPECT_EQ(changed, "");
  saved->scaleNum("C");
  EXPECT_EQ(changed, "ScaleNum");
  saved->pType(ProtocolType::KesSQLType);
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
