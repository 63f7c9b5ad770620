// Any bytes as the file of the settings store: reading and writing fail clearly, or what was
// written reads back and what stood there stays.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "base/automation_error.hpp"
#include "platform/native_host.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // One host and one file for all runs; each run leaves nothing behind.
  static const std::string file = (std::filesystem::temp_directory_path() /
                                   ("fuzz-store-" + std::to_string(std::random_device()())))
                                      .string();
  static const auto host = [] {
    tarn::HostOptions options;
    options.settingsPlace = file;
    return tarn::CreateNativeHost(options);
  }();
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  tarn::SettingsStore& settings = host->Settings();
  // A value of everything that is awkward in such a file: taken from the input.
  const std::string value(reinterpret_cast<const char*>(data), size / 2);
  try {
    const auto before = settings.Get("Settings", "LastFile");
    settings.Set("Settings", "LogFile", value);
    if (settings.Get("Settings", "LogFile") != value) std::abort();
    if (settings.Get("Settings", "LastFile") != before) std::abort();
  } catch (const tarn::AutomationError&) {
    // refused
  }
  std::filesystem::remove(file);
  return 0;
}
