// A configuration whose tags are a list that never changes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "shareddata/sd_variables.hpp"
#include "shareddata/summit_config.hpp"

namespace tarn {

/// Every tag is polled, in the order of adding, and found by its name.
class TagListConfig : public SummitConfig {
 public:
  TagInfo GetTagInfoByKey(const std::string& TagName) const override { return tags_.Item(TagName); }
  TagInfo GetTagInfoByIndex(std::int16_t TagIndex) const override {
    return tags_.Item(std::int32_t{TagIndex});
  }
  std::int16_t GetTagInfoCount() const override { return static_cast<std::int16_t>(tags_.Count()); }

 protected:
  TagInfo AddTagInfo(std::string_view name, SDTagType type, std::int16_t length,
                     bool triggerRequired = false);
  /// One tag for each of the four scales: prefix, number, suffix.
  void AddForEachScale(std::string_view prefix, std::string_view suffix, SDTagType type,
                       std::int16_t length);
  void ClearTags() { tags_ = {}; }

 private:
  SDVariables tags_;
};

}  // namespace tarn
