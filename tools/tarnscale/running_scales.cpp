#include "tools/tarnscale/running_scales.hpp"

#include <cstdint>

#include "connections/reconnector.hpp"
#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {

void StartScales(TarnScaleServer& server, const std::set<int>& only) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = server.GetScale(number);
    if (!scale) continue;
    if (!only.empty() && !only.contains(number)) scale->Disabled(true);
    const auto link = std::dynamic_pointer_cast<ReconnectingConnection>(scale->Connection());
    if (link) link->AutoReconnect(true);
  }
  server.RunEachScale();
}

std::string WhyNothingRuns(TarnScaleServer& server, const std::string& file,
                           const std::set<int>& only) {
  int enabled = 0;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    const auto scale = server.GetScale(number);
    if (scale && !scale->Disabled()) ++enabled;
  }
  const std::string shown = Printable(file);
  if (enabled == 0) {
    const std::string which = only.empty() ? "no scale of '" : "none of these scales of '";
    return which + shown + "' is enabled: enable one with: tarnscale set " + ShellWord(shown) +
           " " + std::to_string(only.empty() ? 1 : *only.begin()) + " enabled=yes";
  }
  int failed = 0;
  for (const StartFailure& failure : server.StartFailures()) {
    if (server.GetScale(failure.number) && !failure.isRetried) ++failed;
  }
  return failed < enabled ? "" : "no scale of '" + shown + "' runs, for the reasons above";
}

std::string StartHint(const TarnScaleServer& server) {
  for (const StartFailure& failure : server.StartFailures()) {
    if (failure.isPermission)
      return "on Linux your user must be in the device's group, usually dialout";
  }
  return {};
}

}  // namespace tarn::tool
