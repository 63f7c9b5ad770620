#include "tools/tarnsim/load_script.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <utility>

#include "base/number_text.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using Words = std::vector<std::string_view>;

constexpr std::array<std::pair<std::string_view, double>, 3> kTimeUnits{
    {{"ms", 1}, {"s", 1000}, {"min", 60'000}}};

std::string Quoted(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

Words SplitIntoWords(std::string_view statement) {
  Words words;
  for (;;) {
    const auto start = statement.find_first_not_of(kBlanks);
    if (start == std::string_view::npos) return words;
    statement.remove_prefix(start);
    const auto end = std::min(statement.find_first_of(kBlanks), statement.size());
    words.push_back(statement.substr(0, end));
    statement.remove_prefix(end);
  }
}

double ParseNumber(std::string_view text) {
  const auto number = LocaleNumber(text, ".");
  if (!number) throw UsageError(Quoted(text) + " is not a number");
  return *number;
}

/// The two ends of LOW..HIGH, or the one text twice.
std::pair<std::string_view, std::string_view> SplitRange(std::string_view text) {
  const auto dots = text.find("..");
  if (dots == std::string_view::npos) return {text, text};
  return {text.substr(0, dots), text.substr(dots + 2)};
}

Span CheckedSpan(double low, double high, std::string_view text) {
  if (low > high) throw UsageError("in " + Quoted(text) + " the low end comes first");
  return {low, high};
}

std::string_view WithoutPercent(std::string_view text) {
  if (text.ends_with('%')) text.remove_suffix(1);
  return text;
}

Amount ParseAmount(std::string_view text) {
  const auto [low, high] = SplitRange(text);
  if (low.ends_with('%') && !high.ends_with('%')) {
    throw UsageError("in " + Quoted(text) + " both ends are percent or none");
  }
  return {CheckedSpan(ParseNumber(WithoutPercent(low)), ParseNumber(WithoutPercent(high)), text),
          high.ends_with('%')};
}

/// The unit in which a duration is written; empty when it has none.
std::string_view UnitOf(std::string_view text) {
  const auto start = text.find_last_of("0123456789.");
  return start == std::string_view::npos ? text : text.substr(start + 1);
}

double ParseDurationIn(std::string_view text, std::string_view unit) {
  const auto* const found = std::find_if(kTimeUnits.begin(), kTimeUnits.end(),
                                         [unit](const auto& known) { return known.first == unit; });
  if (found == kTimeUnits.end()) {
    throw UsageError(Quoted(text) + " is not a duration: write 500ms, 3s or 2min");
  }
  text.remove_suffix(UnitOf(text).size());
  const double duration = ParseNumber(text) * found->second;
  if (duration < 0) throw UsageError("a duration is never negative");
  return duration;
}

std::string_view UnitOrSeconds(std::string_view unit) {
  return unit.empty() ? "s" : unit;
}

/// A low end without a unit is in that of the high end: 200..400ms.
Span ParseDurations(std::string_view text) {
  const auto [low, high] = SplitRange(text);
  const std::string_view highUnit = UnitOrSeconds(UnitOf(high));
  const std::string_view lowUnit = UnitOf(low).empty() ? highUnit : UnitOf(low);
  return CheckedSpan(ParseDurationIn(low, lowUnit), ParseDurationIn(high, highUnit), text);
}

TerminalCommand ParseKeys(std::string_view keys) {
  CommandReader reader;
  std::size_t taken = 0;
  std::optional<TerminalCommand> command;
  while (!command && taken < keys.size()) command = reader.Take(keys[taken++]);
  if (!command || taken < keys.size()) {
    throw UsageError(Quoted(keys) + " is no key: write C, T, Z, P or a preset tare like 12.5T");
  }
  return *command;
}

int ParseTimes(std::string_view text) {
  const double times = ParseNumber(text);
  if (times < 1 || times > 1'000'000 || times != std::floor(times)) {
    throw UsageError("repeat takes a whole number of times, 1 or more, or nothing");
  }
  return static_cast<int>(times);
}

void Expect(const Words& words, std::size_t least, std::size_t most, const char* form) {
  const std::size_t given = words.size() - 1;
  if (given < least || given > most) throw UsageError(std::string("write ") + form);
}

Ramp ParseRamp(const Words& words) {
  Expect(words, 2, 3, "ramp [FROM] TO DURATION, such as ramp 0 100 5s");
  Ramp ramp;
  ramp.fromPresent = words.size() == 3;
  if (!ramp.fromPresent) ramp.from = ParseAmount(words[1]);
  ramp.to = ParseAmount(words[words.size() - 2]);
  ramp.duration = ParseDurations(words.back());
  return ramp;
}

double LeastDuration(const LoadStep& step) {
  if (const auto* wait = std::get_if<Wait>(&step)) return wait->duration.low;
  if (const auto* ramp = std::get_if<Ramp>(&step)) return ramp->duration.low;
  return 0;
}

class Parser {
 public:
  void Statement(std::string_view statement) {
    const Words words = SplitIntoWords(statement);
    if (words.empty()) return;
    if (ended_) throw UsageError("nothing may follow repeat");
    if (words[0] == "repeat") {
      Repeat(words);
    } else {
      script_.steps.push_back(Step(words));
    }
  }

  LoadScript Script() { return std::move(script_); }

 private:
  LoadStep Step(const Words& words) {
    const std::string_view verb = words[0];
    if (verb == "load") {
      Expect(words, 1, 1, "load AMOUNT, such as load 12.5");
      return SetLoad{ParseAmount(words[1])};
    }
    if (verb == "ramp") return ParseRamp(words);
    if (verb == "wait") {
      Expect(words, 1, 1, "wait DURATION, such as wait 3s");
      return Wait{ParseDurations(words[1])};
    }
    if (verb == "press") {
      Expect(words, 1, 1, "press KEYS, such as press T");
      return PressKey{ParseKeys(words[1])};
    }
    throw UsageError("unknown word " + Quoted(verb) + ": write load, ramp, wait, press or repeat");
  }

  void Repeat(const Words& words) {
    Expect(words, 0, 1, "repeat, or repeat TIMES");
    ended_ = true;
    script_.passes = words.size() == 1 ? 0 : ParseTimes(words[1]);
    double pass = 0;
    for (const LoadStep& step : script_.steps) pass += LeastDuration(step);
    if (pass < LoadScript::kShortestPass) {
      throw UsageError("what repeats must take time: add a wait or a ramp");
    }
  }

  LoadScript script_;
  bool ended_ = false;
};

void ParseLine(Parser& parser, std::string_view line, int number) {
  line = line.substr(0, line.find('#'));
  while (!line.empty()) {
    const auto end = std::min(line.find(';'), line.size());
    const std::string_view statement = line.substr(0, end);
    try {
      parser.Statement(statement);
    } catch (const UsageError& error) {
      throw UsageError("Load script, line " + std::to_string(number) + ", " +
                       Quoted(Trimmed(statement)) + ": " + error.what());
    }
    line.remove_prefix(std::min(end + 1, line.size()));
  }
}

}  // namespace

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

LoadScript ParseLoadScript(std::string_view text) {
  if (text.size() > LoadScript::kMaxText) throw UsageError("The load script is longer than 1 MB");
  Parser parser;
  for (int number = 1; !text.empty(); ++number) {
    const auto end = std::min(text.find('\n'), text.size());
    ParseLine(parser, text.substr(0, end), number);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parser.Script();
}

double ParseDuration(std::string_view text) {
  return ParseDurationIn(text, UnitOrSeconds(UnitOf(text)));
}

}  // namespace tarn::sim
