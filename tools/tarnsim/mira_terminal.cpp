#include "tools/tarnsim/mira_terminal.hpp"

#include <algorithm>
#include <utility>

#include "base/number_text.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;
using Outcome = Indicator::Outcome;

constexpr std::uint64_t kMiraStream = 5;  // no other part of this terminal uses it
constexpr std::size_t kValueWidth = 10;
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kBusy = " I";

std::string_view WithoutSpaces(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(' ') + 1));
  return text;
}

/// What the answer to a command begins with.
std::string NameOfAnswer(std::string_view command) {
  if (command == "@") return "I4";
  if (command == "SI" || command == "SIR") return "S";
  return std::string(command);
}

}  // namespace

MiraTerminal::MiraTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
                           std::unique_ptr<PacedLine> line)
    : LineTerminal(std::move(indicator), std::move(line)),
      options_(options),
      random_(options.seed, kMiraStream) {}

void MiraTerminal::Receive(std::string_view bytes) {
  for (const char c : bytes) {
    if (c == '\n')
      TakeCommand(std::exchange(received_, {}));
    else if (c != '\r' && received_.size() <= kLongestCommand)
      received_ += c;
  }
}

void MiraTerminal::TakeCommand(const std::string& line) {
  if (line.empty() || answers_.size() >= kMostAnswers) return;
  Noted.Raise("command " + line);
  repeating_.reset();
  const auto end = line.find(' ');
  const std::string_view name = std::string_view(line).substr(0, end);
  const std::string_view rest =
      end == std::string::npos ? std::string_view() : std::string_view(line).substr(end);
  std::string answer = random_.Chance(options_.errors) ? "ET" : AnswerTo(name, WithoutSpaces(rest));
  if (name == "SIR" && answer.empty())
    repeating_.emplace(options_.repeatPeriod, Now());
  else
    answers_.push_back({std::move(answer), Now()});
}

/// Empty for the weight.
std::string MiraTerminal::AnswerTo(std::string_view name, std::string_view rest) {
  const bool takesValue = name == "TA";
  const bool known =
      takesValue || name == "SI" || name == "SIR" || name == "Z" || name == "T" || name == "@";
  if (!known || (!takesValue && !rest.empty())) return "ES";
  if (random_.Chance(options_.busy)) return NameOfAnswer(name).append(kBusy);
  if (name == "Z") return Zero();
  if (name == "T") return Tare();
  if (takesValue) return PresetTare(rest);
  if (name == "@") {
    Press({Key::Clear});
    return "I4 A \"0012345678\"";
  }
  return {};
}

std::string MiraTerminal::Zero() {
  if (Scale().Present().motion) return "Z I";
  if (Scale().Present().netMode) Press({Key::Clear});
  if (Scale().Press({Key::Zero}) == Outcome::Done) return "Z A";
  return Scale().Present().gross > 0 ? "Z +" : "Z -";
}

std::string MiraTerminal::Tare() {
  const Reading& reading = Scale().Present();
  if (reading.motion) return "T I";
  // An empty platform has no tare.
  const Key key = reading.gross == 0 ? Key::Clear : Key::Tare;
  if (Scale().Press({key}) == Outcome::Done) return "T S " + ValueText(Scale().Present().tare);
  return reading.gross > 0 ? "T +" : "T -";
}

/// The unit may be missing: a client that has seen no weight yet does not know it.
std::string MiraTerminal::PresetTare(std::string_view rest) {
  const auto end = rest.find(' ');
  const std::string_view unit =
      end == std::string_view::npos ? std::string_view() : WithoutSpaces(rest.substr(end));
  std::string number(rest.substr(0, end));
  std::replace(number.begin(), number.end(), ',', '.');
  const auto value = LocaleNumber(number, ".");
  if (!value || (!unit.empty() && unit != UnitsText(options_.units))) return "EL";
  if (Scale().Press({Key::PresetTare, *value}) != Outcome::Done)
    return *value > 0 ? "TA +" : "TA -";
  return "TA A " + ValueText(Scale().Present().tare);
}

std::string MiraTerminal::Weight() const {
  const Reading& reading = Scale().Present();
  if (reading.overRange) return "S +";
  if (reading.underRange) return "S -";
  return (reading.motion ? "S D " : "S S ") + ValueText(reading.Displayed());
}

std::string MiraTerminal::ValueText(std::int32_t digits) const {
  std::string text = options_.graduation.Text(digits);
  std::replace(text.begin(), text.end(), '.', options_.decimalPoint);
  text.insert(0, kValueWidth - std::min(kValueWidth, text.size()), ' ');
  return text + " " + std::string(UnitsText(options_.units));
}

double MiraTerminal::NextStart(double earliest) {
  if (!answers_.empty()) return std::max(earliest, answers_.front().from);
  return repeating_ ? repeating_->Next(earliest) : kNever;
}

std::string MiraTerminal::NextFrame(double start) {
  std::string text;
  if (answers_.empty()) {
    repeating_->Began(start);
  } else {
    text = std::move(answers_.front().text);
    answers_.pop_front();
  }
  if (text.empty()) text = Weight();
  return text.append(kLineEnd);
}

}  // namespace tarn::sim
