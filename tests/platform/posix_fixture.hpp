// What the tests of the POSIX host share: a folder of their own, and a host with lines in it.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>

#include "platform/native_host.hpp"
#include "platform/posix/posix_support.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {

/// What a descriptor that becomes ready is tried with.
struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) < 0) return;
    read.Reset(ends[0]);
    write.Reset(ends[1]);
  }
  void Put() const { ASSERT_EQ(::write(write.Get(), "x", 1), 1); }
  void Take() const {
    char c = 0;
    [[maybe_unused]] const auto taken = ::read(read.Get(), &c, 1);
  }
  OwnedFd read, write;
};

/// Another process. It ends with status 0, or with 1 where its work throws.
class Child {
 public:
  explicit Child(const std::function<void()>& work) : number_(::fork()) {
    if (number_ != 0) return;
    try {
      work();
      ::_exit(0);
    } catch (...) {
      ::_exit(1);
    }
  }
  /// As waitpid has it.
  int Status() const {
    int status = -1;
    ::waitpid(number_, &status, 0);
    return status;
  }

 private:
  pid_t number_;
};

class PosixTest : public ::testing::Test {
 protected:
  PosixTest() {
    std::string name = (std::filesystem::temp_directory_path() / "tarn-test-XXXXXX").string();
    folder = ::mkdtemp(name.data());
  }
  ~PosixTest() override { std::filesystem::remove_all(folder); }

  std::string Name(const std::string& name) const { return (folder / name).string(); }

  static std::string Content(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void Write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  std::size_t FilesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder),
                                                  std::filesystem::directory_iterator()));
  }

  std::filesystem::path folder;
};

class PosixLineTest : public PosixTest {
 protected:
  std::unique_ptr<NativeHost> MakeHost() {
    HostOptions options;
    options.portMap = {
        {1, Name("line")}, {2, Name("missing")}, {3, Name("file")}, {4, Name("other")}};
    options.settingsPlace = Name("settings.ini");
    return CreateNativeHost(std::move(options));
  }
  bool Becomes(const std::function<bool()>& condition) {
    return host->Loop().RunUntil(condition, 30000);
  }
  std::shared_ptr<SerialPort> MakePort(std::int16_t number) {
    auto port = host->CreateSerialPort();
    port->PortNumber(number);
    return port;
  }

  std::unique_ptr<NativeHost> host = MakeHost();
};

}  // namespace tarn
