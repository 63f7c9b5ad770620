#include "tools/tarnscale/journal_commands.hpp"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "outlets/journal/journal.hpp"
#include "outlets/journal/journal_check.hpp"
#include "outlets/journal/journal_store.hpp"
#include "platform/durable_folder.hpp"
#include "platform/utf8.hpp"
#include "tools/arguments.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {
namespace {

std::string CsvField(std::string_view value) {
  if (value.find_first_of(",\"\r\n") == value.npos) return std::string(value);
  std::string quoted = "\"";
  for (const char c : value) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

/// The columns of the journal with commas; what stands for a line end there stays as it is.
std::string CsvLine(std::string_view columns) {
  std::string line;
  while (true) {
    const auto tab = columns.find('\t');
    line += CsvField(columns.substr(0, tab));
    if (tab == columns.npos) return line + "\n";
    line += ',';
    columns.remove_prefix(tab + 1);
  }
}

std::string ListLine(const Weighing& weighing) {
  const std::string what =
      weighing.fields.empty() ? WeightsText(weighing.reading) : FieldsText(weighing.fields);
  return std::to_string(weighing.number) + "  " + LocalText(weighing.time) + "  " +
         ScaleTitle(weighing.scale, weighing.alias) + ": " + what + " (" +
         std::string(PrintOriginName(weighing.origin)) + ")\n";
}

std::uint64_t NumberAfter(const std::string& text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (!text.empty() && (rest != end || error != std::errc{}))
    throw UsageError("--after: '" + Printable(text) + "' is no number of a weighing");
  return number;
}

std::string CountText(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

int ReportCheck(Program& program, const std::string& folder, const JournalCheck& check) {
  if (const auto& fault = check.fault) {
    std::string place = folder;
    if (!fault->file.empty()) place += "/" + fault->file + ", line " + std::to_string(fault->line);
    program.Complain(place + ": " + Printable(fault->words));
    return kFailed;
  }
  std::string text = folder + ": " + CountText(check.weighings, "weighing") + " in " +
                     CountText(check.files, "file") + ", each line follows from the one before";
  if (check.firstBefore > 0) {
    text += ", the first kept line from the one of number " + std::to_string(check.firstBefore);
  }
  if (check.marks > 0) text += "; " + CountText(check.marks, "mark");
  text += "\nlast number " + std::to_string(check.end.number) + ", sum " + check.end.sum + "\n";
  program.Output().Write(text);
  return kSuccess;
}

}  // namespace

std::unique_ptr<WeighingBook> OpenJournal(Program& program, const OutletOptions& options) {
  auto& host = program.Host();
  try {
    auto store = std::make_unique<JournalStore>(
        OpenDurableFolder(options.journal, FolderUse::Write),
        JournalStore::Options{.clock = std::chrono::system_clock::now,
                              .days = static_cast<std::size_t>(options.journalDays)});
    return std::make_unique<Journal>(host.Loop(), std::move(store),
                                     [&host](std::string_view text) { host.TraceNews(text); });
  } catch (const std::exception& error) {
    throw Failure(std::string("the journal cannot be opened: ") + error.what());
  }
}

int RecordsCommand(Program& program, const RecordsOptions& options) {
  const bool exports = options.action == "export";
  const bool verifies = options.action == "verify";
  if (!exports && (options.csv || options.json))
    throw UsageError("--csv and --json go with export");
  if (verifies && !options.after.empty()) throw UsageError("--after goes with list and export");
  const std::uint64_t after = NumberAfter(options.after);
  std::string text;
  const auto flush = [&](std::size_t bound) {
    if (text.size() >= bound) program.Output().Write(std::exchange(text, {}));
  };
  if (exports && !options.json) text = CsvLine(kJournalTitles);
  JournalVisitor visitor;
  if (verifies) {
    visitor.mark = [&](const std::string& file, std::uint64_t line, std::string_view words) {
      program.Say("note: " + file + ", line " + std::to_string(line) +
                  " is a mark: " + Printable(words));
    };
  } else {
    visitor.weighing = [&](const Weighing& weighing) {
      if (weighing.number <= after) return;
      if (!exports)
        text += ListLine(weighing);
      else if (options.json)
        text += WeighingJson(weighing) + "\n";
      else
        text += CsvLine(JournalColumns(weighing));
      flush(64U << 10U);
    };
  }
  try {
    const auto folder = OpenDurableFolder(options.folder, FolderUse::Read);
    if (!IsJournal(*folder)) throw Failure(Printable(options.folder) + " is no journal");
    const JournalCheck check = CheckJournal(*folder, visitor);
    flush(1);
    if (verifies) return ReportCheck(program, Printable(options.folder), check);
    if (!check.fault) return kSuccess;
    program.Complain("not all of it can be read: see tarnscale records verify");
    return kFailed;
  } catch (const AutomationError& error) {
    throw Failure(error.what());
  }
}

}  // namespace tarn::tool
