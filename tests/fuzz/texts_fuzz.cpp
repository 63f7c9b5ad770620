// Any text where a number, a number pattern or a line setting is expected.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "platform/serial_settings.hpp"

namespace {

void Try(const std::function<void()>& call) {
  try {
    call();
  } catch (const tarn::AutomationError&) {
    // refused
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  Try([&] {
    const double value = NumericPrefix(text);
    if (!std::isfinite(value)) std::abort();
    // A number's own text reads back as the number, to the digits that it shows.
    const auto again = LocaleNumber(GeneralNumberText(value, ","), ",");
    if (!again || std::fabs(*again - value) > std::fabs(value) * 1e-14) std::abort();
    if (FormatNumber(value, NumberPattern("#,##0.000##")).empty()) std::abort();
  });
  if (const auto number = LocaleNumber(text, "."); number && !std::isfinite(*number)) std::abort();
  Try([&] { WholeNumber(text); });
  Try([&] {
    const SerialSettings settings = ParseSerialSettings(text);
    if (settings.baud <= 0 || settings.dataBits < 4 || settings.dataBits > 8) std::abort();
    if (!(settings.CharacterTime() > 0)) std::abort();
  });
  return 0;
}
