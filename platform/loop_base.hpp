// The part of a message loop that is the same everywhere: posted work, timers, the order of work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/message_loop.hpp"

namespace tarn {

/// An implementation provides the clock, the waiting and the waking up.
class LoopBase : public MessageLoop {
 public:
  using TraceSink = std::function<void(std::string_view)>;

  explicit LoopBase(TraceSink trace) : trace_(std::move(trace)) {}

  void Post(std::function<void()> work) override;
  std::unique_ptr<Timer> CreateTimer() override;
  bool HasDueWork() const override { return TimeToNextWork() == 0; }
  void Run() override;
  void Quit() override;
  bool RunUntil(const std::function<bool()>& condition, std::int32_t milliseconds) override;

  /// Calls a piece of work; what it throws is traced and ends here.
  template <class Work>
  void Guard(Work&& work) {
    try {
      std::forward<Work>(work)();
    } catch (...) {
      TraceCurrentException();
    }
  }

 protected:
  /// Waits at most so long (endless when negative) for what the system announces and dispatches it,
  /// each callback inside Guard.
  virtual void WaitAndDispatch(double milliseconds) = 0;
  /// Ends a WaitAndDispatch under way or the next one. From any thread.
  virtual void Wake() = 0;

  /// Posted work, then due timers.
  void RunDueWork();
  /// Milliseconds until work is due: 0 when some is, negative when none is in sight.
  double TimeToNextWork() const;
  /// Destroys what was posted and never ran. The destructor of an implementation calls it, since
  /// such work may hold objects whose destructors still need the loop.
  void DropPosted();

 private:
  class LoopTimer;
  using DueKey = std::pair<double, std::uint64_t>;  // due time, order of starting

  void TraceCurrentException();
  void RunPosted();
  void RunTimers();

  TraceSink trace_;
  mutable std::mutex postedMutex_;
  std::deque<std::function<void()>> posted_;
  std::map<DueKey, LoopTimer*> due_;
  std::uint64_t nextStart_ = 0;
  bool quit_ = false;
};

}  // namespace tarn
