#include "platform/name_lookup.hpp"

#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace tarn {

struct NameLookup::State {
  struct Job {
    std::string name;
    std::weak_ptr<void> owner;
    SocketSystem::LookedUp done;
  };

  State(MessageLoop& l, Ask a) : loop(&l), ask(std::move(a)) {}

  std::mutex mutex;
  MessageLoop* loop;  ///< none once nobody is to be told
  Ask ask;
  std::deque<Job> jobs;
  int threads = 0;
};

NameLookup::NameLookup(MessageLoop& loop, Ask ask)
    : state_(std::make_shared<State>(loop, std::move(ask))) {}

NameLookup::~NameLookup() {
  const std::lock_guard lock(state_->mutex);
  state_->loop = nullptr;
  state_->jobs.clear();
}

void NameLookup::Start(const std::string& name, std::weak_ptr<void> owner,
                       SocketSystem::LookedUp done) {
  const std::lock_guard lock(state_->mutex);
  std::erase_if(state_->jobs, [](const State::Job& job) { return job.owner.expired(); });
  state_->jobs.push_back({name, std::move(owner), std::move(done)});
  if (state_->threads == kThreads) return;
  // The thread is left to itself: nobody could make the system give up a look-up.
  std::thread([state = state_] { Work(state); }).detach();
  ++state_->threads;
}

void NameLookup::Work(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  while (!state->jobs.empty()) {
    State::Job job = std::move(state->jobs.front());
    state->jobs.pop_front();
    if (job.owner.expired()) continue;
    lock.unlock();
    const Answer answer = state->ask(job.name);
    lock.lock();
    if (state->loop == nullptr) break;
    state->loop->Post([job = std::move(job), answer] {
      if (!job.owner.expired()) job.done(answer.error, answer.ip);
    });
  }
  --state->threads;
}

}  // namespace tarn
