// A settings store as one run of a program sees it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/settings_store.hpp"

namespace tarn {

/// Passes everything on to the store until Begin. From then on the given values of the section
/// "Settings" come before those of the store, and what is written is kept here, so that the store
/// stays as its user wrote it.
class RunSettings final : public SettingsStore {
 public:
  using Values = std::map<std::string, std::string, std::less<>>;

  explicit RunSettings(SettingsStore& store) : store_(store) {}

  void Begin(Values values) { values_ = std::move(values); }

  std::optional<std::string> Get(std::string_view section, std::string_view key) override {
    if (values_ && section == kSection) {
      if (const auto found = values_->find(key); found != values_->end()) return found->second;
    }
    return store_.Get(section, key);
  }
  void Set(std::string_view section, std::string_view key, std::string_view value) override {
    if (values_ && section == kSection)
      values_->insert_or_assign(std::string(key), std::string(value));
    else
      store_.Set(section, key, value);
  }

 private:
  static constexpr std::string_view kSection = "Settings";

  SettingsStore& store_;
  std::optional<Values> values_;
};

}  // namespace tarn
