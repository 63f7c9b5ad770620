#include "outlets/journal/journal_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <utility>
#include <vector>

#include "outlets/scale_state.hpp"

namespace tarn {
namespace {

constexpr std::string_view kFormat = "1";
constexpr std::string_view kFirstWord = "journal";
constexpr std::string_view kMarkWord = "mark";
constexpr std::string_view kWasteWords =
    "the bytes between the line before and this one count "
    "for nothing";
constexpr std::string_view kSpentWords = "the numbers up to this one are spent";
constexpr std::string_view kExtension = ".tsv";
constexpr std::size_t kColumns = 13;
constexpr std::string_view kHexDigits = "0123456789abcdef";

using Columns = std::vector<std::string_view>;

Columns Split(std::string_view text, char separator) {
  Columns parts;
  while (true) {
    const auto end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == text.npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string Escaped(std::string_view text, std::string_view others = "") {
  std::string escaped;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      escaped += "\\\\";
    } else if (c == '\t') {
      escaped += "\\t";
    } else if (c == '\n') {
      escaped += "\\n";
    } else if (c == '\r') {
      escaped += "\\r";
    } else if (byte < 0x20 || byte == 0x7F || c == '"' || others.find(c) != others.npos) {
      escaped += "\\x";
      escaped += kHexDigits[byte >> 4U];
      escaped += kHexDigits[byte & 15U];
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::optional<std::string> Unescaped(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c != '\\') {
      plain += c;
      continue;
    }
    if (text.empty()) return std::nullopt;
    const char kind = text.front();
    text.remove_prefix(1);
    if (const auto at = std::string_view("\\tnr").find(kind); at != std::string_view::npos) {
      plain += "\\\t\n\r"[at];
      continue;
    }
    if (kind != 'x' || text.size() < 2) return std::nullopt;
    const auto high = kHexDigits.find(text[0]);
    const auto low = kHexDigits.find(text[1]);
    if (high == kHexDigits.npos || low == kHexDigits.npos) return std::nullopt;
    plain += static_cast<char>(high * 16 + low);
    text.remove_prefix(2);
  }
  return plain;
}

template <class Number>
std::optional<Number> WholeText(std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (std::to_string(value) != text) return std::nullopt;
  return value;
}

std::optional<WallTime> TimeOf(std::string_view text) {
  // "2026-06-01T12:34:56.789Z"
  constexpr std::array<std::pair<std::size_t, std::size_t>, 7> kParts = {
      {{0, 4}, {5, 2}, {8, 2}, {11, 2}, {14, 2}, {17, 2}, {20, 3}}};
  if (text.size() != 24) return std::nullopt;
  std::array<int, kParts.size()> part{};
  for (std::size_t i = 0; i < kParts.size(); ++i) {
    const char* const begin = text.data() + kParts[i].first;
    const char* const end = begin + kParts[i].second;
    if (std::from_chars(begin, end, part[i]).ptr != end) return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year{part[0]},
                                         std::chrono::month{static_cast<unsigned>(part[1])},
                                         std::chrono::day{static_cast<unsigned>(part[2])}};
  // The clock counts nanoseconds, which end in the year 2262.
  if (!date.ok() || part[0] < 1678 || part[0] > 2261) return std::nullopt;
  const WallTime time = std::chrono::sys_days(date) + std::chrono::hours(part[3]) +
                        std::chrono::minutes(part[4]) + std::chrono::seconds(part[5]) +
                        std::chrono::milliseconds(part[6]);
  if (UtcText(time) != text) return std::nullopt;
  return time;
}

/// The number that a weight shows, for spreadsheets; empty where it shows none.
std::string NumberText(const std::string& weight) {
  const auto number = ShownNumber(weight);
  if (!number) return {};
  std::array<char, 32> digits{};
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), *number).ptr};
}

std::string FieldsColumn(const std::vector<Field>& fields) {
  std::string text;
  for (const Field& field : fields) {
    if (!text.empty()) text += "; ";
    text += Escaped(field.name, "=;") + "=" + Escaped(field.value, "=;");
  }
  return text;
}

