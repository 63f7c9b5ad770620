#include "tools/tarnscale/show_text.hpp"

#include <algorithm>

#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {

/// A slot that cannot be restored is shown too, so that the user learns of it.
std::vector<int> ShownScales(const ScaleFile& file, bool all) {
  std::vector<int> numbers;
  for (int number = 1; number <= kScaleCount; ++number) {
    const auto scale = file.At(number);
    if (all || !scale || IsConfigured(*scale, number)) numbers.push_back(number);
  }
  return numbers;
}

std::string ShowScaleText(const ScaleFile& file, int number) {
  const auto scale = file.At(number);
  if (!scale) return ScaleTitle(number, "") + ": " + kNotRestored + "\n";
  if (!IsConfigured(*scale, number)) return ScaleTitle(number, "") + ": not set up\n";
  std::string text =
      ScaleTitle(number, "") + ": " + ConnectionText(*scale) + ", " + ProtocolText(*scale) + "\n";
  for (const ScaleKey& key : ScaleKeys()) {
    if (!key.shown || !key.Fits(*scale) || (key.matters && !key.matters(*scale))) continue;
    text += "  " + std::string(key.name) + "=" + ShellWord(Printable(ValueText(key.get(*scale)))) +
            "\n";
  }
  return text;
}

std::string ShowBriefly(const ScaleFile& file, int number) {
  const auto scale = file.At(number);
  const std::string digits = Fit(std::to_string(number), 2, Align::Right) + "  ";
  if (!scale) return digits + kNotRestored + "\n";
  if (!IsConfigured(*scale, number)) return digits + "not set up\n";
  static constexpr std::size_t kColumn = 20;
  const auto column = [](const std::string& text) {
    return Fit(text, std::max<std::size_t>(kColumn, DisplayWidth(text))) + "  ";
  };
  return digits + column(Printable(scale->AliasName())) +
         (scale->Disabled() ? "disabled  " : "enabled   ") + column(ConnectionText(*scale)) +
         ProtocolText(*scale) + "\n";
}

std::string ShowText(const ScaleFile& file, bool all, bool brief) {
  std::string text;
  for (const int number : ShownScales(file, all)) {
    text += brief ? ShowBriefly(file, number) : ShowScaleText(file, number);
  }
  if (!text.empty()) return text;
  return "no scale of '" + Printable(file.Name()) + "' is set up (--all shows all " +
         std::to_string(kScaleCount) + ")\n";
}

}  // namespace tarn::tool
