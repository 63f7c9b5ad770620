// What a serial line must do on Windows beyond the contract: its bytes move on a thread of its own.
#include <cstdlib>

#include "platform/native_host.hpp"
#include "tests/platform/win32_fixture.hpp"

namespace tarn {
namespace {

class Win32LineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (std::getenv("TARN_TEST_PORT_B") == nullptr) GTEST_SKIP() << "no pair of ports is named";
    port = host.CreateSerialPort();
    port->PortNumber(Harness::kPort);
  }
  bool Becomes(const std::function<bool()>& condition) {
    return host.Loop().RunUntil(condition, 30000);
  }

  const std::unique_ptr<Harness> harness = MakeNativeHarness();
  Host& host = harness->Host();
  std::shared_ptr<SerialPort> port;
};

/// Far more than the drivers' buffers hold, sent while the loop stands still.
TEST_F(Win32LineTest, NothingIsLostWhileTheLoopIsBusy) {
  constexpr std::size_t kTotal = 200'000;
  const auto line =
      dynamic_cast<NativeHost&>(host).CreateTerminalLine(std::getenv("TARN_TEST_PORT_B"));
  port->PortOpen(true);
  std::string delivered;
  const double end = host.Loop().Now() + 30000;
  while (delivered.size() < kTotal && host.Loop().Now() < end) {
    const std::string piece(1000, static_cast<char>('a' + delivered.size() % 23));
    delivered += piece.substr(0, line->Write(piece));
  }
  ASSERT_GE(delivered.size(), kTotal) << "the line stood still with the loop";
  std::string received;
  std::size_t first = 0;
  const auto receiving = port->Receive.Subscribe([&] {
    if (first == 0) first = static_cast<std::size_t>(port->InBufferCount());
    while (const auto c = port->Input()) received += *c;
  });
  ASSERT_TRUE(Becomes([&] { return received.size() >= delivered.size(); }));
  EXPECT_TRUE(received == delivered);
  EXPECT_GT(first, kTotal / 4) << "one announcement is enough for all that waits";
}

/// The far end does not read: the device holds on to a write when the port closes.
TEST_F(Win32LineTest, ClosesWithOutputThatNobodyTakes) {
  port->PortOpen(true);
  port->Output(std::string(SerialPort::kMaxQueuedOutput, 'x'));
  EXPECT_EQ(ErrorOf([&] { port->Output(std::string(SerialPort::kMaxQueuedOutput, 'y')); }), 57);
  port->PortOpen(false);
  port->PortOpen(true);
  harness->ConnectLine();
  // Also clears the pair for whoever comes next.
  port->Output("the end");
  EXPECT_TRUE(Becomes([&] { return harness->Sent().ends_with("the end"); }));
  EXPECT_THAT(harness->Traces(), ::testing::IsEmpty());
}

/// Drivers keep the settings of the last opening, and some refuse what they have already.
TEST_F(Win32LineTest, OpensWithTheSameAndWithOtherSettingsAgain) {
  harness->ConnectLine();
  for (const char* settings :
       {"9600,e,7,2", "9600,e,7,2", "19200,o,7,1", "9600,n,8,1", "9600,n,8,1"}) {
    port->Settings(settings);
    port->PortOpen(true);
    port->Output(settings);
    EXPECT_TRUE(Becomes([&] { return harness->Sent().ends_with(settings); })) << settings;
    port->PortOpen(false);
  }
}

TEST_F(Win32LineTest, TheTableKnowsADeviceByAnyOfItsNames) {
  port->PortOpen(true);
  const auto number = static_cast<std::int16_t>(std::stoi(port->DeviceName().substr(3)));
  const auto other = host.CreateSerialPort();
  other->PortNumber(number);
  EXPECT_EQ(ErrorOf([&] { other->PortOpen(true); }), 8005);
  other->PortNumber(250);
  EXPECT_EQ(ErrorOf([&] { other->PortOpen(true); }), 8002);
}

}  // namespace
}  // namespace tarn
