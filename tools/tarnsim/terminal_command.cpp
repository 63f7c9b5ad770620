#include "tools/tarnsim/terminal_command.hpp"

#include <string_view>
#include <utility>

#include "base/number_text.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

bool IsPartOfNumber(char c) {
  return std::string_view("0123456789.+-E").find(c) != std::string_view::npos;
}

}  // namespace

std::optional<TerminalCommand> CommandReader::Take(char c) {
  if (IsPartOfNumber(c)) {
    if (number_.size() <= kLongestNumber) number_ += c;
    return std::nullopt;
  }
  const std::string number = std::exchange(number_, {});
  switch (c) {
    case 'C':
      return TerminalCommand{Key::Clear};
    case 'Z':
      return TerminalCommand{Key::Zero};
    case 'P':
      return TerminalCommand{Key::Print};
    case 'T':
      return TakeTare(number);
    default:
      return std::nullopt;
  }
}

std::optional<TerminalCommand> CommandReader::TakeTare(const std::string& number) const {
  if (number.empty()) return TerminalCommand{Key::Tare};
  if (number.size() > kLongestNumber) return std::nullopt;
  const auto tare = LocaleNumber(number, ".");
  if (!tare) return std::nullopt;
  return TerminalCommand{Key::PresetTare, *tare};
}

}  // namespace tarn::sim
