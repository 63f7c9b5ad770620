// The contract of a configuration, which lists the variables that the polling engine reads, and the
// contract's own empty implementation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/persistable.hpp"
#include "scale/named_value.hpp"
#include "shareddata/sd_tag_info.hpp"

namespace tarn {

/// The object may be a client's, so any call may throw.
class _SummitConfig : public Persistable {
 public:
  using TagInfo = std::shared_ptr<SDTagInfo>;

  /// Null where there is no such tag.
  virtual TagInfo GetTagInfoByKey(const std::string& TagName) const = 0;
  /// Of the tags that every round reads, counted from 1; null outside 1 to GetTagInfoCount.
  virtual TagInfo GetTagInfoByIndex(std::int16_t TagIndex) const = 0;
  virtual std::int16_t GetTagInfoCount() const = 0;
  /// Names of the trigger variables, counted from 1; the first name that is not 5 characters long
  /// ends the list.
  virtual std::string GetResetTrigger(std::int16_t TriggerIndex) const = 0;
  virtual std::string GetUpdateTrigger(std::int16_t TriggerIndex) const = 0;

  /// The present values that the tags themselves hold, for tools. Not published: a client's own
  /// configuration shows none.
  virtual std::vector<NamedValue> NamedValues() const { return {}; }
};

/// Describes nothing.
class SummitConfig : public _SummitConfig {
 public:
  static constexpr std::string_view kClassName = "SummitConfig";

  std::string_view ClassName() const override { return kClassName; }
  TagInfo GetTagInfoByKey(const std::string& /*TagName*/) const override { return nullptr; }
  TagInfo GetTagInfoByIndex(std::int16_t /*TagIndex*/) const override { return nullptr; }
  std::int16_t GetTagInfoCount() const override { return 0; }
  std::string GetResetTrigger(std::int16_t /*TriggerIndex*/) const override { return {}; }
  std::string GetUpdateTrigger(std::int16_t /*TriggerIndex*/) const override { return {}; }
};

}  // namespace tarn
