// One record cut out of the bytes that a terminal has printed.
//
//   xx#A17,12.50,kg<CR><LF>#A18,...      startString "#", delimiter ",", terminator CR LF
//     ^    ^     ^ ^       ^
//     |    fields| |       the next record
//     |          | ends the last field
//     start; what stands in front of it is dropped with the record
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "scale/reading_rules.hpp"
#include "scale/tarn_record_template_data.hpp"

namespace tarn {

/// The part of a template that cutting needs, as bytes on the wire. A text that the code page
/// cannot express is none, and is never found.
struct RecordLayout {
  std::int16_t numFields = TarnRecordTemplateData::kMaxNumFields;  ///< 1 to 20
  std::optional<std::string> startString;
  std::optional<std::string> delimiter;
  std::optional<std::string> terminator;
};

/// Cuts the first complete record out of the buffer and returns the number of its fields; 0, and
/// nothing is touched, while it is not complete.
///
/// A record is complete with the delimiter behind its last field or, with fewer fields too, with
/// the terminator. Three things are deliberate:
///   - A terminator behind a record that ended with a delimiter stays in the buffer and begins the
///     next record.
///   - The delimiter is looked for through the whole buffer first, the terminator only where there
///     is no delimiter any more: a short record is joined with the one that waits behind it.
///   - An empty delimiter is found everywhere: all fields are empty and nothing of them is
///   consumed.
/// By the corrected rules a field ends at the delimiter or terminator that comes first, and a
/// terminator with nothing in front of it is removed from the buffer, whether or not a record
/// follows.
std::int16_t CutRecord(const RecordLayout& layout, std::string& buffer,
                       std::vector<std::string>& fields,
                       ReadingRules rules = ReadingRules::Published);

}  // namespace tarn
