#include "shareddata/sd_variables.hpp"

#include <cstddef>

namespace tarn {

SDVariables::Tag SDVariables::Item(std::string_view key) const {
  const Tag* tag = tags_.Find(key);
  return tag == nullptr ? nullptr : *tag;
}

SDVariables::Tag SDVariables::Item(std::int32_t position) const {
  const Tag* tag = position < 1 ? nullptr : tags_.At(static_cast<std::size_t>(position));
  return tag == nullptr ? nullptr : *tag;
}

SDVariables::Tag SDVariables::AddTag(bool triggerRequired, const std::string& tagName,
                                     SDTagType tagType, std::int16_t tagDataLen,
                                     const std::string& easyIndex, const std::string& key) {
  auto tag = std::make_shared<SDTagInfo>();
  tag->TriggerRequired(triggerRequired);
  tag->TagName(tagName);
  tag->TagType(tagType);
  tag->TagDataLen(tagDataLen);
  tag->EasyIndex(easyIndex);
  AddExistingTag(tag, key);
  return tag;
}

void SDVariables::RemoveTag(std::string_view key) {
  const Tag tag = Item(key);
  if (!tag) ThrowSubscriptOutOfRange();
  std::int32_t position = 1;
  while (Item(position) != tag) ++position;
  RemoveTag(position);
}

void SDVariables::RemoveTag(std::int32_t position) {
  if (position < 1) ThrowSubscriptOutOfRange();
  tags_.Remove(static_cast<std::size_t>(position));
}

}  // namespace tarn
