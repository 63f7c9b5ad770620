#include "outlets/journal/journal.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/utf8.hpp"

namespace tarn {
namespace {

constexpr std::chrono::seconds kPatience{2};
constexpr std::chrono::seconds kReadAgain{1};
constexpr std::chrono::seconds kStoreAgain{1};
constexpr std::size_t kMostAtOnce = 512;

}  // namespace

struct Journal::FetchJob {
  std::uint64_t after = 0;
  std::size_t most = 0;
  OnFetched fetched;  ///< called and destroyed on the loop's thread
};

/// Lives as long as a thread that hangs in the disk.
struct Journal::Shared {
  std::mutex mutex;
  std::condition_variable changed;
  MessageLoop* loop = nullptr;  ///< null when the journal has gone
  Journal* journal = nullptr;   ///< used on the loop's thread
  std::deque<ScaleEvent> waiting;
  std::size_t open = 0;  ///< weighings that wait or whose result does
  std::deque<std::shared_ptr<FetchJob>> fetches;
  std::size_t openFetches = 0;
  std::optional<JournalStore::Receivers> receivers;  ///< to be stored
  bool stopping = false;
  bool done = false;

  /// On the loop's thread while the journal is there, or never.
  void Post(std::function<void()> work) {
    const std::lock_guard lock(mutex);
    if (loop != nullptr) loop->Post(std::move(work));
  }
};

void Journal::Enter(const ScaleEvent& event) {
  const auto weighing = WeighingOf(event);
  if (!weighing) return;
  std::string reason;
  if (!FitsIntoJournal(*weighing)) {
    reason = "it is too long for a line of the journal";
  } else {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->open < kMostWaiting) {
      shared_->waiting.push_back(event);
      ++shared_->open;
    } else {
      reason = "the disk has not stored those before it yet";
    }
  }
  if (reason.empty())
    shared_->changed.notify_all();
  else
    Refused.Raise(event, reason);
}

void Journal::Fetch(std::uint64_t after, std::size_t most, OnFetched fetched) const {
  most = std::min(most, JournalStore::kMostFetched);
  const bool isInMemory = !newest_.empty() && after + 1 >= newest_.front().number;
  if (after >= latest_ || isInMemory) {
    const auto first = std::find_if(newest_.begin(), newest_.end(),
                                    [after](const Weighing& w) { return w.number > after; });
    const auto count = std::min(most, static_cast<std::size_t>(newest_.end() - first));
    return fetched({first, first + static_cast<std::ptrdiff_t>(count)});
  }
  {
    const std::lock_guard lock(shared_->mutex);
    if (shared_->openFetches < kMostFetches) {
      ++shared_->openFetches;
      shared_->fetches.push_back(
          std::make_shared<FetchJob>(FetchJob{after, most, std::move(fetched)}));
      shared_->changed.notify_all();
      return;
    }
  }
  fetched({});
}

void Journal::Acknowledge(std::string_view receiver, std::uint64_t number) {
  const auto [place, isNew] = receivers_.try_emplace(Printable(receiver), number);
  if (!isNew && place->second == number) return;
  place->second = number;
  {
    const std::lock_guard lock(shared_->mutex);
    shared_->receivers = receivers_;
  }
  shared_->changed.notify_all();
}

std::uint64_t Journal::Acknowledged(std::string_view receiver) const {
  const auto found = receivers_.find(Printable(receiver));
  return found == receivers_.end() ? 0 : found->second;
}

/// The thread.
class Journal::Worker {
 public:
  Worker(std::shared_ptr<Shared> shared, std::unique_ptr<JournalStore> store)
      : shared_(std::move(shared)), store_(std::move(store)) {}

  void Run() {
    std::unique_lock lock(shared_->mutex);
    while (Wait(lock)) {
      PassNotes(lock);
      // Each in its turn, since weighings may come faster than the disk stores one.
      if (!shared_->waiting.empty()) StoreWeighings(lock);
      const auto now = Clock::now();
      if (shared_->receivers && (shared_->stopping || now >= storeAgain_)) StoreReceivers(lock);
      if (!shared_->fetches.empty() && now >= readAgain_) AnswerFetch(lock);
    }
    lock.unlock();
    store_.reset();  // its folder is free when the journal has gone
    lock.lock();
    shared_->done = true;
    shared_->changed.notify_all();
  }

 private:
  using Clock = std::chrono::steady_clock;
  using Lock = std::unique_lock<std::mutex>;

