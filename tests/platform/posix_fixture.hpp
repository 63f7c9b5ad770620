// What the tests of the POSIX host share: a folder of their own, and a host with lines in it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "platform/native_host.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {

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
    return (std::ostringstream() << file.rdbuf()).str();
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
    options.portMap[1] = Name("line");
    options.portMap[2] = Name("missing");
    options.portMap[3] = Name("file");
    options.portMap[4] = Name("other-name");
    options.settingsPlace = Name("settings.ini");
    options.trace = [this](std::string_view text) { traces.emplace_back(text); };
    return CreateNativeHost(std::move(options));
  }
  std::shared_ptr<SerialPort> MakePort(std::int16_t number) {
    auto port = host->CreateSerialPort();
    port->PortNumber(number);
    return port;
  }

  std::vector<std::string> traces;
  std::unique_ptr<NativeHost> host = MakeHost();
};

}  // namespace tarn
