#include "platform/loop_base.hpp"

#include <algorithm>
#include <cmath>
#include <exception>

#include "base/automation_error.hpp"

namespace tarn {

class LoopBase::LoopTimer final : public Timer {
 public:
  explicit LoopTimer(LoopBase& loop) : loop_(loop) {}
  ~LoopTimer() override { Stop(); }

  void Interval(std::int32_t milliseconds) override {
    if (milliseconds < 0) {
      throw AutomationError(ErrorNumber::InvalidPropertyValue,
                            "A timer's interval is never negative");
    }
    interval_ = milliseconds;
    Stop();
    Start();
  }
  std::int32_t Interval() const override { return interval_; }

  void Enabled(bool enabled) override {
    if (enabled == enabled_) return;
    enabled_ = enabled;
    Stop();
    Start();
  }
  bool Enabled() const override { return enabled_; }

  /// Moves on to the first period that ends after now, and ticks. The timer may be gone afterwards.
  void Fire(double now) {
    const double missed = std::floor((now - key_.first) / interval_);
    DueKey next = key_;
    next.first += interval_ * (missed + 1);
    if (next.first <= now) next.first += interval_;  // the quotient was rounded down
    Stop();
    Schedule(next);
    loop_.Guard([this] { Tick.Raise(); });
  }

 private:
  void Start() {
    if (enabled_ && interval_ > 0) Schedule({loop_.Now() + interval_, loop_.nextStart_++});
  }
  void Stop() {
    if (scheduled_) loop_.due_.erase(key_);
    scheduled_ = false;
  }
  void Schedule(DueKey key) {
    key_ = key;
    loop_.due_.emplace(key_, this);
    scheduled_ = true;
  }

  LoopBase& loop_;
  std::int32_t interval_ = 0;
  bool enabled_ = false;
  bool scheduled_ = false;
  DueKey key_;
};

void LoopBase::Post(std::function<void()> work) {
  {
    const std::lock_guard lock(postedMutex_);
    posted_.push_back(std::move(work));
  }
  Wake();
}

std::unique_ptr<Timer> LoopBase::CreateTimer() {
  return std::make_unique<LoopTimer>(*this);
}

void LoopBase::Run() {
  while (!quit_) {
    RunDueWork();
    if (!quit_) WaitAndDispatch(TimeToNextWork());
  }
  quit_ = false;
}

void LoopBase::Quit() {
  Post([this] { quit_ = true; });
}

bool LoopBase::RunUntil(const std::function<bool()>& condition, std::int32_t milliseconds) {
  const double end = Now() + milliseconds;
  while (!condition()) {
    const double left = end - Now();
    if (left <= 0) return false;
    RunDueWork();
    if (condition()) return true;
    const double wait = TimeToNextWork();
    WaitAndDispatch(wait < 0 ? left : std::min(wait, left));
  }
  return true;
}

void LoopBase::RunDueWork() {
  RunPosted();
  RunTimers();
}

void LoopBase::RunPosted() {
  // Taken one by one from the shared queue, so that a nested RunUntil sees the rest of it.
  std::size_t count = 0;
  {
    const std::lock_guard lock(postedMutex_);
    count = posted_.size();
  }
  while (count-- > 0) {
    std::function<void()> work;
    {
      const std::lock_guard lock(postedMutex_);
      if (posted_.empty()) return;
      work = std::move(posted_.front());
      posted_.pop_front();
    }
    Guard(work);
  }
}

void LoopBase::RunTimers() {
  // A timer that fired is due after `now` again, so none fires twice in a turn.
  const double now = Now();
  while (!due_.empty() && due_.begin()->first.first <= now) due_.begin()->second->Fire(now);
}

void LoopBase::DropPosted() {
  std::deque<std::function<void()>> dropped;
  do {
    dropped.clear();
    const std::lock_guard lock(postedMutex_);
    dropped.swap(posted_);
  } while (!dropped.empty());
}

double LoopBase::TimeToNextWork() const {
  {
    const std::lock_guard lock(postedMutex_);
    if (!posted_.empty()) return 0;
  }
  if (due_.empty()) return -1;
  return std::max(0.0, due_.begin()->first.first - Now());
}

void LoopBase::TraceCurrentException() {
  try {
    throw;
  } catch (const AutomationError& error) {
    trace_("error " + std::to_string(static_cast<int>(error.Number())) + ": " +
           error.Description());
  } catch (const std::exception& error) {
    trace_(std::string("fault: ") + error.what());
  } catch (...) {
    trace_("fault of an unknown kind");
  }
}

}  // namespace tarn
