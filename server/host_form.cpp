#include "server/host_form.hpp"

#include <cstddef>

#include "scale/activity_timer.hpp"

namespace tarn {
namespace {

template <class Control>
Control ControlOf(const std::array<Control, kScaleCount>& controls, std::int16_t number) {
  if (number < 1 || number > kScaleCount) return nullptr;
  return controls[static_cast<std::size_t>(number - 1)];
}

}  // namespace

HostForm::HostForm(Host& host) {
  for (auto& timer : updateTimers_) timer = host.Loop().CreateTimer();
  for (auto& socket : sockets_) socket = host.CreateSocket();
  timer1_ = host.Loop().CreateTimer();
  timer1_->Interval(ActivityTimer::kTick);
  timer1_->Enabled(true);
}

std::shared_ptr<Timer> HostForm::UpdateTimer(std::int16_t number) const {
  return ControlOf(updateTimers_, number);
}

std::shared_ptr<SocketControl> HostForm::Winsock(std::int16_t number) const {
  return ControlOf(sockets_, number);
}

void HostForm::ReleaseSocket(Host& host, std::int16_t number) {
  if (!Winsock(number)) return;
  auto& socket = sockets_[static_cast<std::size_t>(number - 1)];
  // A connection that was replaced may have left it open.
  socket->Close();
  if (socket.use_count() == 1) return;
  socket->Retire();
  socket = host.CreateSocket();
}

void HostForm::Unload() {
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
