// The socket control over every kind of network, and the look-up of names beside the loop.
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <type_traits>

#include "platform/name_lookup.hpp"
#include "platform/network_socket.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;

class SocketContract : public PlatformContract {
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
      EXPECT_EQ(data.back().size(), static_cast<std::size_t>(length));
      EXPECT_EQ(socket->BytesReceived(), 0);
    });
    On(socket->Error, [this](std::int32_t number, const std::string& description) {
      EXPECT_NE(description, "");
      events.push_back(std::to_string(number));
    });
  }
  void BindToFarEnd() {
    socket->Transport(SocketTransport::Udp);
    socket->RemoteHost("127.0.0.1");
    socket->RemotePort(far->OpenDatagrams());
    socket->Bind(0);
  }
  void BeginConnection(std::int32_t port) {
    socket->Close();
    socket->Transport(SocketTransport::Tcp);
    socket->RemoteHost("127.0.0.1");
    socket->RemotePort(port);
    socket->Connect();
  }
  void ConnectToFarEnd() {
    BeginConnection(far->Listen());
    EXPECT_EQ(socket->State(), SocketState::Connecting);
    ASSERT_TRUE(Becomes([&] { return far->Accept(); }));
    ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Connected; }));
  }
  std::string AllData() const {
    std::string all;
    for (const std::string& piece : data) all += piece;
    return all;
  }

  std::shared_ptr<SocketControl> socket = TheHost().CreateSocket();
  const std::unique_ptr<FarEnd> far = harness->MakeFarEnd();
  std::vector<std::string> events;
  std::vector<std::string> data;
  std::vector<Subscription> subscriptions;
};
TARN_CONTRACT(SocketContract);

TEST_P(SocketContract, RefusesWhatItsStateDoesNotAllow) {
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
  if (harness->HasNetwork()) {
    const auto other = TheHost().CreateSocket();
    other->Transport(SocketTransport::Udp);
    EXPECT_EQ(ErrorOf([&] { other->Bind(port); }), 10048);
    EXPECT_EQ(other->State(), SocketState::Closed);
    socket->Close();
    other->Bind(port);
  }
  socket->Close();
  EXPECT_EQ(socket->State(), SocketState::Closed);
  socket->Retire();
  EXPECT_EQ(ErrorOf([&] { socket->Bind(0); }), 91);
}

TEST_P(SocketContract, DatagramsOfEveryLengthPassBothWays) {
  BindToFarEnd();
  Record();
  std::vector<std::string> sent;
  for (const std::size_t length : {0U, 1U, 201U, 65507U, 0U}) {
    sent.emplace_back(length, static_cast<char>('a' + sent.size()));
    socket->SendData(sent.back());
    ASSERT_TRUE(Becomes([&] { return far->Received().size() == sent.size(); }));
    far->SendDatagram(sent.back(), socket->LocalPort());
    ASSERT_TRUE(Becomes([&] { return data.size() == sent.size(); }));
  }
  EXPECT_TRUE(far->Received() == sent);
  EXPECT_TRUE(data == sent);
  EXPECT_THAT(events, ElementsAre());
}

TEST_P(SocketContract, ADatagramLivesAsLongAsItsEvent) {
  BindToFarEnd();
  int arrivals = 0;
  std::vector<std::int32_t> senders;
  On(socket->DataArrival, [&](std::int32_t) {
    EXPECT_EQ(socket->SenderHost(), "127.0.0.1");
    senders.push_back(socket->SenderPort());
    if (++arrivals == 2) data.push_back(socket->GetData());
    if (arrivals != 1) return;
    far->SendDatagram("inner", socket->LocalPort());
    ASSERT_TRUE(Becomes([&] { return arrivals == 2; }));
    data.push_back(socket->GetData());
    EXPECT_EQ(socket->GetData(), "");
  });
  far->SendDatagram("outer", socket->LocalPort());
  ASSERT_TRUE(Becomes([&] { return arrivals == 2; }));
  far->SendDatagram("unread", socket->LocalPort());
  ASSERT_TRUE(Becomes([&] { return arrivals == 3; }));
  EXPECT_THAT(data, ElementsAre("inner", "outer"));
  EXPECT_THAT(senders, ::testing::Each(socket->RemotePort()));
  EXPECT_EQ(socket->BytesReceived(), 0);
}

