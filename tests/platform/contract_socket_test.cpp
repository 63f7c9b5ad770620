// The socket control over every kind of network, and the look-up of names beside the loop.
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <type_traits>

#include "platform/name_lookup.hpp"
#include "platform/network_socket.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;

// Wine does not report a closed port, and shows a reset as an orderly end.
constexpr bool kReportsBreaks = !kOnWindows;

/// The peer is another socket for datagrams, and the simulators' listener for a stream.
class SocketContract : public PlatformTest {
 protected:
  template <class... Parameters>
  void On(Event<Parameters...>& event,
          const std::type_identity_t<std::function<void(Parameters...)>>& handler) {
    subscriptions.push_back(event.Subscribe(handler));
  }
  void Record() {
    On(socket->Connected, [this] { events.emplace_back("up"); });
    On(socket->Closed, [this] { events.emplace_back("closed"); });
    On(socket->DataArrival, [this](std::int32_t length) {
      data.push_back(socket->GetData());
      allData += data.back();
      EXPECT_EQ(data.back().size(), static_cast<std::size_t>(length));
      EXPECT_EQ(socket->BytesReceived(), 0);
    });
    On(socket->Error, [this](std::int32_t number, const std::string& description) {
      EXPECT_NE(description, "");
      events.push_back(std::to_string(number));
    });
  }
  std::shared_ptr<SocketControl> NewDatagramSocket() {
    const auto made = host->CreateSocket();
    made->Transport(SocketTransport::Udp);
    made->RemoteHost("127.0.0.1");
    made->Bind(0);
    return made;
  }
  /// A port where nobody is.
  std::int32_t ClosedPort() { return NewDatagramSocket()->LocalPort(); }

  void BindToPeer() {
    socket = NewDatagramSocket();
    peer = NewDatagramSocket();
    socket->RemotePort(peer->LocalPort());
    peer->RemotePort(socket->LocalPort());
    peerReading = peer->DataArrival.Subscribe([this](auto) { reached.push_back(peer->GetData()); });
  }
  void BeginConnection(std::int32_t port) {
    socket->Close();
    socket->Transport(SocketTransport::Tcp);
    socket->RemoteHost(kTerminal);
    socket->RemotePort(port);
    socket->Connect();
  }
  void ConnectToTerminal() {
    const std::int32_t port = ClosedPort();
    terminal = host->CreateTerminalListener(kTerminal, port);
    streamed.clear();
    peerReading = terminal->Received.Subscribe([this](std::string_view b) { streamed += b; });
    BeginConnection(port);
    EXPECT_EQ(socket->State(), SocketState::Connecting);
    ASSERT_TRUE(Becomes([&] { return !socket || socket->State() != SocketState::Connecting; }));
  }
  /// All of it, as far as the terminal has accepted the connection and there is room.
  void SendFromTerminal(std::string_view bytes) {
    ASSERT_TRUE(Becomes([&] {
      bytes.remove_prefix(terminal->Write(bytes));
      return bytes.empty();
    }));
  }
  /// No connection begins at this address, so that a port that is free for one is free for all.
  static constexpr const char* kTerminal = "127.0.0.2";

  std::shared_ptr<SocketControl> socket = host->CreateSocket();
  std::shared_ptr<SocketControl> peer;
  std::vector<std::string> reached;  ///< the datagrams that it has received
  std::unique_ptr<TerminalLine> terminal;
  std::string streamed;  ///< what the terminal has received
  Subscription peerReading;
  std::vector<std::string> events;
  std::vector<std::string> data;
  std::string allData;
  std::vector<Subscription> subscriptions;
};

TEST_F(SocketContract, RefusesWhatItsStateDoesNotAllow) {
  EXPECT_EQ(socket->State(), SocketState::Closed);
  EXPECT_EQ(ErrorOf([&] { socket->SendData("x"); }), 40006);
  EXPECT_EQ(ErrorOf([&] { socket->Bind(0); }), 40006) << "a TCP control";
  for (const std::int32_t port : {-1, 65536}) {
    EXPECT_EQ(ErrorOf([&] { socket->LocalPort(port); }), 380);
    EXPECT_EQ(ErrorOf([&] { socket->RemotePort(port); }), 380);
  }
  for (const char* address : {"1.2.3.256", "1.2.3", "1.2.3.4.5", "x"}) {
    EXPECT_EQ(ErrorOf([&] { socket->LocalHost(address); }), 380) << address;
  }
  socket->Transport(SocketTransport::Udp);
  EXPECT_EQ(ErrorOf([&] { socket->Connect(); }), 40006);
  EXPECT_EQ(ErrorOf([&] { socket->Bind(65536); }), 380);
  socket->Bind(0);
  EXPECT_EQ(socket->State(), SocketState::Open);
  const std::int32_t port = socket->LocalPort();
  EXPECT_GT(port, 0);
  EXPECT_EQ(ErrorOf([&] { socket->Bind(0); }), 40020);
  EXPECT_EQ(ErrorOf([&] { socket->Transport(SocketTransport::Tcp); }), 40020);
  EXPECT_EQ(ErrorOf([&] { socket->LocalPort(5); }), 40020);
  EXPECT_EQ(ErrorOf([&] { socket->SendData(std::string(65508, 'x')); }), 10040);
  const auto other = host->CreateSocket();
  other->Transport(SocketTransport::Udp);
  EXPECT_EQ(ErrorOf([&] { other->Bind(port); }), 10048);
  EXPECT_EQ(other->State(), SocketState::Closed);
  socket->Close();
  EXPECT_EQ(socket->State(), SocketState::Closed);
  other->Bind(port);
  socket->Retire();
  EXPECT_EQ(ErrorOf([&] { socket->Bind(0); }), 91);
}

