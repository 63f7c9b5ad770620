#include "tools/tarnscale/show_text.hpp"

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
  if (!scale) return "scale " + std::to_string(number) + ": " + kNotRestored + "\n";
  std::string text = "scale " + std::to_string(number) + ": " + ConnectionText(*scale) + ", " +
                     ProtocolText(*scale) + "\n";
  for (const ScaleKey& key : ScaleKeys()) {
    if (!key.shown || !key.Fits(*scale)) continue;
    text += "  " + std::string(key.name) + "=" + ShellWord(Printable(ValueText(key.get(*scale)))) +
            "\n";
  }
  return text;
}

std::string ShowText(const ScaleFile& file, bool all) {
  std::string text;
  for (const int number : ShownScales(file, all)) text += ShowScaleText(file, number);
  if (!text.empty()) return text;
  return "no scale of '" + Printable(file.Name()) + "' is configured (--all shows all " +
         std::to_string(kScaleCount) + ")\n";
}

}  // namespace tarn::tool
