#include "protocols/tarn_record_template_config.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

constexpr std::int16_t kMaxNumFields = TarnRecordTemplateData::kMaxNumFields;

std::size_t Position(std::int16_t index) {
  if (index < 1 || index > kMaxNumFields) ThrowSubscriptOutOfRange();
  return static_cast<std::size_t>(index - 1);
}

std::string Numbered(const char* text, std::size_t position) {
  return text + std::to_string(position + 1);
}

}  // namespace

TarnRecordTemplateConfig::TarnRecordTemplateConfig(ScaleSite& site)
    : locale_(site.System().Locale()) {}

void TarnRecordTemplateConfig::InitProperties() {
  ReadProperties(PropertyBag());
}

void TarnRecordTemplateConfig::ReadProperties(const PropertyBag& bag) {
  NumFields(bag.ReadInteger("NumFields", kMaxNumFields));
  delimiter_ = bag.ReadText("Delimiter", ",");
  startString_ = bag.ReadText("StartString", "");
  terminator_ = bag.ReadText("Terminator", "");
  timeout_ = bag.ReadLong("Timeout", 500);
  demandOutput_ = bag.ReadText("DemandOutput", "P");
  for (std::size_t i = 0; i < names_.size(); ++i) {
    names_[i] = bag.ReadText(Numbered("FieldName", i), Numbered("Field", i));
  }
  RefreshLayout();
}

void TarnRecordTemplateConfig::WriteProperties(PropertyBag& bag) const {
  bag.WriteInteger("NumFields", NumFields(), kMaxNumFields);
  bag.WriteText("Delimiter", delimiter_, ",");
  bag.WriteText("StartString", startString_, "");
  bag.WriteText("Terminator", terminator_, "");
  bag.WriteLong("Timeout", timeout_, 500);
  bag.WriteText("DemandOutput", demandOutput_, "P");
  for (std::size_t i = 0; i < names_.size(); ++i) {
    bag.WriteText(Numbered("FieldName", i), names_[i], Numbered("Field", i));
  }
}

void TarnRecordTemplateConfig::NumFields(std::int16_t count) {
  layout_.numFields = std::clamp<std::int16_t>(count, 1, kMaxNumFields);
  RaiseChanged("NumFields");
}

void TarnRecordTemplateConfig::Delimiter(std::string text) {
  delimiter_ = std::move(text);
  RefreshLayout();
  RaiseChanged("Delimiter");
}

void TarnRecordTemplateConfig::StartString(std::string text) {
  startString_ = std::move(text);
  RefreshLayout();
  RaiseChanged("StartString");
}

void TarnRecordTemplateConfig::Terminator(std::string text) {
  terminator_ = std::move(text);
  RefreshLayout();
  RaiseChanged("Terminator");
}

void TarnRecordTemplateConfig::Timeout(std::int32_t milliseconds) {
  timeout_ = milliseconds;
  RaiseChanged("Timeout");
}

void TarnRecordTemplateConfig::FieldName(std::int16_t nIndex, std::string name) {
  names_[Position(nIndex)] = std::move(name);
  RaiseChanged("FieldName");
}

const std::string& TarnRecordTemplateConfig::FieldName(std::int16_t nIndex) const {
  return names_[Position(nIndex)];
}

void TarnRecordTemplateConfig::DemandOutput(std::string text) {
  demandOutput_ = std::move(text);
  RaiseChanged("DemandOutput");
}

std::optional<std::string> TarnRecordTemplateConfig::Bytes(const std::string& text) const {
  std::string bytes = locale_.ToBytes(text);
  // A character that the code page lacks must not match the question mark that replaces it.
  if (locale_.FromBytes(bytes) != text) return std::nullopt;
  return bytes;
}

void TarnRecordTemplateConfig::RefreshLayout() {
  layout_.delimiter = Bytes(delimiter_);
  layout_.startString = Bytes(startString_);
  layout_.terminator = Bytes(terminator_);
}

void TarnRecordTemplateConfig::RaiseChanged(std::string_view property) {
  const auto self = weak_from_this().lock();
  PropertyChanged.Raise(property);
  ConfigChanged.Raise();
}

}  // namespace tarn