std::optional<std::vector<Field>> FieldsOfColumn(std::string_view text) {
  std::vector<Field> fields;
  if (text.empty()) return fields;
  for (std::string_view part : Split(text, ';')) {
    if (!fields.empty()) {
      if (!part.starts_with(' ')) return std::nullopt;
      part.remove_prefix(1);
    }
    const auto equals = part.find('=');
    if (equals == part.npos) return std::nullopt;
    const auto name = Unescaped(part.substr(0, equals));
    const auto value = Unescaped(part.substr(equals + 1));
    if (!name || !value) return std::nullopt;
    fields.push_back({*name, *value});
  }
  return fields;
}

bool IsSum(std::string_view text) {
  return text.size() == Sha256::kLength &&
         text.find_first_not_of(kHexDigits) == std::string_view::npos;
}

}  // namespace

std::string DayOf(WallTime time) {
  return UtcText(time).substr(0, 10);
}

std::string JournalFileName(const std::string& day) {
  return day + std::string(kExtension);
}

std::optional<std::string> DayOfJournalFile(std::string_view name) {
  if (!name.ends_with(kExtension)) return std::nullopt;
  name.remove_suffix(kExtension.size());
  if (!TimeOf(std::string(name) + "T00:00:00.000Z")) return std::nullopt;
  return std::string(name);
}

bool FitsIntoJournal(const Weighing& weighing) {
  return JournalColumns(weighing).size() < kLongestJournalLine / 2;
}

std::string JournalColumns(const Weighing& weighing) {
  const Reading& r = weighing.reading;
  std::string text = std::to_string(weighing.number) + "\t" + UtcText(weighing.time) + "\t" +
                     std::to_string(weighing.scale) + "\t" + Escaped(weighing.alias);
  for (const std::string& shown : {r.gross, r.tare, r.net, r.units}) text += "\t" + Escaped(shown);
  for (const std::string& shown : {r.gross, r.tare, r.net}) text += "\t" + NumberText(shown);
  text += "\t";
  text += PrintOriginName(weighing.origin);
  return text + "\t" + FieldsColumn(weighing.fields);
}

std::optional<Weighing> WeighingOfColumns(std::string_view text) {
  const Columns columns = Split(text, '\t');
  if (columns.size() != kColumns) return std::nullopt;
  const auto number = WholeText<std::uint64_t>(columns[0]);
  const auto time = TimeOf(columns[1]);
  const auto scale = WholeText<int>(columns[2]);
  const auto alias = Unescaped(columns[3]);
  const auto gross = Unescaped(columns[4]);
  const auto tare = Unescaped(columns[5]);
  const auto net = Unescaped(columns[6]);
  const auto unit = Unescaped(columns[7]);
  const auto origin = PrintOriginNamed(columns[11]);
  const auto fields = FieldsOfColumn(columns[12]);
  if (!number || !time || !scale || !alias || !gross || !tare || !net || !unit || !origin ||
      !fields) {
    return std::nullopt;
  }
  Weighing weighing{.number = *number,
                    .time = *time,
                    .scale = *scale,
                    .alias = *alias,
                    .reading = {},
                    .fields = *fields,
                    .origin = *origin};
  Reading& reading = weighing.reading;
  reading.gross = *gross;
  reading.tare = *tare;
  reading.net = *net;
  reading.units = *unit;
  reading.grossValue = ShownNumber(*gross).value_or(0);
  reading.tareValue = ShownNumber(*tare).value_or(0);
  reading.netValue = ShownNumber(*net).value_or(0);
  return weighing;
}

void JournalWriter::AddLine(std::string_view text) {
  end_.sum = sha_.Add(end_.sum).Add(text).Sum();
  text_ += text;
  text_ += '\t';
  text_ += end_.sum;
  text_ += '\n';
}

void JournalWriter::Begin(std::string_view day, WallTime now) {
  AddLine(std::string(kFirstWord) + "\t" + std::string(kFormat) + "\t" + std::string(day) + "\t" +
          std::to_string(end_.number) + "\t" + end_.sum + "\t" + UtcText(now));
  AddLine(kJournalTitles);
}

