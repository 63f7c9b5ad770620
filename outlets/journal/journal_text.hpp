// The lines of a journal, written and read: which bytes stand for a weighing, and how each line is
// tied to the one before it.
//
// A file of a journal has a line a weighing, its columns between tabs:
//
//   journal 1 2026-06-01  0  0000...  2026-06-01T06:00:01.250Z                             5b1e...
//   number  time          scale  alias  gross  ...  origin  fields                         90c2...
//   1  2026-06-01T06:00:01.250Z  1  Line 1  133.4  10.0  123.4  kg  133.4 ...  terminal     e07f...
//   mark    1  2026-06-01T06:02:11.000Z  17  the bytes before this line are no line        4cc1...
//
// The last column is the SHA-256 of the one before it and the line's other bytes, so a line cannot
// change alone. The first line of a file has the number and the sum before it, so a file can be
// checked without those that went before. A mark says that the bytes between it and the last
// sound line (17 here, with their line end) count for nothing, and which numbers are spent.
//
// A backslash begins what cannot stand as it is: \t \n \r \\ and \x22 for any other byte below a
// blank, a quotation mark, and in the names and values of fields = and ; too.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "outlets/journal/sha256.hpp"
#include "outlets/weighing.hpp"

namespace tarn {

/// Where the next line joins the chain.
struct ChainEnd {
  std::uint64_t number = 0;  ///< the last one that is spent
  std::string sum = std::string(Sha256::kLength, '0');
};

/// "2026-06-01", the day of a time in UTC.
std::string DayOf(WallTime time);
/// "2026-06-01.tsv".
std::string JournalFileName(const std::string& day);
/// Nothing for a file that is none of a journal.
std::optional<std::string> DayOfJournalFile(std::string_view name);

/// More than this is no line.
inline constexpr std::size_t kLongestJournalLine = 1U << 20U;
bool FitsIntoJournal(const Weighing& weighing);

/// Writes lines, each with its end, and goes on with the chain.
class JournalWriter {
 public:
  explicit JournalWriter(ChainEnd end) : end_(std::move(end)) {}

  /// The end of a line that has none.
  void EndLine() { text_ += '\n'; }
  /// The first two lines of a file.
  void Begin(std::string_view day, WallTime now);
  /// Numbers the weighing.
  void Add(Weighing& weighing);
  /// The bytes that count for nothing: their number and sum, with the line end that the mark
  /// begins with if they have none.
  struct Waste {
    std::uint64_t size = 0;
    std::string sum;
    bool endsLine = false;
  };
  /// Every number up to `spent` is spent. Before the first line of a file the mark stands alone,
  /// since the chain begins behind it.
  void Mark(const Waste& waste, std::uint64_t spent, bool beforeFirstLine, WallTime now);

  const std::string& Text() const { return text_; }
  const ChainEnd& End() const { return end_; }

 private:
  void AddLine(std::string_view text);

  ChainEnd end_;
  Sha256 sha_;
  std::string text_;
};

/// A sound place in a file, behind a line's end.
struct JournalPlace {
  ChainEnd end;
  std::uint64_t offset = 0;
  std::uint64_t line = 0;  ///< lines before it
  bool begun = false;      ///< whether the file's first line is before it
};

struct JournalProblem {
  std::uint64_t line = 0;
  std::string words;
};

/// Reads one file in pieces of any size. What is damaged is passed by: reading goes on with the
/// next line that follows from its predecessor.
class JournalReader {
 public:
  struct Handlers {
    std::function<void(const Weighing& weighing)> weighing = {};
    std::function<void(std::uint64_t line, std::string_view words)> mark = {};
  };

  /// `place` is where the bytes begin; its chain end counts from the start if `isKnown`, otherwise
  /// the first line of the file is believed.
  JournalReader(std::string day, JournalPlace place, bool isKnown, Handlers handlers);

  void Take(std::string_view bytes);
  /// To be called once, behind the last byte: what was neither read nor marked becomes waste, and
  /// a problem.
  void Finish();

  /// Behind the last sound line. In a handler: behind the line that it is called for.
  const JournalPlace& Place() const { return place_; }
  const std::optional<JournalProblem>& FirstProblem() const { return problem_; }
  /// What the first line of the file follows; nothing before it is read.
  const std::optional<ChainEnd>& FirstPlace() const { return first_; }
  /// After Finish: what stands behind Place, as JournalWriter::Mark wants it.
  const JournalWriter::Waste& Waste() const { return waste_; }
  /// After Finish: lines within the waste, each of which may have been a weighing.
  std::uint64_t WastedLines() const { return wastedLines_; }
  /// After Finish: whether the line before Place is whole but for its end, without which nothing
  /// may follow.
  bool LacksLineEnd() const { return lacksLineEnd_; }

 private:
  struct Line;
  void TakeLine();
  bool JoinGathered();
  bool Join(const Line& line);
  std::string ProblemOfFirstLine(const Line& line);
  bool JoinMark(const Line& line);
  void WasteLine(std::string words);
  void MoveOn(const Line& line);
  void Report(std::uint64_t line, std::string words);

  std::string day_;
  JournalPlace place_;
  bool isKnown_;
  std::optional<ChainEnd> first_;
  Handlers handlers_;
  Sha256 sha_;
  std::string line_;         ///< the one that is being gathered
  std::uint64_t taken_ = 0;  ///< bytes of it, which it may be too long to hold
  std::uint64_t lines_ = 0;  ///< all that were taken
  std::uint64_t offset_ = 0;
  std::optional<JournalProblem> problem_;

  // Since the last sound line.
  Sha256 wasteSha_;
  JournalWriter::Waste waste_;
  std::uint64_t wastedLines_ = 0;
  bool lacksLineEnd_ = false;
  std::string sumBefore_;      ///< what the line before this one says of itself
  std::string sumBeforeNext_;  ///< what this one says
  std::optional<JournalProblem> suspicion_;
};

/// The columns of a weighing as the journal has them, without the sum, and their names.
std::string JournalColumns(const Weighing& weighing);
inline constexpr std::string_view kJournalTitles =
    "number\ttime\tscale\talias\tgross\ttare\tnet\tunit\tgross value\ttare value\tnet value\t"
    "origin\tfields";
/// Nothing where the text is none.
std::optional<Weighing> WeighingOfColumns(std::string_view text);

}  // namespace tarn
