#include "tools/tarnscale/one_scale.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "tools/tarnscale/attached.hpp"
#include "tools/tarnscale/single_scale.hpp"

namespace tarn::tool {

OneScale::OneScale(Program& program)
    : program_(program),
      onInterrupted_(program.Output().Interrupted.Subscribe([this] { interrupted_ = true; })) {}

bool OneScale::WaitFor(const std::function<bool()>& condition, double seconds) {
  program_.Host().Loop().RunUntil([&] { return interrupted_ || condition(); },
                                  static_cast<std::int32_t>(std::clamp(seconds * 1000, 1.0, 1e9)));
  return condition();
}

void OneScale::Forget() {
  reading_.reset();
  print_.reset();
  record_.reset();
}

void OneScale::TakeReading(Reading reading) {
  if (!reading.net.empty() && reading.net != kNoDataText) reading_ = std::move(reading);
}

std::unique_ptr<OneScale> OpenScale(Program& program, const std::string& number) {
  const int scale = ScaleNumber(number);
  if (auto source = FindServer(program)) {
    return std::make_unique<AttachedScale>(program, std::move(source), scale);
  }
  return std::make_unique<SingleScale>(program, scale);
}

}  // namespace tarn::tool
