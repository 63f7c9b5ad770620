// The serial-port control.
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;

class SerialPortContract : public PlatformContract {
 protected:
  void SetUp() override {
    if (!harness->ConnectLine()) GTEST_SKIP() << "no pair of ports is named";
    port = NewPort();
  }

  std::shared_ptr<SerialPort> NewPort() {
    auto made = TheHost().CreateSerialPort();
    made->PortNumber(Harness::kPort);
    return made;
  }

  std::string ReadAll() {
    std::string bytes;
    while (const auto c = port->Input()) bytes += *c;
    return bytes;
  }

  /// Opens the port and collects what each event has to read.
  void OpenAndCollect() {
    port->PortOpen(true);
    subscription = port->Receive.Subscribe([this] { events.push_back(ReadAll()); });
  }

  std::string Collected() const {
    std::string all;
    for (const std::string& event : events) all += event;
    return all;
  }

  std::shared_ptr<SerialPort> port;
  std::vector<std::string> events;
  Subscription subscription;
};
TARN_CONTRACT(SerialPortContract);

TEST_P(SerialPortContract, RefusesWhatItCannotDoClosedAndOpen) {
  for (const char* settings : {"", "9600,e,7", "9600,x,8,1", "fast"}) {
    port->Settings(settings);
    EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 380) << settings;
  }
  port->Settings("9600,e,7,2");
  port->PortNumber(0);
  EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 8002);
  EXPECT_EQ(ErrorOf([&] { port->Output("x"); }), 8018);
  EXPECT_EQ(port->DeviceName(), "");

  port->PortNumber(Harness::kPort);
  port->PortOpen(true);
  port->PortOpen(true);
  EXPECT_NE(port->DeviceName(), "");
  EXPECT_EQ(ErrorOf([&] { port->PortNumber(2); }), 8000);
  EXPECT_EQ(ErrorOf([&] { port->Settings("300,n,8,1"); }), 8000);
  EXPECT_EQ(port->Settings(), "9600,e,7,2");
}

TEST_P(SerialPortContract, IsInUseUntilItClosesOrGoes) {
  port->PortOpen(true);
  auto other = NewPort();
  EXPECT_EQ(ErrorOf([&] { other->PortOpen(true); }), 8005);
  EXPECT_FALSE(other->PortOpen());
  other->PortOpen(false);
  port->PortOpen(false);
  other->PortOpen(true);
  EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 8005);
  harness->ForgetPorts();
  other.reset();
  port->PortOpen(true);
  EXPECT_TRUE(port->PortOpen());
}

TEST_P(SerialPortContract, RaisesReceiveFromTheThresholdOnAndForWholeFrames) {
  port->ReceiveThreshold(0);
  EXPECT_EQ(port->ReceiveThreshold(), 1);
  port->ReceiveThreshold(4);
  OpenAndCollect();
  harness->Deliver("abc");
  ASSERT_TRUE(Becomes([&] { return port->InBufferCount() == 3; }));
  RunSomeTurns();
  EXPECT_THAT(events, ElementsAre());
  harness->Deliver("d");
  ASSERT_TRUE(Becomes([&] { return !events.empty(); }));
  port->EndCharacter('\r');
  harness->Deliver("abcdef");
  RunSomeTurns();
  EXPECT_EQ(port->InBufferCount(), 0);
  harness->Deliver("g\r");
  ASSERT_TRUE(Becomes([&] { return events.size() == 2; }));
  EXPECT_THAT(events, ElementsAre("abcd", "abcdefg\r"));
}

TEST_P(SerialPortContract, EveryByteValuePasses) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  OpenAndCollect();
  harness->Deliver(bytes);
  ASSERT_TRUE(Becomes([&] { return Collected().size() == bytes.size(); }));
  EXPECT_EQ(Collected(), bytes);
  port->Output(bytes);
  ASSERT_TRUE(Becomes([&] { return harness->Sent().size() == bytes.size(); }));
  EXPECT_EQ(harness->Sent(), bytes);
}

