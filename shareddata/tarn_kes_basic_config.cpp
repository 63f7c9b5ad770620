#include "shareddata/tarn_kes_basic_config.hpp"

#include "base/automation_error.hpp"
#include "shareddata/message_layout.hpp"
#include "shareddata/tag_messages.hpp"

namespace tarn {
namespace {

void RequireValid(bool valid, const char* what) {
  if (!valid) throw AutomationError(ErrorNumber::InvalidPropertyValue, what);
}

std::string Key(std::int32_t number) {
  return "Variable" + std::to_string(number);
}

std::string ShownText(const TagValue& value) {
  if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&value)) {
    std::string text;
    for (const auto byte : *bytes) text += (text.empty() ? "" : " ") + std::to_string(byte);
    return text;
  }
  try {
    return ToText(value, ".");
  } catch (const AutomationError&) {
    return "?";  // an object of a client
  }
}

}  // namespace

/// The first number that is missing ends the list. A client may have given two tags the same easy
/// index afterwards: the first of them keeps it as its key.
void TarnKesBasicConfig::ReadProperties(const PropertyBag& bag) {
  for (std::int32_t number = 1; number <= kMostVariables; ++number) {
    const PropertyBag::Object* stored = bag.FindObject(Key(number));
    if (stored == nullptr) break;
    auto tag = std::make_shared<SDTagInfo>();
    tag->ReadProperties(stored->bag);
    tags_->AddExistingTag(tag, tags_->Item(tag->EasyIndex()) ? "" : tag->EasyIndex());
  }
  WatchTags();
}

void TarnKesBasicConfig::WriteProperties(PropertyBag& bag) const {
  for (std::int32_t number = 1; number <= tags_->Count(); ++number) {
    WriteObject(bag, Key(number), *tags_->Item(number));
  }
}

TarnKesBasicConfig::TagInfo TarnKesBasicConfig::AddVariable(const std::string& EasyIndex,
                                                            const std::string& TagName,
                                                            SDTagType TagType,
                                                            std::int16_t TagDataLen, bool Writable,
                                                            bool Polled) {
  RequireValid(!EasyIndex.empty(), "A variable needs an easy index");
  RequireVariableName(TagName);
  const std::int16_t width = ElementWidth(TagType);
  RequireValid(width > 0, "There is no such type of variable");
  RequireValid(
      TagDataLen >= width && TagDataLen <= static_cast<int>(sizeof(ReplyMessageStruct::data)),
      "The variable cannot have that length");
  if (tags_->Count() >= kMostVariables) ThrowOverflow();
  const auto tag = tags_->AddTag(false, TagName, TagType, TagDataLen, EasyIndex, EasyIndex);
  tag->Writable(Writable);
  tag->Polled(Polled);
  TagsChanged();
  return tag;
}

void TarnKesBasicConfig::RemoveVariable(const std::string& EasyIndex) {
  tags_->RemoveTag(EasyIndex);
  TagsChanged();
}

void TarnKesBasicConfig::TagsChanged() {
  WatchTags();
  PropertyChanged.Raise("SDVariables");
}

void TarnKesBasicConfig::WatchTags() {
  polled_.clear();
  onTagChanged_.clear();
  for (std::int32_t number = 1; number <= tags_->Count(); ++number) {
    const TagInfo tag = tags_->Item(number);
    if (tag->Polled()) polled_.push_back(tag);
    onTagChanged_.push_back(tag->PropertyChanged.Subscribe(
        [this](std::string_view) { PropertyChanged.Raise("SDVariables"); }));
  }
}

TarnKesBasicConfig::TagInfo TarnKesBasicConfig::GetTagInfoByKey(const std::string& TagName) const {
  if (const TagInfo tag = tags_->Item(TagName)) return tag;
  for (std::int32_t number = 1; number <= tags_->Count(); ++number) {
    const TagInfo tag = tags_->Item(number);
    if (tag->TagName() == TagName) return tag;
  }
  return nullptr;
}

TarnKesBasicConfig::TagInfo TarnKesBasicConfig::GetTagInfoByIndex(std::int16_t TagIndex) const {
  const bool exists = TagIndex >= 1 && TagIndex <= GetTagInfoCount();
  return exists ? polled_[static_cast<std::size_t>(TagIndex - 1)] : nullptr;
}

std::int16_t TarnKesBasicConfig::GetTagInfoCount() const {
  return static_cast<std::int16_t>(polled_.size());
}

std::vector<NamedValue> TarnKesBasicConfig::NamedValues() const {
  std::vector<NamedValue> values;
  for (const TagInfo& tag : polled_)
    values.push_back({tag->EasyIndex(), ShownText(tag->TagData())});
  return values;
}

}  // namespace tarn
