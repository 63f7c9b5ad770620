#include "server/host_form.hpp"

#include <cstddef>

#include "scale/activity_timer.hpp"

namespace tarn {
namespace {

bool IsSlot(std::int16_t number) {
  return number >= 1 && number <= kScaleCount;
}

std::size_t PlaceOf(std::int16_t number) {
  return static_cast<std::size_t>(number - 1);
}

}  // namespace

HostForm::HostForm(Host& host) : host_(host) {
  for (auto& timer : updateTimers_) timer = host.Loop().CreateTimer();
  timer1_ = host.Loop().CreateTimer();
  timer1_->Interval(ActivityTimer::kTick);
  timer1_->Enabled(true);
}

std::shared_ptr<Timer> HostForm::UpdateTimer(std::int16_t number) const {
  return IsSlot(number) ? updateTimers_[PlaceOf(number)] : nullptr;
}

std::shared_ptr<SocketControl> HostForm::Winsock(std::int16_t number) {
  if (!IsSlot(number) || unloaded_) return nullptr;
  auto& socket = sockets_[PlaceOf(number)];
  if (!socket) socket = host_.CreateSocket();
  return socket;
}

void HostForm::ReleaseSocket(std::int16_t number) {
  if (!IsSlot(number) || !sockets_[PlaceOf(number)]) return;
  auto& socket = sockets_[PlaceOf(number)];
  // A connection that was replaced may have left it open.
  socket->Close();
  if (socket.use_count() == 1) return;
  socket->Retire();
  socket.reset();
}

void HostForm::Unload() {
  unloaded_ = true;
  for (auto& timer : updateTimers_) {
    if (timer) timer->Enabled(false);
    timer.reset();
  }
  for (auto& socket : sockets_) {
    if (socket) socket->Retire();
    socket.reset();
  }
  timer1_->Enabled(false);
}

}  // namespace tarn
