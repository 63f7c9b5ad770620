// The fixtures of the platform's tests: one runs every test over the fake host and over the one of
// the operating system, the other only over the latter.
//
// A serial port needs a far end. On POSIX the harness makes a pseudo-terminal; on Windows a pair of
// COM ports that are connected with each other is named by TARN_TEST_PORT_A (the port under test)
// and TARN_TEST_PORT_B. Without them the serial tests are skipped there. The pair is away while a
// file exists whose name is in TARN_TEST_UNPLUG; without that variable it stays.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/native_host.hpp"
#include "tests/support/error_of.hpp"

namespace tarn {

/// The other end of a socket control, on 127.0.0.1. What it does shows at the control when the loop
/// runs.
class FarEnd {
 public:
  virtual ~FarEnd() = default;

  /// Both return the port.
  virtual std::int32_t Listen() = 0;
  virtual std::int32_t OpenDatagrams() = 0;
  /// A port where nobody is, and the answer to something that was sent there.
  virtual std::int32_t ClosedPort() = 0;
  virtual void AnswerClosedPort(std::int32_t /*number*/) {}

  /// Takes the connection that waits; false while there is none.
  virtual bool Accept() = 0;
  virtual void Send(std::string_view bytes) = 0;
  virtual void SendDatagram(std::string_view bytes, std::int32_t toPort) = 0;
  virtual void FinishSending() = 0;
  virtual void Reset() = 0;

  /// Everything that came: one entry for each datagram, or one for the stream.
  virtual const std::vector<std::string>& Received() = 0;
  /// Takes nothing from the network until Received is called.
  virtual void StopReading() {}
};

/// Runs the loop until the condition holds, which nothing needs to announce. It takes the whole
/// time only when a test fails.
::testing::AssertionResult Becomes(MessageLoop& loop, const std::function<bool()>& condition);

/// A host and the world around it.
class Harness {
 public:
  static constexpr std::int16_t kPort = 7;

  virtual ~Harness() = default;

  virtual tarn::Host& Host() = 0;
  virtual const std::vector<std::string>& Traces() const = 0;
  /// A name for a file in a folder that is removed with the harness.
  virtual std::string FileName(const std::string& name) = 0;
  /// Replaces the host as a restart of the program does: only what is on the disk stays.
  virtual void Restart() = 0;
  /// Makes a folder of a name where there was nothing, so that there can be no file of that name.
  virtual void MakeUnusable(const std::string& fileName) = 0;

  /// Makes the far end of port kPort. False if this machine has none.
  virtual bool ConnectLine() = 0;
  /// Another port number for the device of kPort, which is open.
  virtual std::int16_t SamePort() { return kPort; }
  virtual void Deliver(std::string_view bytes) = 0;
  virtual std::string Sent() = 0;  ///< all that arrived at the far end
  virtual bool CanUnplug() const { return true; }
  virtual void Unplug() = 0;
  virtual void PlugIn() {}
  /// The line takes no more output until the loop runs again.
  virtual void Stall() {}

  /// Makes the far end of the socket that was created last.
  virtual std::unique_ptr<FarEnd> MakeFarEnd() = 0;
  /// Whether ports and floods are real, and whether the system reports closed UDP ports and resets.
  virtual bool HasNetwork() const { return true; }
  virtual bool ReportsBreaks() const { return true; }

  /// Releases what the harness itself keeps of the ports and sockets.
  virtual void ForgetPorts() {}
};

std::unique_ptr<Harness> MakeFakeHarness();
/// On POSIX its ports 1 to 4 are the devices FileName("port1") to FileName("port4").
std::unique_ptr<Harness> MakeNativeHarness();

class PlatformTest : public ::testing::Test {
 protected:
  explicit PlatformTest(std::unique_ptr<Harness> made) : harness(std::move(made)) {}

  Host& TheHost() { return harness->Host(); }
  MessageLoop& Loop() { return TheHost().Loop(); }
  std::string Name(const std::string& name) { return harness->FileName(name); }
  std::shared_ptr<SerialPort> NewPort(std::int16_t number = Harness::kPort) {
    auto made = TheHost().CreateSerialPort();
    made->PortNumber(number);
    return made;
  }

  ::testing::AssertionResult Becomes(const std::function<bool()>& condition) {
    return tarn::Becomes(Loop(), condition);
  }
  void RunSomeTurns() {
    int turns = 0;
    const std::function<void()> next = [&] {
      if (++turns < 20) Loop().Post(next);
    };
    next();
    ASSERT_TRUE(Becomes([&] { return turns == 20; }));
  }

  const std::unique_ptr<Harness> harness;
};

class PlatformContract : public PlatformTest, public ::testing::WithParamInterface<std::string> {
 protected:
  PlatformContract()
      : PlatformTest(GetParam() == "Fake" ? MakeFakeHarness() : MakeNativeHarness()) {}
};

#define TARN_CONTRACT(fixture)                                                 \
  INSTANTIATE_TEST_SUITE_P(Host, fixture, ::testing::Values("Fake", "Native"), \
                           [](const auto& contract) { return contract.param; })

class NativeTest : public PlatformTest {
 protected:
  NativeTest() : PlatformTest(MakeNativeHarness()) {}

  NativeHost& Native() { return dynamic_cast<NativeHost&>(TheHost()); }
  static std::string Content(const std::filesystem::path& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void Write(const std::filesystem::path& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  std::size_t FilesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }

  const std::filesystem::path folder = std::filesystem::path(Name("x")).parent_path();
};

}  // namespace tarn
