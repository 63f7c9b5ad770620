#include "tools/tarnscale/operator_table.hpp"

#include <algorithm>
#include <utility>

#include "base/number_text.hpp"

namespace tarn::tool {
namespace {

using Key = Console::Key;

}  // namespace

void OperatorTable::HandleCommandKey(char character) {
  const ScaleCommand* command = FindCommandKey(character);
  if (command == nullptr || RowCount() == 0) return;
  if (command->command == OperatorCommand::PresetTare)
    tareText_.emplace();
  else
    Give(*command, 0);
}

bool OperatorTable::HandlePromptKey(Key key, char character) {
  constexpr std::size_t kLongestNumber = 20;
  constexpr std::string_view kNumberCharacters = "0123456789.,-";
  if (!tareText_) return false;
  std::string& text = *tareText_;
  if (key == Key::Enter) {
    GivePresetTare(*std::exchange(tareText_, std::nullopt));
  } else if (key == Key::Escape) {
    tareText_.reset();
  } else if (key == Key::Backspace) {
    if (!text.empty()) text.pop_back();
  } else if (key == Key::Character && text.size() < kLongestNumber &&
             kNumberCharacters.find(character) != std::string_view::npos) {
    text += character;
  }
  return true;
}

std::optional<std::string> OperatorTable::Prompt(int scale) const {
  if (!tareText_) return std::nullopt;
  return "Preset tare for scale " + std::to_string(scale) + ": " + *tareText_ +
         "_   (Enter sends it, Escape does not)";
}

void OperatorTable::GivePresetTare(const std::string& text) {
  std::string point = text;
  std::replace(point.begin(), point.end(), ',', '.');
  if (const auto tare = LocaleNumber(point, "."))
    Give(*FindCommand("SetTare"), *tare);
  else
    Note("'" + text + "' is no weight: nothing is sent");
}

std::vector<std::string> OperatorTable::CommandHelp() {
  std::vector<std::string> lines;
  for (const ScaleCommand& c : ScaleCommands())
    lines.push_back(std::string(1, c.key) + std::string(13, ' ') + std::string(c.help));
  return lines;
}

}  // namespace tarn::tool
