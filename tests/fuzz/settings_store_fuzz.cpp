// Any bytes as the file of the settings store: reading and writing fail clearly, or what was
// written reads back and what stood there stays.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include "base/automation_error.hpp"
#include "platform/native_host.hpp"

namespace {

/// One host and one file for all runs.
struct Store {
  Store() {
    tarn::HostOptions options;
    options.settingsPlace = file;
    host = tarn::CreateNativeHost(options);
  }
  ~Store() { std::filesystem::remove(file); }

  std::string file = (std::filesystem::temp_directory_path() /
                      ("fuzz-store-" + std::to_string(std::random_device()())))
                         .string();
  std::unique_ptr<tarn::NativeHost> host;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Store store;
  std::ofstream(store.file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  tarn::SettingsStore& settings = store.host->Settings();
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
  return 0;
}
