#include "shareddata/kes_sd_protocol.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/fake_terminal.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

class SharedData : public ScaleFixture {
 protected:
  SharedData() { Start(1); }
  void Start(std::int16_t number) {
    scale = NewScale(number);
    scale->Disabled(false);
    ethernet = NewEthernet("10.0.0.5");
    ethernet->SocketProtocol(0);  // as another protocol would leave them
    ethernet->RemotePort(1749);
    scale->Connection(ethernet);
    BindProtocol();
    scale->RunScale();
    socket = std::dynamic_pointer_cast<FakeSocket>(ethernet->mvarSocket());
  }
  void BindProtocol() {
    protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
    protocol->scaleNum("A");
    scale->Protocol(protocol);
  }
  std::shared_ptr<EthernetConnection> NewEthernet(const char* address) {
    auto made = NewObject<EthernetConnection>(*site, "EthernetConnection");
    made->IPAddress(address);
    made->IsBidirectional(true);
    return made;
  }

  std::shared_ptr<TarnScale> scale;
  std::shared_ptr<EthernetConnection> ethernet;
  std::shared_ptr<KesSDProtocol> protocol;
  std::shared_ptr<FakeSocket> socket;
};

TEST_F(SharedData, ALongNodeTextRunsOn) {
  Start(12);
  EXPECT_EQ(ethernet->LocalPort(), 1712);
  EXPECT_EQ(ethernet->NodeName(), "/kc");
  // Only the end of the request stops it, and the header's rest stands.
  ethernet->SetNodeName(std::string(300, 'n'));
  scale->Z();
  EXPECT_EQ(socket->sent.back().substr(14),
            std::string(10, 'n') + Hex("10 00 01 01 00") + "1" + std::string(171, 'n'));
}

TEST_F(SharedData, FailuresOfTheSocketReachCommandsAndAreTracedElsewhere) {
  int ticks = 0;
  const auto count = scale->UpdateWeight.Subscribe([&] { ++ticks; });
  socket->failSend = AutomationError(ErrorNumber::SocketWrongState, "Not bound");
  EXPECT_EQ(ErrorOf([&] { scale->Z(); }), 40006);
  host.loop.Advance(100);
  EXPECT_EQ(ticks, 1);
  socket->Deliver("x");
  EXPECT_EQ(host.traces, (std::vector<std::string>{"Scale 1 (Scale x): Not bound",
                                                   "Scale 1 (Scale x): A reply is cut short"}));

  host.traces.clear();
  scale->Connection(NewEthernet(""));
  BindProtocol();
  scale->RunScale();  // without a socket: a quiet scale
  EXPECT_EQ(ErrorOf([&] { scale->Z(); }), 91);
  protocol->Connection(NewObject<_Connection>(*site, "NoConnection"));
  EXPECT_EQ(ErrorOf([&] { protocol->Connect(); }), 0);
  host.loop.Advance(1000);
  EXPECT_TRUE(host.traces.empty());
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
  const auto round = [&] {
    library.calls.clear();
    host.loop.Advance(100);
    return recorder.Take();
  };
  EXPECT_EQ(round(), "UpdateWeight");
  EXPECT_EQ(library.calls,
            (std::vector<std::string>{"KesRead /a1/_safl 3 20", "KesRead /a1/wt102 13 20",
                                      "KesRead /a1/ws102 13 20", "KesRead /a1/wt103 4 20"}));
  EXPECT_FALSE(scale->ActivityLED());

  double tare = 1.5;
  scale->T();
  scale->SetTare(tare);
  EXPECT_EQ(library.variables["/a1/t_690"], "1");
  EXPECT_EQ(library.variables["/a1/bas12"], Hex("000000000000f83f"));

  library.variables.erase("/a1/ws102");
  EXPECT_EQ(round(), "StatusChange NewWeight UpdateWeight");
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_EQ(library.calls.size(), 3U);
  EXPECT_TRUE(host.traces.empty());
  library.missing = true;
  round();
  EXPECT_EQ(host.traces.size(), 1U);
  EXPECT_EQ(ErrorOf([&] { scale->T(); }), 53);
  library.missing = false;
  scale->StopScale();
}

}  // namespace
}  // namespace tarn
