// The settings store in the user's part of the registry.
#pragma once

#include <string>
#include <string_view>

#include "platform/settings_store.hpp"

namespace tarn {

class Win32SettingsStore final : public SettingsStore {
 public:
  /// `place` is a key below HKEY_CURRENT_USER\Software; sections are keys below it.
  explicit Win32SettingsStore(const std::string& place);

  std::optional<std::string> Get(std::string_view section, std::string_view key) override;
  void Set(std::string_view section, std::string_view key, std::string_view value) override;

 private:
  std::wstring SectionPath(std::string_view section) const;

  std::string place_;
};

}  // namespace tarn
