// The message loop over the thread's message queue and a few waitable handles. It dispatches window
// messages, so that its thread can be a COM apartment.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "platform/loop_base.hpp"
#include "platform/win32/win32_handle.hpp"

namespace tarn {

class Win32MessageLoop final : public LoopBase {
 public:
  using WatchId = std::uint64_t;
  /// What the system can wait for at once, less the queue and the loop's own event.
  static constexpr std::size_t kMaxWatches = MAXIMUM_WAIT_OBJECTS - 2;

  explicit Win32MessageLoop(TraceSink trace);
  ~Win32MessageLoop() override;

  double Now() const override;

  /// Calls `signalled` from the loop whenever the handle is found signalled, until Unwatch, which
  /// may be called from inside any callback. Unwatch a handle before it is closed. Error 57 beyond
  /// kMaxWatches.
  WatchId Watch(HANDLE handle, std::function<void()> signalled);
  void Unwatch(WatchId id) { watches_.erase(id); }

 protected:
  void WaitAndDispatch(double milliseconds) override;
  void Wake() override { SetEvent(wake_.Get()); }

 private:
  /// So many messages a turn at the most: a flood of them must not hold up timers and lines.
  static constexpr int kMessagesPerTurn = 64;

  struct WatchedHandle {
    HANDLE handle;
    std::shared_ptr<std::function<void()>> signalled;
  };
  struct HandleSet {
    std::array<HANDLE, MAXIMUM_WAIT_OBJECTS> handles;
    std::array<WatchId, MAXIMUM_WAIT_OBJECTS> ids;
    DWORD count = 0;
  };

  HandleSet WatchesAfter(WatchId id) const;
  void DispatchSignalled(HandleSet set, DWORD waitResult);
  void DropDeadWatches();
  void DispatchMessages();

  OwnedHandle wake_;
  std::map<WatchId, WatchedHandle> watches_;
  WatchId nextWatch_ = 1;
  double ticksPerMillisecond_;
  std::int64_t start_;
};

}  // namespace tarn
