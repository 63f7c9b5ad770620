#include "tools/tarnscale/running_scales.hpp"

#include <cstdint>
#include <vector>

#include "connections/reconnector.hpp"
#include "tools/tarnscale/display_text.hpp"

namespace tarn::tool {

void StartScales(TarnScaleServer& server, const std::set<int>& only) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    if (const auto scale = server.GetScale(number)) PrepareScale(*scale, only);
  }
  server.RunEachScale();
}

void PrepareScale(TarnScale& scale, const std::set<int>& only) {
  if (!only.empty() && !only.contains(scale.ScaleNumber())) scale.Disabled(true);
  const auto link = std::dynamic_pointer_cast<ReconnectingConnection>(scale.Connection());
  if (link) link->AutoReconnect(true);
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

std::string ReloadWords(const Reloaded& done, const TarnScaleServer& server) {
  const auto list = [&server](const std::vector<std::int16_t>& numbers) {
    std::string text;
    for (const std::int16_t number : numbers) {
      const auto scale = server.GetScale(number);
      text += (text.empty() ? "" : ", ") +
              (scale ? ScaleTitle(number, scale->AliasName()) : ScaleTitle(number, ""));
    }
    return text;
  };
  std::string words = done.replaced.empty()
                          ? "nothing has changed"
                          : "new settings for " + list(done.replaced) + "; the others run on";
  if (!done.damaged.empty()) {
    words += "; damaged entries, whose scales run on as they are: " + list(done.damaged);
  }
  return words;
}

std::string StartHint(const TarnScaleServer& server) {
  for (const StartFailure& failure : server.StartFailures()) {
    if (failure.isPermission)
      return "on Linux your user must be in the device's group, usually dialout";
  }
  return {};
}

}  // namespace tarn::tool