void JournalWriter::Add(Weighing& weighing) {
  weighing.number = ++end_.number;
  AddLine(JournalColumns(weighing));
}

void JournalWriter::Mark(const Waste& waste, std::uint64_t spent, bool beforeFirstLine,
                         WallTime now) {
  const bool endsLine = waste.size == 0 || waste.endsLine;
  if (!endsLine) text_ += '\n';
  const ChainEnd before = end_;
  if (beforeFirstLine) end_ = {};
  std::string text = std::string(kMarkWord) + "\t" + std::to_string(spent) + "\t" + UtcText(now) +
                     "\t" + std::to_string(waste.size + (endsLine ? 0 : 1)) + "\t";
  text += waste.size > 0 ? kWasteWords : kSpentWords;
  text += "\t";
  text += waste.sum;
  AddLine(text);
  if (beforeFirstLine) end_ = before;
  end_.number = spent;
}

struct JournalReader::Line {
  std::string_view text;  ///< without its sum
  std::string_view sum;
  Columns columns;
};

JournalReader::JournalReader(std::string day, JournalPlace place, bool isKnown, Handlers handlers)
    : day_(std::move(day)),
      place_(std::move(place)),
      isKnown_(isKnown),
      handlers_(std::move(handlers)),
      lines_(place_.line),
      offset_(place_.offset) {}

void JournalReader::Take(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto end = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, end);
    taken_ += piece.size();
    // Of a line that is too long only its sum counts.
    if (line_.size() + piece.size() > kLongestJournalLine) {
      wasteSha_.Add(line_).Add(piece);
      line_.clear();
    } else {
      line_ += piece;
    }
    if (end == bytes.npos) return;
    bytes.remove_prefix(end + 1);
    TakeLine();
  }
}

/// Takes the line that is gathered, if it is sound.
bool JournalReader::JoinGathered() {
  sumBeforeNext_.clear();
  const bool isWhole = line_.size() == taken_;
  const auto tab = line_.rfind('\t');
  if (!isWhole || tab == line_.npos) return false;
  const std::string_view text = std::string_view(line_).substr(0, tab);
  const std::string_view sum = std::string_view(line_).substr(tab + 1);
  if (!IsSum(sum)) return false;
  if (Join({text, sum, Split(text, '\t')})) return true;
  sumBeforeNext_ = sum;
  return false;
}

void JournalReader::TakeLine() {
  ++lines_;
  offset_ += taken_ + 1;
  if (!JoinGathered()) {
    WasteLine(sumBeforeNext_.empty()
                  ? "it is no line of a journal"
                  : "it does not follow from the line before: one of them was changed");
    sumBefore_ = sumBeforeNext_;
  }
  line_.clear();
  taken_ = 0;
}

/// Counts the present line among those that are not sound.
void JournalReader::WasteLine(std::string words) {
  wasteSha_.Add(line_).Add("\n");
  waste_.size += taken_ + 1;
  waste_.endsLine = true;
  ++wastedLines_;
  if (!suspicion_) suspicion_ = {lines_, std::move(words)};
}

void JournalReader::Report(std::uint64_t line, std::string words) {
  if (!problem_) problem_ = {line, std::move(words)};
}

/// The line is sound: what was suspicious before it is either marked, or a problem.
void JournalReader::MoveOn(const Line& line) {
  if (waste_.size > 0) wasteSha_.Sum();
  waste_ = {};
  wastedLines_ = 0;
  suspicion_.reset();
  place_.end.sum = line.sum;
  place_.offset = offset_;
  place_.line = lines_;
}