TEST_P(SocketContract, AClosedPortOrAnUnknownNameDoesNotEndADatagramSocket) {
  BindToFarEnd();
  Record();
  const std::int32_t farPort = socket->RemotePort();
  if (harness->ReportsBreaks()) {
    for (std::size_t times = 1; times < 4; ++times) {
      socket->RemotePort(far->ClosedPort());
      socket->SendData("anybody?");
      far->AnswerClosedPort(10054);
      ASSERT_TRUE(Becomes([&] { return events.size() == times; }));
      EXPECT_EQ(events.back(), "10054");
    }
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
  ASSERT_TRUE(Becomes([&] { return far->Received().size() == 1 && events.size() == 3; }));
  for (const std::string& number : events) EXPECT_THAT(number, ::testing::StartsWith("1100"));
  EXPECT_THAT(far->Received(), ElementsAre("found"));
  socket->RemoteHost(names[2]);
  for (int i = 0; i < 5; ++i) {  // what was lost waits no longer
    socket->SendData(std::string(SocketControl::kMaxQueuedOutput / 6, 'x'));
  }
  far->SendDatagram("still here", socket->LocalPort());
  ASSERT_TRUE(Becomes([&] { return AllData() == "still here"; }));
}

TEST_P(SocketContract, AConnectionCarriesBytesUntilTheOtherSideCloses) {
  Record();
  ConnectToFarEnd();
  socket->SendData("P");
  socket->SendData("\r\n");
  ASSERT_TRUE(Becomes([&] { return far->Received().front() == "P\r\n"; }));
  far->Send("record");
  ASSERT_TRUE(Becomes([&] { return AllData() == "record"; }));
  subscriptions.clear();
  far->Send("last ");
  far->Send("words");
  far->FinishSending();
  ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Closing; }));
  EXPECT_EQ(socket->BytesReceived(), 10);
  EXPECT_EQ(socket->GetData(), "last words");
  EXPECT_EQ(ErrorOf([&] { socket->SendData("x"); }), 40006);
  EXPECT_EQ(ErrorOf([&] { socket->Connect(); }), 40020);
  socket->Close();
  EXPECT_EQ(socket->State(), SocketState::Closed);
  EXPECT_THAT(events, ElementsAre("up"));
}

TEST_P(SocketContract, ARefusedOrBrokenConnectionEndsInTheErrorState) {
  Record();
  BeginConnection(far->ClosedPort());
  far->AnswerClosedPort(10061);
  ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Error; }));
  socket->Close();
  socket->RemoteHost(std::string(70, 'x') + ".invalid");
  socket->Connect();
  EXPECT_EQ(socket->State(), SocketState::ResolvingHost);
  ASSERT_TRUE(Becomes([&] { return socket->State() == SocketState::Error; }));
  EXPECT_EQ(events.size(), 2U);
  EXPECT_EQ(events.front(), "10061");
  events.clear();
  ConnectToFarEnd();
  far->Reset();
  ASSERT_TRUE(Becomes([&] { return socket->State() != SocketState::Connected; }));
  EXPECT_EQ(ErrorOf([&] { socket->SendData("x"); }), 40006);
  ConnectToFarEnd();
  RunSomeTurns();
  EXPECT_THAT(events, ElementsAre("up", harness->ReportsBreaks() ? "10054" : "closed", "up"));
}

TEST_P(SocketContract, MayCloseOrGoInsideAnyHandler) {
  for (const bool goes : {false, true}) {
    for (const std::string event : {"up", "data", "closed", "error", "datagram"}) {
      if (!socket) socket = TheHost().CreateSocket();
      socket->Close();
      int handled = 0;
      const auto endAt = [&](const char* name) {
        return [&, wanted = event == name] {
          if (!wanted) return;
          ++handled;
          if (!goes) return socket->Close();
          harness->ForgetPorts();
          socket.reset();
        };
      };
      subscriptions.clear();
      On(socket->Connected, endAt("up"));
      On(socket->Closed, endAt("closed"));
      On(socket->Error, [end = endAt("error")](auto, const auto&) { end(); });
      On(socket->DataArrival,
         [end = endAt(event == "data" ? "data" : "datagram")](auto) { end(); });
      if (event == "datagram") {
        BindToFarEnd();
        far->SendDatagram("1", socket->LocalPort());
        if (handled == 0) far->SendDatagram("2", socket->LocalPort());
      } else {
        BeginConnection(far->Listen());
        ASSERT_TRUE(Becomes([&] { return far->Accept(); }));
        ASSERT_TRUE(
            Becomes([&] { return handled > 0 || socket->State() == SocketState::Connected; }));
        if (event == "data") far->Send("abc");
        if (event == "closed") far->FinishSending();
        if (event == "error") {
          BeginConnection(far->ClosedPort());
          far->AnswerClosedPort(10061);
        }
      }
      ASSERT_TRUE(Becomes([&] { return handled > 0; })) << event;
      RunSomeTurns();
      EXPECT_EQ(handled, 1) << event;
    }
  }
}

TEST_P(SocketContract, OutputForAPeerThatStopsReadingWaitsInABoundedQueue) {
  ConnectToFarEnd();
  far->StopReading();
  std::string accepted;
  int error = 0;
  while (error == 0 && accepted.size() < 64U << 20U) {
    const std::string chunk(10000, static_cast<char>('a' + accepted.size() / 10000 % 26));
    error = ErrorOf([&] { socket->SendData(chunk); });
    if (error == 0) accepted += chunk;
  }
  EXPECT_EQ(error, 57);
  EXPECT_GT(accepted.size() + 10000, SocketControl::kMaxQueuedOutput);
  ASSERT_TRUE(Becomes([&] { return far->Received().front().size() >= accepted.size(); }));
  EXPECT_TRUE(far->Received().front() == accepted);
}

TEST_P(SocketContract, InputThatNobodyReadsIsBoundedAndComesWhenItIsRead) {
  ConnectToFarEnd();
  const std::string piece(50000, 'x');
  std::size_t sent = 0;
  std::size_t taken = 0;
  for (; sent < 400000; sent += piece.size()) {
    far->Send(piece);
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

TEST_P(SocketContract, AFloodLeavesTimeForTimers) {
  if (!harness->HasNetwork()) GTEST_SKIP() << "no flood without a network";
  socket->Transport(SocketTransport::Udp);
  socket->RemoteHost("127.0.0.1");
  socket->Bind(0);
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
