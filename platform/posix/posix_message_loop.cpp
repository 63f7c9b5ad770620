#include "platform/posix/posix_message_loop.hpp"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <time.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <system_error>

namespace tarn {
namespace {

constexpr std::size_t kEventsPerTurn = 64;

[[noreturn]] void ThrowSystemError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

timespec ToTimespec(double milliseconds) {
  const double seconds = std::floor(milliseconds / 1000);
  timespec time{};
  time.tv_sec = static_cast<time_t>(seconds);
  // Rounded up: a timer that is woken a fraction too early would cost another turn.
  time.tv_nsec = static_cast<long>(std::ceil((milliseconds - seconds * 1000) * 1e6));
  if (time.tv_nsec >= 1'000'000'000) time = {time.tv_sec + 1, 0};
  return time;
}

std::uint32_t EventsOf(bool reading, bool writing) {
  return (reading ? std::uint32_t{EPOLLIN} : 0U) | (writing ? std::uint32_t{EPOLLOUT} : 0U);
}

class LoopDescriptorWatch final : public DescriptorWatch {
 public:
  explicit LoopDescriptorWatch(PosixMessageLoop::Watch watch) : watch_(std::move(watch)) {}

  void Want(bool reading, bool writing) override { watch_.Events(EventsOf(reading, writing)); }

 private:
  PosixMessageLoop::Watch watch_;
};

}  // namespace

PosixMessageLoop::Watch& PosixMessageLoop::Watch::operator=(Watch&& other) noexcept {
  if (this != &other) {
    Reset();
    loop_ = std::exchange(other.loop_, nullptr);
    id_ = other.id_;
    fd_ = other.fd_;
  }
  return *this;
}

void PosixMessageLoop::Watch::Events(std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = id_;
  if (::epoll_ctl(loop_->epoll_.Get(), EPOLL_CTL_MOD, fd_, &event) < 0) {
    ThrowSystemError("epoll_ctl");
  }
}

void PosixMessageLoop::Watch::Reset() {
  if (loop_ == nullptr) return;
  ::epoll_ctl(loop_->epoll_.Get(), EPOLL_CTL_DEL, fd_, nullptr);
  loop_->watches_.erase(id_);
  loop_ = nullptr;
}

PosixMessageLoop::PosixMessageLoop(TraceSink trace)
    : LoopBase(std::move(trace)),
      epoll_(::epoll_create1(EPOLL_CLOEXEC)),
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!epoll_ || !wakeUp_) ThrowSystemError("epoll");
  wakeUpWatch_ = WatchFd(wakeUp_.Get(), EPOLLIN, [this](std::uint32_t) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto drained = ::read(wakeUp_.Get(), &count, sizeof count);
  });
}

double PosixMessageLoop::Now() const {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

PosixMessageLoop::Watch PosixMessageLoop::WatchFd(int fd, std::uint32_t events, Ready ready) {
  const std::uint64_t id = ++lastId_;
  epoll_event event{};
  event.events = events;
  event.data.u64 = id;
  if (::epoll_ctl(epoll_.Get(), EPOLL_CTL_ADD, fd, &event) < 0) ThrowSystemError("epoll_ctl");
  watches_.emplace(id, std::make_shared<Ready>(std::move(ready)));
  return {*this, id, fd};
}

std::unique_ptr<DescriptorWatch> PosixMessageLoop::WatchDescriptor(int descriptor, bool reading,
                                                                   bool writing,
                                                                   DescriptorWatcher::Ready ready) {
  return std::make_unique<LoopDescriptorWatch>(WatchFd(
      descriptor, EventsOf(reading, writing), [ready = std::move(ready)](std::uint32_t events) {
        const bool over = (events & (EPOLLERR | EPOLLHUP)) != 0;
        ready(over || (events & EPOLLIN) != 0, over || (events & EPOLLOUT) != 0);
      }));
}

void PosixMessageLoop::WaitAndDispatch(double milliseconds) {
  std::array<epoll_event, kEventsPerTurn> events{};
  const timespec time = ToTimespec(std::max(milliseconds, 0.0));
  const int count = ::epoll_pwait2(epoll_.Get(), events.data(), static_cast<int>(events.size()),
                                   milliseconds < 0 ? nullptr : &time, nullptr);
  if (count < 0 && errno != EINTR) ThrowSystemError("epoll_pwait2");

  for (int i = 0; i < count; ++i) {
    // Copies, since the members of this packed structure must not be referred to.
    const std::uint64_t id = events[static_cast<std::size_t>(i)].data.u64;
    const std::uint32_t happened = events[static_cast<std::size_t>(i)].events;
    const auto found = watches_.find(id);
    if (found == watches_.end()) continue;
    const std::shared_ptr<Ready> ready = found->second;  // the watch may go inside its callback
    Guard([&] { (*ready)(happened); });
  }
}

void PosixMessageLoop::Wake() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wakeUp_.Get(), &one, sizeof one);
}

}  // namespace tarn