TEST_F(SocketContract, DatagramsOfEveryLengthPassBothWays) {
  BindToPeer();
  Record();
  std::vector<std::string> sent;
  for (const std::size_t length : {0U, 1U, 201U, 65507U, 0U}) {
    sent.emplace_back(length, static_cast<char>('a' + sent.size()));
    socket->SendData(sent.back());
    ASSERT_TRUE(Becomes([&] { return reached.size() == sent.size(); }));
    peer->SendData(sent.back());
    ASSERT_TRUE(Becomes([&] { return data.size() == sent.size(); }));
  }
  EXPECT_TRUE(reached == sent);
  EXPECT_TRUE(data == sent);
  EXPECT_THAT(events, ElementsAre());
}

TEST_F(SocketContract, ADatagramLivesAsLongAsItsEvent) {
  BindToPeer();
  int arrivals = 0;
  std::vector<std::int32_t> senders;
  On(socket->DataArrival, [&](std::int32_t) {
    EXPECT_EQ(socket->SenderHost(), "127.0.0.1");
    senders.push_back(socket->SenderPort());
    if (++arrivals == 2) data.push_back(socket->GetData());
    if (arrivals != 1) return;
    peer->SendData("inner");
    ASSERT_TRUE(Becomes([&] { return arrivals == 2; }));
    data.push_back(socket->GetData());
    EXPECT_EQ(socket->GetData(), "");
  });
  peer->SendData("outer");
  ASSERT_TRUE(Becomes([&] { return arrivals == 2; }));
  peer->SendData("unread");
  ASSERT_TRUE(Becomes([&] { return arrivals == 3; }));
  EXPECT_THAT(data, ElementsAre("inner", "outer"));
  EXPECT_THAT(senders, ::testing::Each(socket->RemotePort()));
  EXPECT_EQ(socket->BytesReceived(), 0);
}

TEST_F(SocketContract, AClosedPortOrAnUnknownNameDoesNotEndADatagramSocket) {
  BindToPeer();
  Record();
  const std::int32_t farPort = socket->RemotePort();
  for (std::size_t times = 1; times < 4 && kReportsBreaks; ++times) {
    socket->RemotePort(ClosedPort());
    socket->SendData("anybody?");
    ASSERT_TRUE(Becomes([&] { return events.size() == times; }));
    EXPECT_EQ(events.back(), "10054");
  }
  events.clear();
  socket->RemotePort(farPort);
  const std::string names[] = {"", std::string(300, 'x'), std::string(70, 'x') + ".invalid"};
  for (const std::string& name : names) {
    socket->RemoteHost(name);
    socket->SendData("lost");
    socket->SendData(std::string(SocketControl::kMaxQueuedOutput / 6, 'x'));
  }
  socket->RemoteHost("localhost");
  socket->SendData("found");
  ASSERT_TRUE(Becomes([&] { return reached.size() == 1 && events.size() == 3; }));
  for (const std::string& number : events) EXPECT_THAT(number, ::testing::StartsWith("1100"));
  EXPECT_THAT(reached, ElementsAre("found"));
  socket->RemoteHost(names[2]);
  for (int i = 0; i < 5; ++i) {  // what was lost waits no longer
    socket->SendData(std::string(SocketControl::kMaxQueuedOutput / 6, 'x'));
  }
  peer->SendData("still here");
  ASSERT_TRUE(Becomes([&] { return allData == "still here"; }));
}

