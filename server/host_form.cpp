#include "server/host_form.hpp"

#include <cstddef>

#include "scale/activity_timer.hpp"

namespace tarn {

HostForm::HostForm(MessageLoop& loop) {
  for (auto& timer : updateTimers_) timer = loop.CreateTimer();
  timer1_ = loop.CreateTimer();
  timer1_->Interval(ActivityTimer::kTick);
  timer1_->Enabled(true);
}

std::shared_ptr<Timer> HostForm::UpdateTimer(std::int16_t number) const {
  if (number < 1 || number > kScaleCount) return nullptr;
  return updateTimers_[static_cast<std::size_t>(number - 1)];
}

void HostForm::Unload() {
  for (auto& timer : updateTimers_) {
    if (timer) timer->Enabled(false);
    timer.reset();
  }
  timer1_->Enabled(false);
}

}  // namespace tarn