bool JournalReader::JoinMark(const Line& line) {
  const Columns& columns = line.columns;
  if (columns.size() != 6) return false;
  const auto spent = WholeText<std::uint64_t>(columns[1]);
  const auto size = WholeText<std::uint64_t>(columns[3]);
  if (!spent || !TimeOf(columns[2]) || size != waste_.size) return false;
  const ChainEnd& before = place_.begun ? place_.end : ChainEnd{};
  if (sha_.Add(before.sum).Add(line.text).Sum() != line.sum) return false;
  if (waste_.size > 0 && wasteSha_.SumSoFar() != columns[5]) return false;
  suspicion_.reset();
  const ChainEnd kept = place_.end;
  if (*spent < kept.number) Report(lines_, "its number is lower than the one before");
  MoveOn(line);
  if (!place_.begun) place_.end = kept;
  place_.end.number = *spent;
  if (handlers_.mark) handlers_.mark(lines_, columns[4]);
  return true;
}

/// Empty for one that is as it should be.
std::string JournalReader::ProblemOfFirstLine(const Line& line) {
  const Columns& columns = line.columns;
  const auto number = columns.size() == 6 ? WholeText<std::uint64_t>(columns[3]) : std::nullopt;
  if (!number || !IsSum(columns[4]) || !TimeOf(columns[5])) return "the first line cannot be read";
  const ChainEnd before{*number, std::string(columns[4])};
  first_ = before;
  const ChainEnd wanted = std::exchange(place_.end, before);
  if (columns[1] != kFormat) return "this journal was written by a later version";
  if (columns[2] != day_) return "the file was written under another name";
  if (isKnown_ && (wanted.number != before.number || wanted.sum != before.sum)) {
    return "the file before it ends with number " + std::to_string(wanted.number) +
           ", but this one follows number " + std::to_string(before.number) +
           (wanted.number == before.number ? " of another journal" : "") +
           ": a file is missing or was cut off";
  }
  return {};
}

/// Takes a line that follows from the one before, whether that was sound or not.
bool JournalReader::Join(const Line& line) {
  const std::string_view kind = line.columns.front();
  if (kind == kMarkWord && JoinMark(line)) return true;
  const bool isFirst = kind == kFirstWord && !place_.begun;
  const bool follows = waste_.size > 0 && !sumBefore_.empty();
  const std::string& before = follows ? sumBefore_ : place_.end.sum;
  if (isFirst) {
    // The sum before it stands in it, so that it can be checked alone.
    if (line.columns.size() != 6) return false;
    if (sha_.Add(line.columns[4]).Add(line.text).Sum() != line.sum) return false;
  } else if ((!place_.begun && !follows) || (waste_.size > 0 && !follows) ||
             sha_.Add(before).Add(line.text).Sum() != line.sum) {
    return false;
  }
  const bool jumps = waste_.size > 0;
  if (suspicion_) Report(suspicion_->line, suspicion_->words);
  place_.begun = true;
  if (isFirst) {
    if (std::string words = ProblemOfFirstLine(line); !words.empty()) Report(lines_, words);
    MoveOn(line);
    return true;
  }
  MoveOn(line);
  if (line.text == kJournalTitles) return true;
  const auto weighing = WeighingOfColumns(line.text);
  if (!weighing) {
    Report(lines_, "it cannot be read");
    return true;
  }
  if (!jumps && weighing->number != place_.end.number + 1) {
    Report(lines_, "its number is " + std::to_string(weighing->number) + ", but " +
                       std::to_string(place_.end.number + 1) + " is the next");
  }
  place_.end.number = std::max(place_.end.number, weighing->number);
  if (handlers_.weighing) handlers_.weighing(*weighing);
  return true;
}

void JournalReader::Finish() {
  if (taken_ > 0) {
    ++lines_;
    offset_ += taken_;
    lacksLineEnd_ = JoinGathered();
  }
  if (lacksLineEnd_) {
    --place_.line;
    Report(lines_, "it lacks its line end: the next start adds it");
  } else if (taken_ > 0) {
    wasteSha_.Add(line_);
    waste_.size += taken_;
    waste_.endsLine = false;
    if (!suspicion_) suspicion_ = {lines_, "it is cut off: the next start marks it"};
  }
  if (suspicion_) Report(suspicion_->line, suspicion_->words);
  if (waste_.size > 0) {
    if (!waste_.endsLine) wasteSha_.Add("\n");
    waste_.sum = wasteSha_.Sum();
  }
}

}  // namespace tarn
