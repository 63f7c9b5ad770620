// What a serial line must do on Windows beyond the contract: its bytes move on a separate thread.
#include <cstdlib>

#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

using Win32LineTest = NativeTest;

/// Far more than the drivers' buffers hold, sent while the loop stands still.
TEST_F(Win32LineTest, NothingIsLostWhileTheLoopIsBusy) {
  if (std::getenv("TARN_TEST_PORT_B") == nullptr) GTEST_SKIP() << "no pair of ports is named";
  constexpr std::size_t kTotal = 200'000;
  const auto line = Native().CreateTerminalLine(std::getenv("TARN_TEST_PORT_B"));
  const auto port = NewPort();
  port->PortOpen(true);
  std::string delivered;
  const double end = Loop().Now() + 30000;
  while (delivered.size() < kTotal && Loop().Now() < end) {
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

}  // namespace
}  // namespace tarn
