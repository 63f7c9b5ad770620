#include "shareddata/tag_list_config.hpp"

namespace tarn {

TagListConfig::TagInfo TagListConfig::AddTagInfo(std::string_view name, SDTagType type,
                                                 std::int16_t length, bool triggerRequired) {
  auto tag = std::make_shared<SDTagInfo>();
  tag->TagName(std::string(name));
  tag->TagType(type);
  tag->TagDataLen(length);
  tag->TriggerRequired(triggerRequired);
  tag->Polled(true);
  tags_.AddExistingTag(tag, tag->TagName());
  return tag;
}

void TagListConfig::AddForEachScale(std::string_view prefix, std::string_view suffix,
                                    SDTagType type, std::int16_t length) {
  for (const char scale : {'1', '2', '3', '4'}) {
    AddTagInfo(std::string(prefix) + scale + std::string(suffix), type, length);
  }
}

}  // namespace tarn