TEST_F(SocketContract, AConnectionCarriesBytesUntilTheOtherSideCloses) {
  Record();
  ConnectToTerminal();
  socket->SendData("P");
  socket->SendData("\r\n");
  ASSERT_TRUE(Becomes([&] { return streamed == "P\r\n"; }));
  SendFromTerminal("record");
  ASSERT_TRUE(Becomes([&] { return allData == "record"; }));
  subscriptions.clear();
  SendFromTerminal("last ");
  SendFromTerminal("words");
  terminal->Detach();
  ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Closing; }));
  EXPECT_EQ(socket->BytesReceived(), 10);
  EXPECT_EQ(socket->GetData(), "last words");
  EXPECT_EQ(ErrorOf([&] { socket->SendData("x"); }), 40006);
  EXPECT_EQ(ErrorOf([&] { socket->Connect(); }), 40020);
  socket->Close();
  EXPECT_EQ(socket->State(), SocketState::Closed);
  EXPECT_THAT(events, ElementsAre("up"));
}

TEST_F(SocketContract, ARefusedOrBrokenConnectionEndsInTheErrorState) {
  Record();
  BeginConnection(ClosedPort());
  ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Error; }));
  socket->Close();
  socket->RemoteHost(std::string(70, 'x') + ".invalid");
  socket->Connect();
  EXPECT_EQ(socket->State(), SocketState::ResolvingHost);
  ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Error; }));
  EXPECT_EQ(events.size(), 2U);
  EXPECT_EQ(events.front(), "10061");
  events.clear();
  ConnectToTerminal();
  SendFromTerminal("accepted");
  socket->SendData("unread");
  terminal->Detach();  // which resets a connection with something unread
  ASSERT_TRUE(Becomes([&] { return socket->State() != SocketState::Connected; }));
  EXPECT_EQ(ErrorOf([&] { socket->SendData("x"); }), 40006);
  ConnectToTerminal();
  RunSomeTurns();
  EXPECT_THAT(events, ElementsAre("up", kReportsBreaks ? "10054" : "closed", "up"));
}

TEST_F(SocketContract, MayCloseOrGoInsideAnyHandler) {
  for (const bool goes : {false, true}) {
    for (const std::string event : {"up", "data", "closed", "error", "datagram"}) {
      socket = host->CreateSocket();
      if (event == "datagram") BindToPeer();
      int handled = 0;
      const auto endAt = [&](const std::string& name) {
        return [&, wanted = event == name] {
          if (!wanted) return;
          ++handled;
          if (goes)
            socket.reset();
          else
            socket->Close();
        };
      };
      On(socket->Connected, endAt("up"));
      On(socket->Closed, endAt("closed"));
      On(socket->Error, [end = endAt("error")](auto, const auto&) { end(); });
      On(socket->DataArrival, [end = endAt(event == "data" ? event : "datagram")](auto) { end(); });
      if (event == "datagram") {
        for (const char* bytes : {"1", "2"}) peer->SendData(bytes);
      } else if (event == "error") {
        BeginConnection(ClosedPort());
      } else {
        ConnectToTerminal();
        if (event != "up") SendFromTerminal("abc");
        if (event == "closed") terminal->Detach();
      }
      ASSERT_TRUE(Becomes([&] { return handled > 0; })) << event;
      RunSomeTurns();
      EXPECT_EQ(handled, 1) << event;
      subscriptions.clear();
    }
  }
}

TEST_F(SocketContract, OutputForAPeerThatStopsReadingWaitsInABoundedQueue) {
  ConnectToTerminal();
  std::string accepted;
  int error = 0;
  while (error == 0 && accepted.size() < 64U << 20U) {
    const std::string chunk(10000, static_cast<char>('a' + accepted.size() / 10000 % 26));
    error = ErrorOf([&] { socket->SendData(chunk); });
    if (error == 0) accepted += chunk;
  }
  EXPECT_EQ(error, 57);
  EXPECT_GT(accepted.size() + 10000, SocketControl::kMaxQueuedOutput);
  ASSERT_TRUE(Becomes([&] { return streamed.size() >= accepted.size(); }));
  EXPECT_TRUE(streamed == accepted);
}

TEST_F(SocketContract, InputThatNobodyReadsIsBoundedAndComesWhenItIsRead) {
  ConnectToTerminal();
  const std::string piece(50000, 'x');
  std::size_t sent = 0;
  std::size_t taken = 0;
  for (; sent < 400000; sent += piece.size()) {
    SendFromTerminal(piece);
    ASSERT_TRUE(Becomes([&] {
      return static_cast<std::size_t>(socket->BytesReceived()) >=
             std::min(sent + piece.size(), SocketControl::kMaxWaitingInput);
    }));
  }
  EXPECT_EQ(static_cast<std::size_t>(socket->BytesReceived()), SocketControl::kMaxWaitingInput);
  On(socket->DataArrival, [&](std::int32_t) { taken += socket->GetData().size(); });
  taken += socket->GetData().size();
  ASSERT_TRUE(Becomes([&] { return taken == sent; }));
}

