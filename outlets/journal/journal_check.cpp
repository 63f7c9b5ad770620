#include "outlets/journal/journal_check.hpp"

#include "outlets/journal/journal_store.hpp"

namespace tarn {
namespace {

constexpr std::size_t kPieceOfCheck = 64U << 10U;

}  // namespace

JournalCheck CheckJournal(DurableFolder& folder, const JournalVisitor& visitor) {
  JournalCheck check;
  const auto report = [&check](const std::string& file, std::uint64_t line, std::string words) {
    if (!check.fault) check.fault = {file, line, std::move(words)};
  };
  bool isKnown = false;
  // Before the files: a number that is acknowledged meanwhile stands in one of them.
  const JournalStore::Receivers receivers = ReadReceivers(folder);
  const std::vector<std::string> names = JournalFiles(folder);
  for (const std::string& name : names) {
    const auto onWeighing = [&](const Weighing& weighing) {
      ++check.weighings;
      if (visitor.weighing) visitor.weighing(weighing);
    };
    const auto onMark = [&](std::uint64_t line, std::string_view words) {
      ++check.marks;
      if (visitor.mark) visitor.mark(name, line, words);
    };
    JournalReader reader(*DayOfJournalFile(name), {.end = check.end}, isKnown,
                         {.weighing = onWeighing, .mark = onMark});
    std::uint64_t offset = 0;
    while (true) {
      const std::string bytes = folder.Read(name, offset, kPieceOfCheck);
      if (bytes.empty()) break;
      reader.Take(bytes);
      offset += bytes.size();
      if (!isKnown && reader.FirstPlace()) check.firstBefore = reader.FirstPlace()->number;
    }
    const bool wasSound = !reader.FirstProblem();
    reader.Finish();
    ++check.files;
    // What a writer has not finished yet is no fault.
    if (wasSound && name == names.back() && folder.IsWritten()) {
      check.end = reader.Place().end;
      break;
    }
    if (const auto& problem = reader.FirstProblem()) report(name, problem->line, problem->words);
    if (!reader.Place().begun) report(name, 1, "the file has no first line");
    check.end = reader.Place().end;
    isKnown = true;
  }
  for (const auto& [receiver, number] : receivers) {
    if (number <= check.end.number) continue;
    report("", 0,
           "'" + receiver + "' has got everything up to number " + std::to_string(number) +
               ", but the journal ends with number " + std::to_string(check.end.number) +
               ": lines or files at the end are missing");
  }
  return check;
}

}  // namespace tarn
