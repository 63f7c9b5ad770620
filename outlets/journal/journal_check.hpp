// A whole journal read from its first line to its last, without changing anything.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "outlets/journal/journal_text.hpp"
#include "platform/durable_folder.hpp"

namespace tarn {

struct JournalFault {
  std::string file;        ///< empty for one that no line shows
  std::uint64_t line = 0;  ///< from 1
  std::string words;
};

struct JournalCheck {
  std::size_t files = 0;
  std::uint64_t weighings = 0;
  std::uint64_t marks = 0;
  std::uint64_t firstBefore = 0;  ///< the number before the first line that is kept
  ChainEnd end;
  std::optional<JournalFault> fault;  ///< the first one
};

struct JournalVisitor {
  std::function<void(const Weighing& weighing)> weighing = {};
  std::function<void(const std::string& file, std::uint64_t line, std::string_view words)> mark =
      {};
};

/// What is damaged is passed by, but for the fault. Throws what the folder throws.
JournalCheck CheckJournal(DurableFolder& folder, const JournalVisitor& visitor);

}  // namespace tarn
