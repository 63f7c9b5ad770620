// The per-user settings store: section/key/value texts under the application's title.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tarn {

class SettingsStore {
 public:
  SettingsStore() = default;
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;
  virtual ~SettingsStore() = default;

  /// Nothing if the key is missing. Error 57 or 70 if the store cannot be read.
  virtual std::optional<std::string> Get(std::string_view section, std::string_view key) = 0;
  /// Error 57 or 70 if the store cannot be written. Keeps what other programs wrote meanwhile or
  /// are writing at the same moment, and waits at most 2 seconds for them.
  virtual void Set(std::string_view section, std::string_view key, std::string_view value) = 0;
};

}  // namespace tarn
