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

/// Where a text begins at or behind `from`. In an empty rest nothing is found, not even an empty
/// text.
std::optional<std::size_t> Find(std::string_view buffer, const std::optional<std::string>& text,
                                std::size_t from) {
  if (!text || from >= buffer.size()) return std::nullopt;
  const std::size_t found = buffer.find(*text, from);
  if (found == std::string_view::npos) return std::nullopt;
  return found;
}

struct Separator {
  std::size_t begin;
  std::size_t end;
  bool closesRecord;
};

std::optional<Separator> FindSeparator(const RecordLayout& layout, std::string_view buffer,
                                       std::size_t from) {
  if (const auto found = Find(buffer, layout.delimiter, from)) {
    return Separator{*found, *found + layout.delimiter->size(), false};
  }
  if (!layout.terminator || layout.terminator->empty()) return std::nullopt;
  if (const auto found = Find(buffer, layout.terminator, from)) {
    return Separator{*found, *found + layout.terminator->size(), true};
  }
  return std::nullopt;
}

std::optional<std::size_t> FirstField(const RecordLayout& layout, std::string_view buffer) {
  if (layout.startString && layout.startString->empty()) return 0;
  const auto start = Find(buffer, layout.startString, 0);
  if (!start) return std::nullopt;
  return *start + layout.startString->size();
}

}  // namespace

std::int16_t CutRecord(const RecordLayout& layout, std::string& buffer,
                       std::vector<std::string>& fields) {
  const auto first = FirstField(layout, buffer);
  if (!first) return 0;
  // Copied only once the record is complete, since every arriving byte may ask again.
  std::array<std::string_view, kMaxNumFields> found;
  const auto wanted = static_cast<std::size_t>(layout.numFields);
  std::size_t count = 0;
  std::size_t next = *first;
  for (bool complete = false; !complete;) {
    const auto separator = FindSeparator(layout, buffer, next);
    if (!separator) return 0;
    found[count++] = std::string_view(buffer).substr(next, separator->begin - next);
    next = separator->end;
    complete = count == wanted || separator->closesRecord;
  }
  fields.assign(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count));
  buffer.erase(0, next);
  return static_cast<std::int16_t>(count);
}

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
  // What the code page does not have must not match the question marks that stand for it.
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
