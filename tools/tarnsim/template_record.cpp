#include "tools/tarnsim/template_record.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr std::size_t kMostFields = 20;
constexpr std::int64_t kIdentifiers = 1000;

constexpr std::array<std::pair<std::string_view, RecordField>, 6> kFields = {{
    {"number", RecordField::Number},
    {"id", RecordField::Identifier},
    {"gross", RecordField::Gross},
    {"tare", RecordField::Tare},
    {"net", RecordField::Net},
    {"units", RecordField::Units},
}};

/// "A042": what operators key in before they print.
std::string Identifier(std::int64_t number) {
  std::string digits = std::to_string(kIdentifiers + number % kIdentifiers);
  digits.front() = 'A';
  return digits;
}

std::string FieldText(const TemplateLayout& layout, RecordField field, const Reading& reading,
                      std::int64_t number) {
  switch (field) {
    case RecordField::Number:
      return std::to_string(number);
    case RecordField::Identifier:
      return Identifier(number);
    case RecordField::Gross:
      return layout.graduation.Text(reading.gross);
    case RecordField::Tare:
      return layout.graduation.Text(reading.tare);
    case RecordField::Net:
      return layout.graduation.Text(reading.Displayed());
    case RecordField::Units:
      return std::string(UnitsText(layout.units));
  }
  return {};
}

RecordField FieldOf(std::string_view name) {
  const auto* const found = std::find_if(kFields.begin(), kFields.end(),
                                         [name](const auto& known) { return known.first == name; });
  if (found != kFields.end()) return found->second;
  throw UsageError("Unknown field \"" + std::string(name) +
                   "\": take number, id, gross, tare, net or units");
}

}  // namespace

std::vector<RecordField> ParseRecordFields(std::string_view list) {
  std::vector<RecordField> fields;
  for (;;) {
    const auto comma = list.find(',');
    fields.push_back(FieldOf(list.substr(0, comma)));
    if (fields.size() > kMostFields) {
      throw UsageError("A record has no more than " + std::to_string(kMostFields) + " fields");
    }
    if (comma == std::string_view::npos) return fields;
    list.remove_prefix(comma + 1);
  }
}

std::vector<std::string> BuildTemplateRecord(const TemplateLayout& layout, const Reading& reading,
                                             std::int64_t number, std::size_t fieldCount) {
  std::vector<std::string> pieces;
  const std::size_t count = std::min(fieldCount, layout.fields.size());
  for (std::size_t i = 0; i < count; ++i) {
    std::string piece = i == 0 ? layout.startString : std::string();
    piece += FieldText(layout, layout.fields[i], reading, number);
    const bool last = i + 1 == count;
    if (!last || layout.delimiterAtEnd) piece += layout.delimiter;
    if (last) piece += layout.terminator;
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

}  // namespace tarn::sim
