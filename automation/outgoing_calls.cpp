#include "automation/outgoing_calls.hpp"

#include <objbase.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/win32/win32_handle.hpp"

namespace tarn {
namespace {

/// Milliseconds that work without a client may take: the system may have to start a service first.
constexpr double kSystemLimit = 60000;

double Now() {
  using Milliseconds = std::chrono::duration<double, std::milli>;
  return Milliseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

struct OutgoingCalls::Job {
  explicit Job(std::function<void()> toDo) : work(std::move(toDo)), done(CreateEventHandle(true)) {}
  std::function<void()> work;
  OwnedHandle done;
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

OutgoingCalls::OutgoingCalls(double limit) : limit_(limit), pool_(std::make_shared<Pool>()) {}

OutgoingCalls::~OutgoingCalls() {
  const std::lock_guard lock(pool_->mutex);
  pool_->ended = true;
  pool_->added.notify_all();
}

/// Serves incoming calls while it waits: neither timers nor lines nor posted work.
bool OutgoingCalls::WaitFor(const Job& job, double limit) const {
  HANDLE handle = job.done.Get();
  DWORD index = 0;
  const auto wait = static_cast<DWORD>(std::ceil(limit));
  return CoWaitForMultipleHandles(0, wait, 1, &handle, &index) == S_OK;
}

bool OutgoingCalls::Run(std::function<void()> work, const ClientApartment& client, double limit) {
  const auto job = std::make_shared<Job>(std::move(work));
  pool_->Submit([job] {
    job->work();
    job->work = nullptr;
    SetEvent(job->done.Get());
  });

  const double start = Now();
  const double lostBefore = lost_;
  bool done = false;
  double left = limit;
  while (!done && left > 0 && !client.lost) {
    done = WaitFor(*job, left);
    left = limit - (Now() - start - (lost_ - lostBefore));
  }
  if (done || WaitForSingleObject(job->done.Get(), 0) == WAIT_OBJECT_0) return true;
  lost_ = lostBefore + (Now() - start);
  return false;
}

HRESULT OutgoingCalls::RunOwn(std::function<HRESULT()> work) {
  const auto result = std::make_shared<HRESULT>(RPC_E_TIMEOUT);
  Run([result, own = std::move(work)] { *result = own(); }, ClientApartment(), kSystemLimit);
  return *result;
}

void OutgoingCalls::Later(std::uint64_t client, std::function<void()> work) noexcept {
  try {
    pool_->SubmitInTurn(client, std::move(work));
  } catch (const std::exception&) {
    // Without memory it stays undone: a reference then goes with its process.
  }
}

std::shared_ptr<ClientApartment> OutgoingCalls::Apartment(std::uint64_t id) {
  const std::lock_guard lock(apartmentsMutex_);
  auto known = id == 0 ? nullptr : apartments_[id].lock();
  if (known && !known->lost) return known;
  std::erase_if(apartments_, [](const auto& entry) { return entry.second.expired(); });
  const auto fresh = std::make_shared<ClientApartment>(id);
  if (id != 0) apartments_[id] = fresh;
  return fresh;
}

void OutgoingCalls::ProcessEnded(DWORD process) {
  const std::lock_guard lock(apartmentsMutex_);
  for (const auto& [id, known] : apartments_) {
    const auto apartment = known.lock();
    if (apartment && id >> 32U == process) apartment->lost = true;
  }
}

}  // namespace tarn