TEST_P(SerialPortContract, ClearAndOpeningEmptyTheBuffer) {
  port->ReceiveThreshold(100);
  OpenAndCollect();
  const std::function<void()> ways[] = {[&] { port->ClearInput(); },
                                        [&] { port->PortOpen(false); }};
  for (const auto& empty : ways) {
    harness->Deliver("old");
    ASSERT_TRUE(Becomes([&] { return port->InBufferCount() == 3; }));
    empty();
    EXPECT_EQ(port->InBufferCount(), 0);
    EXPECT_EQ(port->Input(), std::nullopt);
    port->PortOpen(true);
  }
  port->ReceiveThreshold(1);
  harness->Deliver("new");
  ASSERT_TRUE(Becomes([&] { return Collected() == "new"; }));
}

TEST_P(SerialPortContract, MayCloseOrGoInsideAHandler) {
  int eventCount = 0;
  port->PortOpen(true);
  subscription = port->Receive.Subscribe([&] {
    ++eventCount;
    port->PortOpen(false);
    EXPECT_EQ(port->Input(), std::nullopt);
  });
  harness->Deliver("abc");
  ASSERT_TRUE(Becomes([&] { return eventCount > 0; }));
  RunSomeTurns();
  EXPECT_EQ(eventCount, 1);

  const std::weak_ptr<SerialPort> watched = port;
  subscription = port->Receive.Subscribe([&] {
    ++eventCount;
    harness->ForgetPorts();
    port.reset();
  });
  const auto second = port->Receive.Subscribe([&] { ++eventCount; });
  port->PortOpen(true);
  harness->Deliver("abc");
  ASSERT_TRUE(Becomes([&] { return watched.expired(); }));
  RunSomeTurns();
  EXPECT_EQ(eventCount, 2);
}

TEST_P(SerialPortContract, OutputWaitsInABoundedQueueAndArrivesWhole) {
  port->PortOpen(true);
  harness->Stall();
  std::string accepted;
  int error = 0;
  while (error == 0 && accepted.size() < 64 * SerialPort::kMaxQueuedOutput) {
    const std::string chunk(1000, static_cast<char>('a' + accepted.size() / 1000 % 26));
    error = ErrorOf([&] { port->Output(chunk); });
    if (error == 0) accepted += chunk;
  }
  EXPECT_EQ(error, 57);
  EXPECT_GT(accepted.size() + 1000, SerialPort::kMaxQueuedOutput);
  EXPECT_TRUE(port->PortOpen());
  ASSERT_TRUE(Becomes([&] { return harness->Sent().size() >= accepted.size(); }));
  RunSomeTurns();
  EXPECT_TRUE(harness->Sent() == accepted);
}

TEST_P(SerialPortContract, ALineThatGoesAwayClosesThePort) {
  if (!harness->CanUnplug()) GTEST_SKIP() << "these lines stay";
  OpenAndCollect();
  int losses = 0;
  const auto onLost = port->Lost.Subscribe([&] {
    EXPECT_FALSE(port->PortOpen());
    ++losses;
  });
  harness->Deliver("last words");
  ASSERT_TRUE(Becomes([&] { return Collected() == "last words"; }));
  harness->Unplug();
  ASSERT_TRUE(Becomes([&] { return !port->PortOpen(); }));
  RunSomeTurns();
  EXPECT_EQ(Collected(), "last words");
  EXPECT_EQ(losses, 1);
  EXPECT_EQ(ErrorOf([&] { port->Output("x"); }), 8018);
  EXPECT_EQ(port->DeviceName(), "");
  harness->PlugIn();
  port->PortOpen(true);
  harness->Deliver(" again");
  ASSERT_TRUE(Becomes([&] { return Collected() == "last words again"; }));
  port->PortOpen(false);
  RunSomeTurns();
  EXPECT_EQ(losses, 1) << "closing is no loss";
}

}  // namespace
}  // namespace tarn
