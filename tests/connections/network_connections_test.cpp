// Connections over Ethernet and over the terminals' own network, and links that come back.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "connections/arcnet_connection.hpp"
#include "connections/ethernet_connection.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

using Calls = std::vector<std::string>;

class EthernetTest : public ScaleFixture {
 protected:
  EthernetTest() { ethernet->IPAddress("10.0.0.5"); }

  /// Takes the socket of scale 5, of which `scale` becomes the owner.
  void MakeScale() {
    scale = NewScale(5);
    scale->Connection(ethernet);
    TakeSocket();
  }
  void TakeSocket() {
    socket = std::dynamic_pointer_cast<FakeSocket>(ethernet->TakeSocket(5, *site));
  }
  /// As the template protocol prepares it.
  void ConnectTcp() {
    TakeSocket();
    ethernet->SocketProtocol(0);
    ethernet->LocalPort(0);
    ethernet->RemotePort(1749);
    ethernet->Connect();
  }
  std::size_t Tries() const {
    return static_cast<std::size_t>(
        std::count(socket->calls.begin(), socket->calls.end(), "Connect"));
  }

  std::shared_ptr<EthernetConnection> ethernet =
      NewObject<EthernetConnection>(*site, "EthernetConnection");
  std::shared_ptr<FakeSocket> socket;
  std::shared_ptr<TarnScale> scale;
};

TEST_F(EthernetTest, TheSocketIsTakenOnceByScaleNumber) {
  const std::string codes = " 123456789abcdefghijklmnopqrstuvw";
  for (std::int16_t number = 0; number <= 33; ++number) {
    const auto made = NewObject<EthernetConnection>(*site, "EthernetConnection");
    const std::int16_t taken = number < 1 || number > 32 ? std::int16_t{7} : number;
    EXPECT_EQ(made->TakeSocket(number, *site), site->Winsock(number));
    EXPECT_EQ(made->NodeName().empty(), taken != number);
    EXPECT_EQ(made->TakeSocket(7, *site), site->Winsock(taken)) << "a second call";
    EXPECT_EQ(made->NodeName(), std::string("/k") + codes.at(static_cast<std::size_t>(taken)));
  }
  for (const char* address : {"", "10.0.0.5"}) {
    ethernet->IPAddress(address);
    EXPECT_EQ(ethernet->TakeSocket(5, *site), nullptr) << "for good";
  }
  ethernet->Connect();
  ethernet->Disconnect();
}

TEST_F(EthernetTest, ConnectOpensTheSocketAsTheProtocolArranged) {
  ethernet->Connect();  // nothing is taken yet
  TakeSocket();
  EXPECT_EQ(ethernet->mvarSocket(), socket);
  for (int i = 0; i < 2; ++i) ethernet->Connect();
  ethernet->Disconnect();
  ConnectTcp();
  EXPECT_EQ(socket->calls,
            (Calls{"Transport 1", "LocalPort 1700", "RemoteHost 10.0.0.5", "RemotePort 1701",
                   "Bind 1700", "Close", "Transport 1", "LocalPort 1700", "RemoteHost 10.0.0.5",
                   "RemotePort 1701", "Bind 1700", "Close", "Transport 0", "LocalPort 0",
                   "RemoteHost 10.0.0.5", "RemotePort 1749", "Connect"}));
  for (const int reads : {1002, 1001}) {  // the first one asks whether it is to be closed at all
    const std::size_t tries = Tries();
    socket->openReads = reads;
    ethernet->Connect();
    EXPECT_EQ(Tries(), tries + (reads == 1001 ? 1 : 0)) << "else nothing is opened or reported";
  }
  socket->failOpen = AutomationError(ErrorNumber::SocketAddressInUse, "The port is in use");
  EXPECT_EQ(ErrorOf([&] { ethernet->Connect(); }), 10048);
}

