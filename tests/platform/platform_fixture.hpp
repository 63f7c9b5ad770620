// The fixture of the platform's tests: the host of the operating system, and a folder of its own.
// What a contract_*_test.cpp asks holds on every system.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/native_host.hpp"
#include "tests/support/error_of.hpp"

namespace tarn {

#ifdef _WIN32
constexpr bool kOnWindows = true;
#else
constexpr bool kOnWindows = false;
#endif

class PlatformTest : public ::testing::Test {
 protected:
  /// A port whose device is Name("port7"), as those of 1 to 4 are. On Windows it is the COM
  /// port that TARN_TEST_PORT_A names, one end of a pair.
  static constexpr std::int16_t kPort = 7;

  ~PlatformTest() override {
    host.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  static std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
  }
  /// A name for a file in the folder, which is removed after the test.
  std::string Name(const std::string& name) const { return (folder / name).string(); }
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

  std::unique_ptr<NativeHost> NewHost(const std::string& terminalNetwork = {}) {
    HostOptions options;
    options.terminalNetwork = terminalNetwork;
    for (const int number : {1, 2, 3, 4, int{kPort}}) {
      options.portMap[number] = Name("port" + std::to_string(number));
    }
    if (kOnWindows) options.portMap[kPort] = Variable("TARN_TEST_PORT_A");
    options.settingsPlace = kOnWindows ? unique : Name("store/settings.ini");
    options.trace = [this](std::string_view text) { traces.emplace_back(text); };
    return CreateNativeHost(std::move(options));
  }
  /// Replaces the host as a restart of the program does: only what is on the disk stays.
  void Restart() {
    host.reset();
    host = NewHost();
  }
  MessageLoop& Loop() { return host->Loop(); }
  std::shared_ptr<SerialPort> NewPort(std::int16_t number = kPort) {
    auto made = host->CreateSerialPort();
    made->PortNumber(number);
    return made;
  }

  /// Runs the loop until the condition holds, which nothing needs to announce. It takes the whole
  /// time only when a test fails.
  ::testing::AssertionResult Becomes(const std::function<bool()>& condition) {
    const auto poll = Loop().CreateTimer();
    poll->Interval(5);
    poll->Enabled(true);
    if (Loop().RunUntil(condition, 30000)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "it did not come about";
  }
  void RunSomeTurns() {
    int turns = 0;
    const std::function<void()> next = [&] {
      if (++turns < 20) Loop().Post(next);
    };
    next();
    ASSERT_TRUE(Becomes([&] { return turns == 20; }));
  }

  const std::string unique = "tarn-test-" + std::to_string(std::random_device{}());
  const std::filesystem::path folder = [this] {
    const auto made = std::filesystem::temp_directory_path() / unique;
    std::filesystem::create_directories(made);
    return made;
  }();
  std::vector<std::string> traces;
  std::unique_ptr<NativeHost> host = NewHost();
};

}  // namespace tarn
