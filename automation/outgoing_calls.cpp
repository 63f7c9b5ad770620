#include "automation/outgoing_calls.hpp"

#include <objbase.h>
#include <oleauto.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <mutex>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "automation/com_owners.hpp"
#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

/// Milliseconds that work without a client may take: the system may have to start a service first.
constexpr double kSystemLimit = 60000;

/// Milliseconds between looks for clients that hang, while anybody is late.
constexpr std::int32_t kWatchTime = 250;

double Milliseconds() {
  using Duration = std::chrono::duration<double, std::milli>;
  return Duration(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Under Wine the upper half of an apartment's id is the process's; elsewhere it is hardly ever
/// that of a process.
DWORD ProcessOf(std::uint64_t apartment) {
  const auto process = static_cast<DWORD>(apartment >> 32U);
  const OwnedHandle known(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
  return known ? process : 0;
}

/// For the trace: the number of the client's process, or that of its apartment where the process is
/// not known.
std::string NameOf(std::uint64_t apartment, DWORD process, const std::string& program) {
  if (process != 0) {
    return "client " + std::to_string(process) + (program.empty() ? "" : " (" + program + ")");
  }
  char text[32];
  std::snprintf(text, sizeof text, "client %llx", static_cast<unsigned long long>(apartment));
  return text;
}

}  // namespace

ClientApartment::ClientApartment(std::uint64_t known, DWORD owner, double share)
    : ClientApartment(known, owner, ProgramOf(owner), share) {}

ClientApartment::ClientApartment(std::uint64_t known, DWORD owner, std::string file, double share)
    : Lane(known, NameOf(known, owner, file), share, Milliseconds()),
      process(owner),
      program(std::move(file)),
      since(LocalTime()) {}

std::string ProgramOf(DWORD process) {
  const OwnedHandle known(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
  wchar_t path[1024];
  DWORD length = 1024;
  if (!known || !QueryFullProcessImageNameW(known.Get(), 0, path, &length)) return {};
  const std::wstring_view name(path, length);
  return FromWide(name.substr(name.find_last_of(L'\\') + 1));
}

DATE LocalTime() {
  SYSTEMTIME now;
  GetLocalTime(&now);
  DATE date = 0;
  SystemTimeToVariantTime(&now, &date);
  return date;
}

class OutgoingCalls::Signal final : public Answer {
 public:
  void Set() override { SetEvent(event_.Get()); }
  bool IsSet() const override { return WaitForSingleObject(event_.Get(), 0) == WAIT_OBJECT_0; }
  HANDLE Get() const { return event_.Get(); }

 private:
  OwnedHandle event_ = OwnedHandle(CreateEventHandle(true));
};

struct OutgoingCalls::Pool : std::enable_shared_from_this<Pool> {
  static constexpr std::size_t kKeptIdle = 2;

  void Submit(std::function<void()> work) {
    const std::lock_guard lock(mutex);
    queue.push_back(std::move(work));
    if (queue.size() <= idle) {
      added.notify_one();
      return;
    }
    try {
      std::thread([self = shared_from_this()] { self->Serve(); }).detach();
    } catch (const std::system_error&) {
      // No more threads just now: the next one that is free does the work.
    }
  }

  void SubmitInTurn(std::uint64_t client, std::function<void()> work) {
    const std::lock_guard lock(turnMutex);
    auto& waiting = turns[client];
    waiting.push_back(std::move(work));
    if (waiting.size() > 1) return;
    try {
      Submit([this, client] { ServeTurns(client); });
    } catch (...) {
      turns.erase(client);  // or what comes later would wait for a turn that never ends
      throw;
    }
  }

  void ServeTurns(std::uint64_t client) {
    for (;;) {
      std::function<void()> work;
      {
        const std::lock_guard lock(turnMutex);
        work = turns[client].front();
      }
      work();
      work = nullptr;
      const std::lock_guard lock(turnMutex);
      turns[client].pop_front();
      if (turns[client].empty()) {
        turns.erase(client);
        return;
      }
    }
  }

  void Serve() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    while (auto work = Take()) {
      work();
      work = nullptr;  // releases in this apartment what the work held
    }
    CoUninitialize();
  }

  std::function<void()> Take() {
    std::unique_lock lock(mutex);
    ++idle;
    while (queue.empty()) {
      if (ended || idle > kKeptIdle) {
        --idle;
        return nullptr;
      }
      added.wait(lock);
    }
    --idle;
    auto work = std::move(queue.front());
    queue.pop_front();
    return work;
  }

  std::mutex mutex;
  std::condition_variable added;
  std::deque<std::function<void()>> queue;
  std::size_t idle = 0;
  bool ended = false;
  std::mutex turnMutex;
  std::map<std::uint64_t, std::deque<std::function<void()>>> turns;
};

OutgoingCalls::OutgoingCalls(Host& host, const LaneLimits& limits)
    : host_(host),
      lanes_(*this, limits),
      watch_(host.Loop().CreateTimer()),
      onWatch_(watch_->Tick.Subscribe([this] { watch_->Enabled(lanes_.Watch()); })),
      pool_(std::make_shared<Pool>()) {
  watch_->Interval(kWatchTime);
}

OutgoingCalls::~OutgoingCalls() {
  const std::lock_guard lock(pool_->mutex);
  pool_->ended = true;
  pool_->added.notify_all();
}

double OutgoingCalls::Now() const {
  return Milliseconds();
}

std::shared_ptr<LaneSystem::Answer> OutgoingCalls::NewAnswer() {
  return std::make_shared<Signal>();
}

void OutgoingCalls::Start(std::function<void()> work) {
  pool_->Submit(std::move(work));
}

/// Serves incoming calls while it waits: neither timers nor lines nor posted work.
bool OutgoingCalls::Wait(Answer& answer, double milliseconds) {
  HANDLE handle = static_cast<Signal&>(answer).Get();
  DWORD index = 0;
  const auto wait = static_cast<DWORD>(std::ceil(milliseconds));
  return CoWaitForMultipleHandles(0, wait, 1, &handle, &index) == S_OK;
}

bool OutgoingCalls::HasOtherWork() const {
  return host_.Loop().HasDueWork();
}

void OutgoingCalls::Changed(const std::shared_ptr<Lane>& lane, LaneState state) {
  if (state == LaneState::Late) {
    TraceLater("Late: " + lane->Name() +
               " has held the server for its share of time; its events wait");
    watch_->Enabled(true);
  } else if (state == LaneState::Prompt) {
    TraceLater("Prompt again: " + lane->Name());
  } else {
    TraceLater("Lost: " + lane->Name() + " has ended or does not answer; no more events for it");
  }
}

void OutgoingCalls::TraceLater(std::string text) {
  host_.Loop().Post([&host = host_, line = std::move(text)] { host.Trace(line); });
}

bool OutgoingCalls::Run(std::function<void()> work, ClientApartment& client, double limit) {
  const auto answer = NewAnswer();
  pool_->Submit([answer, own = std::move(work)]() mutable {
    own();
    own = nullptr;
    answer->Set();
  });
  return lanes_.Await(client, *answer, limit);
}

HRESULT OutgoingCalls::RunOwn(std::function<HRESULT()> work) {
  const auto result = std::make_shared<HRESULT>(RPC_E_TIMEOUT);
  ClientApartment nobody(0, 0, 100);
  Run([result, own = std::move(work)] { *result = own(); }, nobody, kSystemLimit);
  return *result;
}

void OutgoingCalls::Later(std::uint64_t client, std::function<void()> work) noexcept {
  try {
    pool_->SubmitInTurn(client, std::move(work));
  } catch (const std::exception&) {
    // Without memory it stays undone: a reference then goes with its process.
  }
}

/// The loop's next turn comes when all calls that are being served have ended, and waits between
/// them do not turn the loop.
void OutgoingCalls::GiveBackLater(IUnknown* object) {
  const auto held = std::make_shared<ComPtr<IUnknown>>(object);
  const auto turn = reinterpret_cast<std::uintptr_t>(object);
  host_.Loop().Post(
      [calls = shared_from_this(), held, turn] { calls->Later(turn, [held] { held->Reset(); }); });
}

std::shared_ptr<ClientApartment> OutgoingCalls::Apartment(std::uint64_t id, DWORD process) {
  const std::lock_guard lock(apartmentsMutex_);
  auto known = id == 0 ? nullptr : apartments_[id].lock();
  if (known && !known->IsLost()) return known;
  std::erase_if(apartments_, [](const auto& entry) { return entry.second.expired(); });
  auto fresh = std::make_shared<ClientApartment>(id, process != 0 ? process : ProcessOf(id),
                                                 lanes_.Limits().oneClient);
  if (id != 0) apartments_[id] = fresh;
  return fresh;
}

std::vector<std::shared_ptr<ClientApartment>> OutgoingCalls::Apartments() {
  const std::lock_guard lock(apartmentsMutex_);
  std::vector<std::shared_ptr<ClientApartment>> all;
  for (const auto& [id, known] : apartments_) {
    if (auto apartment = known.lock()) all.push_back(std::move(apartment));
  }
  return all;
}

void OutgoingCalls::ProcessEnded(DWORD process) {
  for (const auto& apartment : Apartments()) {
    if (apartment->Id() >> 32U == process) apartment->Lose();
  }
}

}  // namespace tarn
