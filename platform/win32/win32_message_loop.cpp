#include "platform/win32/win32_message_loop.hpp"

#include <algorithm>
#include <cmath>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

std::int64_t CounterTicks() {
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return ticks.QuadPart;
}

/// Rounded up: waking early would make the loop spin until the work is due.
DWORD WaitLimit(double milliseconds) {
  constexpr double kLongest = 3600e3;
  if (milliseconds < 0) return INFINITE;
  return static_cast<DWORD>(std::ceil(std::min(milliseconds, kLongest)));
}

}  // namespace

Win32MessageLoop::Win32MessageLoop(TraceSink trace)
    : LoopBase(std::move(trace)), wake_(CreateEventHandle(false)), start_(CounterTicks()) {
  LARGE_INTEGER perSecond;
  QueryPerformanceFrequency(&perSecond);
  ticksPerMillisecond_ = static_cast<double>(perSecond.QuadPart) / 1000;
}

Win32MessageLoop::~Win32MessageLoop() {
  DropPosted();
}

double Win32MessageLoop::Now() const {
  return static_cast<double>(CounterTicks() - start_) / ticksPerMillisecond_;
}

Win32MessageLoop::WatchId Win32MessageLoop::Watch(HANDLE handle, std::function<void()> signalled) {
  if (watches_.size() >= kMaxWatches) {
    throw AutomationError(ErrorNumber::DeviceInputOutput, "Too many handles to wait for");
  }
  const WatchId id = nextWatch_++;
  watches_.emplace(
      id, WatchedHandle{handle, std::make_shared<std::function<void()>>(std::move(signalled))});
  return id;
}

void Win32MessageLoop::WaitAndDispatch(double milliseconds) {
  HandleSet set = WatchesAfter(0);
  set.handles[set.count++] = wake_.Get();
  const DWORD result = MsgWaitForMultipleObjectsEx(
      set.count, set.handles.data(), WaitLimit(milliseconds), QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  if (result == WAIT_FAILED) DropDeadWatches();
  set.ids[set.count - 1] = nextWatch_;  // behind all watches, so that none follows it
  DispatchSignalled(set, result);
  DispatchMessages();
}

Win32MessageLoop::HandleSet Win32MessageLoop::WatchesAfter(WatchId id) const {
  HandleSet set;
  for (auto watch = watches_.upper_bound(id); watch != watches_.end(); ++watch) {
    set.handles[set.count] = watch->second.handle;
    set.ids[set.count++] = watch->first;
  }
  return set;
}

/// A wait names the first signalled handle only, and by that it may have reset it. So the ones
/// behind it are checked in turn; otherwise a busy handle would keep them waiting indefinitely.
/// They are collected again each time, since a callback may have removed and closed some.
void Win32MessageLoop::DispatchSignalled(HandleSet set, DWORD waitResult) {
  while (waitResult < WAIT_OBJECT_0 + set.count) {
    const WatchId id = set.ids[waitResult - WAIT_OBJECT_0];
    if (const auto watch = watches_.find(id); watch != watches_.end()) {
      const auto signalled = watch->second.signalled;
      Guard(*signalled);
    }
    set = WatchesAfter(id);
    if (set.count == 0) return;
    waitResult = WaitForMultipleObjects(set.count, set.handles.data(), FALSE, 0);
  }
}

/// A handle that was closed while watched is a fault of its owner; it must not become a loop that
/// never sleeps.
void Win32MessageLoop::DropDeadWatches() {
  const auto dead = std::erase_if(watches_, [](const auto& watch) {
    return WaitForSingleObject(watch.second.handle, 0) == WAIT_FAILED;
  });
  if (dead == 0) return;
  Guard([] {
    throw AutomationError(ErrorNumber::DeviceInputOutput, "A handle went while it was watched");
  });
}

void Win32MessageLoop::DispatchMessages() {
  MSG message;
  for (int i = 0; i < kMessagesPerTurn; ++i) {
    if (!PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) return;
    if (message.message == WM_QUIT) {
      Quit();
      continue;
    }
    TranslateMessage(&message);
    Guard([&message] { DispatchMessageW(&message); });
  }
}

}  // namespace tarn