TEST_F(EthernetTest, DatagramsOfAnotherSenderCountUnlessTheSenderIsChecked) {
  MakeScale();
  socket->names["terminal-7"] = 0x0A000007;
  int arrived = 0;
  const auto onArrival = socket->DataArrival.Subscribe([&](std::int32_t) { ++arrived; });
  const std::tuple<const char*, bool, std::uint32_t, int> cases[] = {
      {"10.0.0.5", false, 0x0A000006, 1},  {"10.0.0.5", true, 0x0A000006, 0},
      {"10.0.0.5", true, 0x0A000005, 1},   {"terminal-7", true, 0x0A000007, 1},
      {"terminal-7", true, 0x0A000005, 0}, {"terminal-8", true, 0x0A000008, 0},
      {"0.0.0.0", true, 0x7F000001, 0},    {"0.0.0.0", false, 0x7F000001, 1}};
  for (const auto& [address, checked, sender, counts] : cases) {
    ethernet->IPAddress(address);
    ethernet->CheckSender(checked);
    ethernet->Connect();
    socket->SendData("?");
    host.loop.RunPending();
    socket->sender.ip = sender;
    socket->Deliver("!");
    EXPECT_EQ(std::exchange(arrived, 0), counts) << address << sender;
  }
  EXPECT_EQ(host.traces.front(), "Scale 5 (Scale x): a datagram of another sender does not count");
}

