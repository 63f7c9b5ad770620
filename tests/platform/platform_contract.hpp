// What every host must do alike: the tests of this fixture run over the fake host and over the one
// of the operating system.
//
// A serial port needs a far end. On POSIX the harness makes a pseudo-terminal; on Windows a pair of
// COM ports that are connected with each other is named by TARN_TEST_PORT_A (the port under test)
// and TARN_TEST_PORT_B, such as COM5 and COM6. Without them the serial tests are skipped there. The
// pair is away while a file exists whose name is in TARN_TEST_UNPLUG; without that variable it
// stays.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/host.hpp"
#include "tests/platform/far_end.hpp"

namespace tarn {

/// A host with the world around it in a test's hand.
class Harness {
 public:
  static constexpr std::int16_t kPort = 7;

  Harness() = default;
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;
  virtual ~Harness() = default;

  virtual tarn::Host& Host() = 0;
  virtual const std::vector<std::string>& Traces() const = 0;
  /// A name for a file in a folder that goes with the harness.
  virtual std::string FileName(const std::string& name) = 0;
  /// The host as after a restart of the program: what lives on is on the disk.
  virtual void Restart() = 0;
  /// Makes a folder of a name where there was nothing, so that a file of that name cannot be.
  virtual void MakeUnusable(const std::string& fileName) = 0;

  /// The far end of port kPort. False where this machine has none.
  virtual bool ConnectLine() = 0;
  virtual void Deliver(std::string_view bytes) = 0;
  virtual std::string Sent() = 0;  ///< all that arrived at the far end
  virtual bool CanUnplug() const { return true; }
  virtual void Unplug() = 0;
  virtual void PlugIn() = 0;
  /// The line takes no more output until the loop runs again.
  virtual void Stall() {}

  /// The far end of the socket that was created last.
  virtual std::unique_ptr<FarEnd> MakeFarEnd() = 0;
  /// Whether ports and floods are real, and whether the system tells of closed UDP ports and of
  /// resets.
  virtual bool HasNetwork() const { return true; }
  virtual bool TellsOfBreaks() const { return true; }

  /// Lets go of what the harness itself keeps of the ports and sockets.
  virtual void ForgetPorts() {}
};

std::unique_ptr<Harness> MakeFakeHarness();
std::unique_ptr<Harness> MakeNativeHarness();

class PlatformContract : public ::testing::TestWithParam<std::string> {
 protected:
  Host& TheHost() { return harness->Host(); }
  MessageLoop& Loop() { return TheHost().Loop(); }

  /// Runs the loop until it is so. Generous: it only ever takes this long when a test fails.
  ::testing::AssertionResult Becomes(const std::function<bool()>& condition) {
    if (Loop().RunUntil(condition, 30000)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "it did not come about";
  }

  /// Lets some turns of the loop pass.
  void RunSomeTurns() {
    int turns = 0;
    std::function<void()> next = [&] {
      if (++turns < 20) Loop().Post(next);
    };
    Loop().Post(next);
    ASSERT_TRUE(Becomes([&] { return turns == 20; }));
  }

  const std::unique_ptr<Harness> harness =
      GetParam() == "Fake" ? MakeFakeHarness() : MakeNativeHarness();
};

#define TARN_CONTRACT(fixture)                                                 \
  INSTANTIATE_TEST_SUITE_P(Host, fixture, ::testing::Values("Fake", "Native"), \
                           [](const auto& contract) { return contract.param; })

/// The error number of what a piece of work throws; 0 where it throws nothing.
inline int ErrorOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const AutomationError& error) {
    EXPECT_NE(error.Description(), "");
    return static_cast<int>(error.Number());
  }
  return 0;
}

}  // namespace tarn