  /// False at the end.
  bool Wait(Lock& lock) const {
    const Shared& s = *shared_;
    while (true) {
      if (!s.waiting.empty()) return true;
      if (s.stopping) return s.receivers.has_value();
      const auto now = Clock::now();
      auto next = Clock::time_point::max();
      if (s.receivers) next = storeAgain_;
      if (!s.fetches.empty()) next = std::min(next, readAgain_);
      if (next <= now) return true;
      if (next == Clock::time_point::max())
        shared_->changed.wait(lock);
      else
        shared_->changed.wait_until(lock, next);
    }
  }

  void PassNotes(Lock& lock) {
    auto notes = store_->TakeNotes();
    if (notes.empty()) return;
    lock.unlock();
    shared_->Post([shared = shared_, notes = std::move(notes)] {
      if (shared->journal == nullptr) return;
      for (const std::string& note : notes) shared->journal->trace_(note);
    });
    lock.lock();
  }

  void StoreWeighings(Lock& lock) {
    auto batch = std::make_shared<std::vector<ScaleEvent>>();
    std::vector<Weighing> weighings;
    auto& waiting = shared_->waiting;
    for (; !waiting.empty() && batch->size() < kMostAtOnce; waiting.pop_front()) {
      weighings.push_back(*WeighingOf(waiting.front()));
      batch->push_back(std::move(waiting.front()));
    }
    lock.unlock();
    auto result = std::make_shared<JournalStore::Result>(store_->Append(std::move(weighings)));
    shared_->Post([shared = shared_, batch, result] {
      if (shared->journal != nullptr) shared->journal->Finish(*batch, *result);
    });
    lock.lock();
  }

  /// Not for each number: a receiver that gets something twice knows it by its number.
  void StoreReceivers(Lock& lock) {
    auto receivers = *std::exchange(shared_->receivers, std::nullopt);
    lock.unlock();
    bool stored = true;
    try {
      store_->Acknowledge(receivers);
    } catch (const std::exception&) {
      stored = false;
    }
    lock.lock();
    storeAgain_ = Clock::now() + kStoreAgain;
    const bool again = !stored && !shared_->receivers && !shared_->stopping;
    if (again) shared_->receivers = std::move(receivers);
  }

  void AnswerFetch(Lock& lock) {
    auto job = std::move(shared_->fetches.front());
    shared_->fetches.pop_front();
    lock.unlock();
    std::optional<std::vector<Weighing>> found;
    try {
      found = store_->Fetch(job->after, job->most);
    } catch (const std::exception&) {
      readAgain_ = Clock::now() + kReadAgain;
    }
    if (found) {
      shared_->Post([shared = shared_, job = std::move(job), found = std::move(*found)] {
        if (shared->journal != nullptr) shared->journal->Answer(*job, found);
      });
    }
    lock.lock();
    if (!found) shared_->fetches.push_front(std::move(job));
  }

  std::shared_ptr<Shared> shared_;
  std::unique_ptr<JournalStore> store_;
  Clock::time_point storeAgain_;
  Clock::time_point readAgain_;
};

Journal::Journal(MessageLoop& loop, std::unique_ptr<JournalStore> store, TraceSink trace)
    : shared_(std::make_shared<Shared>()),
      trace_(std::move(trace)),
      latest_(store->Latest()),
      receivers_(store->Acknowledged()) {
  shared_->loop = &loop;
  shared_->journal = this;
  for (const std::string& note : store->TakeNotes()) trace_(note);
  const auto worker = std::make_shared<Worker>(shared_, std::move(store));
  std::thread([worker] { worker->Run(); }).detach();
}

Journal::~Journal() {
  std::unique_lock lock(shared_->mutex);
  shared_->loop = nullptr;
  shared_->journal = nullptr;
  shared_->stopping = true;
  shared_->fetches.clear();
  shared_->changed.notify_all();
  shared_->changed.wait_for(lock, kPatience, [this] { return shared_->done; });
}

void Journal::Answer(const FetchJob& job, const std::vector<Weighing>& found) {
  {
    const std::lock_guard lock(shared_->mutex);
    --shared_->openFetches;
  }
  job.fetched(found);
}

void Journal::Finish(const std::vector<ScaleEvent>& batch, const JournalStore::Result& result) {
  const auto shared = shared_;
  {
    const std::lock_guard lock(shared->mutex);
    shared->open -= batch.size();
  }
  for (const Weighing& weighing : result.kept) {
    latest_ = weighing.number;
    newest_.push_back(weighing);
    if (newest_.size() > kMostInMemory) newest_.pop_front();
    Entered.Raise(weighing);
    if (shared->journal == nullptr) return;
  }
  const std::size_t refused = std::min(result.refused, batch.size());
  for (std::size_t i = batch.size() - refused; i < batch.size(); ++i) {
    Refused.Raise(batch[i], result.reason);
    if (shared->journal == nullptr) return;
  }
}

}  // namespace tarn
