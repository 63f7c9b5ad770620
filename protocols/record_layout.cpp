#include "protocols/record_layout.hpp"

#include <array>
#include <cstddef>
#include <string_view>

namespace tarn {
namespace {

/// Where a text begins at or after `from`. If no bytes are left there, nothing is found, not even
/// an empty text.
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
                                       std::size_t from, ReadingRules rules) {
  std::optional<Separator> first;
  if (const auto found = Find(buffer, layout.delimiter, from)) {
    first = Separator{*found, *found + layout.delimiter->size(), false};
    if (rules == ReadingRules::Published) return first;
  }
  if (!layout.terminator || layout.terminator->empty()) return first;
  if (const auto found = Find(buffer, layout.terminator, from)) {
    const Separator closing{*found, *found + layout.terminator->size(), true};
    // Of two that begin together, the longer one.
    if (!first || closing.begin < first->begin ||
        (closing.begin == first->begin && closing.end > first->end)) {
      first = closing;
    }
  }
  return first;
}

/// Those that a record left which ended with a delimiter, and blank lines.
void RemoveLeadingTerminators(const RecordLayout& layout, std::string& buffer) {
  for (;;) {
    const auto separator = FindSeparator(layout, buffer, 0, ReadingRules::Corrected);
    if (!separator || separator->begin > 0 || !separator->closesRecord) return;
    buffer.erase(0, separator->end);
  }
}

std::optional<std::size_t> FirstField(const RecordLayout& layout, std::string_view buffer) {
  if (layout.startString && layout.startString->empty()) return 0;
  const auto start = Find(buffer, layout.startString, 0);
  if (!start) return std::nullopt;
  return *start + layout.startString->size();
}

}  // namespace

std::int16_t CutRecord(const RecordLayout& layout, std::string& buffer,
                       std::vector<std::string>& fields, ReadingRules rules) {
  if (rules == ReadingRules::Corrected) RemoveLeadingTerminators(layout, buffer);
  const auto first = FirstField(layout, buffer);
  if (!first) return 0;
  // Copied only when the record is complete, since this runs again with every byte that arrives.
  std::array<std::string_view, TarnRecordTemplateData::kMaxNumFields> found;
  const auto wanted = static_cast<std::size_t>(layout.numFields);
  std::size_t count = 0;
  std::size_t next = *first;
  for (bool complete = false; !complete;) {
    const auto separator = FindSeparator(layout, buffer, next, rules);
    if (!separator) return 0;
    found[count++] = std::string_view(buffer).substr(next, separator->begin - next);
    next = separator->end;
    complete = count == wanted || separator->closesRecord;
  }
  fields.assign(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count));
  buffer.erase(0, next);
  return static_cast<std::int16_t>(count);
}

}  // namespace tarn
