// The records that a terminal prints by a template: fields with a delimiter between them, perhaps a
// start string in front and a terminator behind.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/indicator.hpp"

namespace tarn::sim {

enum class RecordField { Number, Identifier, Gross, Tare, Net, Units };

struct TemplateLayout {
  std::string startString;
  std::string delimiter = ",";
  std::string terminator = "\r\n";
  bool delimiterAtEnd = false;  ///< behind the last field too
  std::vector<RecordField> fields;
  Units units = Units::Kilogram;
  Graduation graduation;
};

/// Parses names such as "number,net,units", in any order and as often as wanted. Throws UsageError
/// for an unknown name, and for more than 20 of them.
std::vector<RecordField> ParseRecordFields(std::string_view list);

/// Returns the record in the pieces that a slow terminal sends: each is a field with what follows
/// it. `number` counts the prints; only the first `fieldCount` fields are printed.
std::vector<std::string> BuildTemplateRecord(const TemplateLayout& layout, const Reading& reading,
                                             std::int64_t number, std::size_t fieldCount);

}  // namespace tarn::sim
