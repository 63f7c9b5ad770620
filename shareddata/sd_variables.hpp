// The tags of a configuration, in order and by key.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/keyed_collection.hpp"
#include "shareddata/sd_tag_info.hpp"

namespace tarn {

/// Clients read and enumerate it; configurations fill it. Keys compare without regard to case.
class SDVariables final {
 public:
  using Tag = std::shared_ptr<SDTagInfo>;

  /// Null where the key or the position (from 1) does not exist.
  Tag Item(std::string_view key) const;
  Tag Item(std::int32_t position) const;
  std::int32_t Count() const { return static_cast<std::int32_t>(tags_.Count()); }

  /// A new tag, stored under the key unless that is empty. Error 457 when the key is present.
  Tag AddTag(bool triggerRequired, const std::string& tagName, SDTagType tagType,
             std::int16_t tagDataLen, const std::string& easyIndex, const std::string& key);
  void AddExistingTag(Tag tag, const std::string& key) { tags_.Add(std::move(tag), key); }
  /// Error 9 where the key or the position does not exist.
  void RemoveTag(std::string_view key);
  void RemoveTag(std::int32_t position);

 private:
  KeyedCollection<Tag> tags_;
};

}  // namespace tarn