TEST_F(EthernetTest, ATcpConnectionThatEndsIsTracedAndClosed) {
  MakeScale();
  ConnectTcp();
  socket->Accept();
  const auto client = socket->Closed.Subscribe(
      [&] { EXPECT_EQ(socket->State(), SocketState::Closing) << "handlers come first"; });
  socket->HangUp();
  host.loop.RunPending();
  EXPECT_EQ(socket->State(), SocketState::Closed);
  ethernet->Connect();
  socket->Fail(10061, "Refused");
  host.loop.Advance(120'000);
  EXPECT_EQ(socket->State(), SocketState::Closed);
  EXPECT_EQ(Tries(), 2U) << "it does not come back by itself";
  EXPECT_EQ(host.traces, (Calls{"Scale 5 (Scale x): 10.0.0.5: the connection was closed",
                                "Scale 5 (Scale x): 10.0.0.5: Refused (10061)"}));

  ethernet->SocketProtocol(1);
  ethernet->Connect();
  socket->Fail(10054, "Unreachable");
  host.loop.RunPending();
  EXPECT_EQ(socket->State(), SocketState::Open);

  ConnectTcp();
  scale->Connection(NewObject<_Connection>(*site, "NoConnection"));
  EXPECT_EQ(socket->State(), SocketState::Closed) << "the number's next connection needs it";
}

TEST_F(EthernetTest, ABrokenTcpConnectionComesBackAfterGrowingPauses) {
  ethernet->AutoReconnect(true);
  ConnectTcp();
  socket->Accept();
  std::size_t tries = Tries();
  const auto refuse = [this](const std::string& reason) {
    socket->Fail(10061, reason);
    host.loop.RunPending();
  };
  refuse("Reset");
  const auto client =
      socket->Error.Subscribe([&](std::int32_t, const std::string&) { socket->Close(); });
  for (const int pause : {1, 2, 4, 8, 16, 30, 30}) {
    host.loop.Advance(pause * 1000 - 1);
    EXPECT_EQ(Tries(), tries) << pause;
    host.loop.Advance(1);
    EXPECT_EQ(Tries(), ++tries) << pause;
    refuse("Refused");
  }
  host.loop.Advance(30'000 + 20'000 + 30'000);  // nobody answers: the socket gives up by itself
  EXPECT_EQ(Tries(), tries + 2);
  socket->Accept();
  EXPECT_EQ(host.traces.back(), "No scale: 10.0.0.5 is connected");
  socket->HangUp();
  host.loop.RunPending();
  socket->failOpen = AutomationError(ErrorNumber::DeviceInputOutput, "No socket");
  host.loop.Advance(1000);
  socket->failOpen.reset();
  host.loop.Advance(2000);
  EXPECT_EQ(Tries(), tries + 4) << "the pauses begin anew";
  refuse("Refused");
  ethernet->Disconnect();
  host.loop.Advance(120'000);
  EXPECT_EQ(Tries(), tries + 4);

  ethernet->Connect();
  socket->Fail(10061, "Refused");
  ethernet.reset();
  host.loop.Advance(120'000);
  EXPECT_EQ(Tries(), tries + 5);
}

TEST_F(EthernetTest, WhatIsHeldOfAScaleThatLeftCannotSeizeTheSocketOfTheNext) {
  MakeScale();
  const auto old = std::exchange(socket, nullptr);
  const auto untouched = site->Winsock(6);
  scale->Detach();
  auto next = site->Winsock(5);
  EXPECT_NE(next, old);
  EXPECT_EQ(site->Winsock(6), untouched);
  EXPECT_EQ(ErrorOf([&] { ethernet->Connect(); }), 91);
  EXPECT_EQ(ErrorOf([&] { old->Bind(1705); }), 91);
  EXPECT_EQ(ErrorOf([&] { old->SendData("x"); }), 40006);
  EXPECT_EQ(scale->ScaleNumber(), 0);
  scale.reset();
  EXPECT_EQ(site->Winsock(5), next);

  // What nobody holds any more may still be open.
  scale = NewScale(5);
  next->RemoteHost("10.0.0.5");
  next->Connect();
  host.sockets.clear();
  EXPECT_EQ(next->State(), SocketState::Connecting);
  const SocketControl& left = *std::exchange(next, nullptr);
  scale->Detach();
  EXPECT_EQ(left.State(), SocketState::Closed);
}

TEST_F(EthernetTest, ASerialLineThatWentAwayComesBack) {
  scale = NewSerialScale("TarnContinuousProtocol");
  serial->AutoReconnect(true);
  scale->RunScale();
  Port().Unplug();
  Port().failOpen = AutomationError(ErrorNumber::InvalidPort, "There is no such port");
  host.loop.Advance(3000);  // tries after 1 and 3 seconds
  EXPECT_EQ(std::count(Port().calls.begin(), Port().calls.end(), "Open"), 3);
  Port().failOpen.reset();
  serial->BaudRate(CommBaudRate::Baud_1200);
  host.loop.Advance(4000);
  EXPECT_TRUE(Port().PortOpen());
  EXPECT_EQ(Port().Settings(), "1200,e,7,2");
  EXPECT_EQ(Port().EndCharacter(), '\r');
  const std::string title = "Scale 1 (Scale x): ";
  const std::string failed =
      title +
      "no connection yet: The port 1 (COM1) does not open: There is no such port; next try in ";
  EXPECT_EQ(host.traces, (Calls{title + "The port 1 (COM1) went away: unplugged; next try in 1 s",
                                failed + "2 s", failed + "4 s", title + "port 1 is connected"}));

  const auto lose = [&](const std::function<void()>& end) {
    Port().Unplug();
    host.loop.RunPending();
    end();
    host.loop.Advance(60'000);
    EXPECT_FALSE(Port().PortOpen());
  };
  lose([&] { scale->StopScale(); });
  scale->RunScale();
  lose([&] { serial->AutoReconnect(false); });
  serial->AutoReconnect(true);
  host.loop.Advance(1000);
  EXPECT_TRUE(Port().PortOpen()) << "it is wanted still";
  lose([&] { scale->Detach(); });
}

class ArcNetTest : public ScaleFixture {
 protected:
  /// Brings the count of the process, which other tests have moved, to 0.
  void SetUp() override {
    for (int i = 0; i < 100; ++i) first->Disconnect();
    while (TakeCalls() != Calls{"KesRegisterProcess 125"}) first->Connect();
    first->Disconnect();
    TakeCalls();
  }
  Calls TakeCalls() { return std::exchange(host.terminalNetwork.calls, {}); }

  std::shared_ptr<ArcNetConnection> first = NewObject<ArcNetConnection>(*site, "ArcNetConnection");
  std::shared_ptr<ArcNetConnection> second = NewObject<ArcNetConnection>(*site, "ArcNetConnection");
};

TEST_F(ArcNetTest, TheAddressPrefixFollowsTheBitsOfTheLengths) {
  using Texts = std::tuple<const char*, const char*, const char*>;  // cluster, number, prefix
  for (const auto& [cluster, number, prefix] :
       {Texts{"A", "1", "/a1"}, Texts{"a", "12", ""}, Texts{"AB", "12", "/ab12"},
        Texts{"a", "123", "/a123"}, Texts{"ab", "1", ""}, Texts{"", "1", ""}, Texts{"a", "", ""},
        Texts{"\u0416\u0130\u0178\u03A9\u0141\u0160\xFF", "123",
              "/\u0436i\u00FF\u03C9\u0142\u0161\xFF\x31\x32\x33"}}) {
    first->Cluster(cluster);
    first->KestrelNum(number);
    EXPECT_EQ(first->AddressPrefix(), prefix);
  }
  first->Cluster("ABC");
  EXPECT_EQ(first->AddressPrefix(), "/abc123") << "after each of the two";
}

TEST_F(ArcNetTest, ValuesGoThroughTheLibraryUnderTheAddress) {
  auto& variables = host.terminalNetwork.variables;
  variables["/a1/wt102"] = "  12.5\x01";
  std::string buffer(10, '#');
  EXPECT_EQ(first->ReadValue("/wt102", buffer, 13, 7), 0);
  EXPECT_EQ(first->WriteValue("/wt102", "1", 1), 0);
  EXPECT_EQ(TakeCalls(), Calls{}) << "without a prefix nothing is called";
  first->Cluster("A");
  first->KestrelNum("1");
  EXPECT_EQ(first->ReadValue("/wt102", buffer, 13, 7), 1);
  EXPECT_EQ(buffer, variables["/a1/wt102"] + "###");
  const std::string written("\0\x40", 2);
  EXPECT_EQ(first->WriteValue("/wt102", written, 2), 1);
  EXPECT_EQ(variables["/a1/wt102"], written);
  EXPECT_EQ(first->ReadValue("/none", buffer, 1, 2), 0);
  EXPECT_EQ(first->WriteValue("/none", "1", 3), 0);
  EXPECT_EQ(TakeCalls(), (Calls{"KesRead /a1/wt102 13 7", "KesWrite /a1/wt102 2 " + written,
                                "KesRead /a1/none 1 2", "KesWrite /a1/none 3 1"}));
}

/// Unbalanced calls count on: from below 0 the first ones do not register.
TEST_F(ArcNetTest, TheProcessRegistersWhileAnyIsOpen) {
  const std::string opens = "KesRegisterProcess 125", closes = "KesCloseProcess";
  const struct {
    int count;  // of Connect, or of Disconnect where it is negative
    Calls calls;
  } steps[] = {{2, {opens}},  {-1, {}},     {-1, {closes}}, {-2, {}},
               {2, {}},       {1, {opens}}, {32766, {}},    {-32767, {closes}},
               {-40'000, {}}, {32768, {}},  {1, {opens}},   {-1, {closes}}};
  for (const auto& step : steps) {
    for (int i = 0; i < step.count; ++i) (i % 2 == 0 ? first : second)->Connect();
    for (int i = 0; i > step.count; --i) (i % 2 == 0 ? first : second)->Disconnect();
    EXPECT_EQ(TakeCalls(), step.calls) << step.count;
    if (step.count != 32766) continue;
    EXPECT_EQ(ErrorOf([&] { first->Connect(); }), 6) << "the most that it counts";
  }
  host.terminalNetwork.missing = true;
  EXPECT_EQ(ErrorOf([&] { first->Connect(); }), 53);
  EXPECT_EQ(ErrorOf([&] { first->Connect(); }), 53) << "it does not count as connected";
}

TEST_F(ArcNetTest, LoadingAScaleCountsDown) {
  PropertyBag bag;
  WriteObject(bag, "Connection", *first);
  TarnScale::Create(site)->ReadProperties(bag);
  TakeCalls();
  first->Connect();
  EXPECT_EQ(TakeCalls(), Calls{}) << "loading has disconnected it before";
}

}  // namespace
}  // namespace tarn
