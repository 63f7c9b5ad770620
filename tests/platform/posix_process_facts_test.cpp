// What the system says about the running program, against what the test does to it.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <vector>

#include "platform/process_facts.hpp"

namespace tarn {
namespace {

TEST(ProcessFacts, FollowWhatTheProgramTakes) {
  const ProcessFacts before = PresentProcessFacts();
  constexpr std::size_t kSize = 32U << 20U;
  const std::vector<char> memory(kSize, 1);
  const std::ifstream file("/dev/null");
  ProcessFacts after = PresentProcessFacts();
  EXPECT_GE(after.residentBytes.value(), before.residentBytes.value() + kSize / 2);
  EXPECT_EQ(after.openDescriptors.value(), before.openDescriptors.value() + 1);
  while (after.cpuSeconds.value() < before.cpuSeconds.value() + 0.02) after = PresentProcessFacts();
  const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
  EXPECT_LE(after.startedAt.value(), now.count());
  EXPECT_GT(after.startedAt.value(), now.count() - 3600);
  EXPECT_EQ(after.startedAt, before.startedAt);
}

}  // namespace
}  // namespace tarn