TEST_F(SocketContract, AFloodLeavesTimeForTimers) {
  socket = NewDatagramSocket();
  socket->RemotePort(socket->LocalPort());
  On(socket->DataArrival, [&](std::int32_t) {
    for (const char* text : {"more", "and more"}) socket->SendData(text);
  });
  socket->SendData("first");
  int ticks = 0;
  const auto timer = Loop().CreateTimer();
  On(timer->Tick, [&] { ++ticks; });
  timer->Interval(10);
  timer->Enabled(true);
  EXPECT_TRUE(Becomes([&] { return ticks == 20; }));
}

TEST(NetworkSocket, GivesUpAfterAWhileAndSendsWhatWaitsAfterTheOtherSidesEnd) {
  FakeHost host;
  const auto control = host.CreateSocket();
  FakeSocket& socket = *host.sockets.back();
  std::vector<std::int32_t> errors;
  const auto watch = socket.Error.Subscribe(
      [&](std::int32_t number, const std::string&) { errors.push_back(number); });
  socket.RemoteHost("127.0.0.1");
  control->Connect();
  host.loop.Advance(NetworkSocket::kConnectLimit - 1);
  EXPECT_THAT(errors, ElementsAre());
  host.loop.Advance(1);
  EXPECT_THAT(errors, ElementsAre(10060));
  socket.Close();
  socket.Connect();
  socket.Accept();
  socket.stalled = true;
  socket.SendData("to the end");
  socket.HangUp();
  socket.reached.clear();
  socket.Resume();
  EXPECT_EQ(socket.State(), SocketState::Closing);
  EXPECT_THAT(socket.reached, ElementsAre("to the end"));
}

/// A system whose answers wait for the test.
class NameLookupTest : public ::testing::Test {
 protected:
  struct Asked {
    std::mutex mutex;
    std::condition_variable changed;
    int names = 0;
    bool answer = false;
    int answered = 0;
  };

  ~NameLookupTest() override {
    Answer();
    WaitFor([this] { return asked->answered == asked->names; });
  }
  void WaitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(asked->mutex);
    EXPECT_TRUE(asked->changed.wait_for(lock, std::chrono::seconds(30), condition));
  }
  void Answer(bool answer = true) {
    const std::lock_guard lock(asked->mutex);
    asked->answer = answer;
    asked->changed.notify_all();
  }
  void Start(const std::string& name) {
    lookup->Start(name, owner, [this, name](std::int32_t, std::uint32_t ip) {
      answers.push_back(name + " " + AddressText(ip));
    });
  }

  std::shared_ptr<Asked> asked = std::make_shared<Asked>();
  FakeHost host;
  std::optional<NameLookup> lookup{
      std::in_place, host.loop, [state = asked](const std::string& name) {
        std::unique_lock lock(state->mutex);
        ++state->names;
        state->changed.notify_all();
        state->changed.wait(lock, [&] { return state->answer || name == "good"; });
        ++state->answered;
        state->changed.notify_all();
        return NameLookup::Answer{0, 0x7F000000U + static_cast<std::uint32_t>(name.size())};
      }};
  std::shared_ptr<int> owner = std::make_shared<int>();
  std::vector<std::string> answers;
};

TEST_F(NameLookupTest, AGoodNameDoesNotWaitForSlowOnesAndTheLoopDelivers) {
  for (int i = 0; i < 20; ++i) Start("slow" + std::to_string(i % 10));
  Start("good");
  WaitFor([this] { return asked->names == 11 && asked->answered == 1; });
  EXPECT_TRUE(answers.empty()) << "not beside the loop";
  while (answers.empty()) host.loop.RunPending();  // the answer may be on its way to the loop
  EXPECT_EQ(answers.front(), "good 127.0.0.4");
  Answer();
  while (answers.size() < 21) host.loop.RunPending();
  EXPECT_EQ(std::count(answers.begin(), answers.end(), "slow9 127.0.0.5"), 2)
      << "asked once for both";
  EXPECT_EQ(asked->names, 11);
}

TEST_F(NameLookupTest, NobodyWhoHasGoneIsNotifiedAndTheThreadsAreBounded) {
  for (int i = 0; i < NameLookup::kThreads; ++i) Start("slow" + std::to_string(i));
  WaitFor([this] { return asked->names == NameLookup::kThreads; });
  Start("never asked");
  owner.reset();
  Answer();
  WaitFor([this] { return asked->answered == NameLookup::kThreads; });
  host.loop.RunPending();
  EXPECT_EQ(asked->names, NameLookup::kThreads);
  Answer(false);
  owner = std::make_shared<int>();
  Start("last");
  WaitFor([this] { return asked->names == NameLookup::kThreads + 1; });
  lookup.reset();
  Answer();
  WaitFor([this] { return asked->answered == asked->names; });
  host.loop.RunPending();
  EXPECT_TRUE(answers.empty());
}

}  // namespace
}  // namespace tarn
