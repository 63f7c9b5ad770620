#include "automation/process_watch.hpp"

#include <objbase.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "automation/com_owners.hpp"
#include "platform/win32/win32_handle.hpp"

namespace tarn {
namespace {

/// Milliseconds without a call after which nobody holds what an ended client left.
constexpr std::int32_t kDoubtTime = 20000;
/// Objects of ended clients that are kept at most.
constexpr std::size_t kMostLeft = 32;

}  // namespace

struct ProcessWatch::Watched {
  Watched() = default;
  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;
  /// Waits for the notice under way.
  ~Watched() {
    if (wait != nullptr) UnregisterWaitEx(wait, INVALID_HANDLE_VALUE);
  }
  static void CALLBACK Signalled(void* self, BOOLEAN /*timedOut*/) {
    static_cast<Watched*>(self)->ended();
  }

  const DATE since = LocalTime();
  OwnedHandle process;
  HANDLE wait = nullptr;
  std::function<void()> ended;  ///< called on a thread of the system's
  std::vector<IUnknown*> objects;
};

ProcessWatch::ProcessWatch(Host& host, OutgoingCalls& callsOut, std::function<void()> allGone)
    : host_(host),
      callsOut_(callsOut),
      allGone_(std::move(allGone)),
      doubt_(host.Loop().CreateTimer()),
      onDoubt_(doubt_->Tick.Subscribe([this] { LookForCalls(); })) {
  doubt_->Interval(kDoubtTime);
}

ProcessWatch::~ProcessWatch() {
  *alive_ = false;
}

void ProcessWatch::Created(DWORD process, IUnknown* own) {
  gone_ = false;
  if (process == 0 || !Watch(process)) {
    // A client that was killed meanwhile leaves what it has asked for.
    if (process != 0 && GetLastError() == ERROR_INVALID_PARAMETER)
      Left(own != nullptr ? std::vector{own} : std::vector<IUnknown*>());
    else
      allKnown_ = false;
    return;
  }
  if (own != nullptr) processes_[process]->objects.push_back(own);
}

bool ProcessWatch::Watch(DWORD process) {
  if (processes_.contains(process)) return true;
  auto watched = std::make_unique<Watched>();
  watched->process = OwnedHandle(OpenProcess(SYNCHRONIZE, FALSE, process));
  if (!watched->process) return false;
  watched->ended = [this, process, alive = alive_] {
    host_.Loop().Post([this, process, alive] {
      if (*alive) Ended(process);
    });
  };
  if (!RegisterWaitForSingleObject(&watched->wait, watched->process.Get(), Watched::Signalled,
                                   watched.get(), INFINITE, WT_EXECUTEONLYONCE)) {
    return false;
  }
  processes_[process] = std::move(watched);
  return true;
}

std::map<DWORD, DATE> ProcessWatch::Processes() const {
  std::map<DWORD, DATE> processes;
  for (const auto& [process, watched] : processes_) processes[process] = watched->since;
  return processes;
}

void ProcessWatch::Gone(const IUnknown* own) {
  std::erase(left_, own);
  for (const auto& [process, watched] : processes_) std::erase(watched->objects, own);
}

void ProcessWatch::Ended(DWORD process) {
  const auto entry = processes_.find(process);
  if (entry == processes_.end()) return;
  const auto watched = std::move(entry->second);
  processes_.erase(entry);
  callsOut_.ProcessEnded(process);
  if (!watched->objects.empty()) {
    host_.Trace("Client " + std::to_string(process) + " ended without letting go of the server");
  }
  Left(watched->objects);
}

void ProcessWatch::Left(const std::vector<IUnknown*>& objects) {
  left_.insert(left_.end(), objects.begin(), objects.end());
  // Calls of clients that live hide whether anybody else calls; so this is bounded.
  if (left_.size() > kMostLeft) TakeBack(left_.size() - kMostLeft);
  called_ = false;
  callsOut_.TakeAnswered();
  doubt_->Enabled(false);
  doubt_->Enabled(true);
}

void ProcessWatch::LookForCalls() {
  const bool answered = callsOut_.TakeAnswered();
  if (std::exchange(called_, false) || answered) return;
  doubt_->Enabled(false);
  TakeBack(left_.size());
  if (!processes_.empty() || !allKnown_) return;
  gone_ = true;
  allGone_();
}

void ProcessWatch::TakeBack(std::size_t count) {
  // Held first: releasing one may end the server, whose objects then call Gone.
  const auto end = left_.begin() + static_cast<std::ptrdiff_t>(count);
  const std::vector<ComPtr<IUnknown>> held(left_.begin(), end);
  left_.erase(left_.begin(), end);
  for (const auto& object : held) CoDisconnectObject(object.Get(), 0);
}

}  // namespace tarn
