#include "platform/name_lookup.hpp"

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "platform/socket_error.hpp"

namespace tarn {

struct NameLookup::State {
  struct Asker {
    std::weak_ptr<void> owner;
    SocketSystem::LookedUp done;
  };
  using Askers = std::vector<Asker>;

  State(MessageLoop& l, Ask a) : loop(&l), ask(std::move(a)) {}

  /// Posts one piece of work for each asker, so that one that fails does not affect the others.
  void Notify(const std::string& name, const Answer& answer) {
    for (Asker& asker : asked[name]) {
      loop->Post([asker = std::move(asker), answer] {
        if (!asker.owner.expired()) asker.done(answer.error, answer.ip);
      });
    }
    asked.erase(name);
  }

  /// Forgets a name that nobody waits for any more; true if it did.
  bool Forget(const std::string& name) {
    const Askers& askers = asked[name];
    const bool unwanted =
        std::all_of(askers.begin(), askers.end(), [](const Asker& a) { return a.owner.expired(); });
    if (unwanted) asked.erase(name);
    return unwanted;
  }

  std::mutex mutex;
  MessageLoop* loop;  ///< null once nobody is to be notified
  Ask ask;
  std::map<std::string, Askers> asked;  ///< what waits or is under way
  std::deque<std::string> waiting;
  int threads = 0;
};

NameLookup::NameLookup(MessageLoop& loop, Ask ask)
    : state_(std::make_shared<State>(loop, std::move(ask))) {}

NameLookup::~NameLookup() {
  const std::lock_guard lock(state_->mutex);
  state_->loop = nullptr;
  state_->waiting.clear();
  state_->asked.clear();
}

void NameLookup::Start(const std::string& name, std::weak_ptr<void> owner,
                       SocketSystem::LookedUp done) {
  State& state = *state_;
  const std::lock_guard lock(state.mutex);
  std::erase_if(state.waiting, [&](const std::string& other) { return state.Forget(other); });
  const auto [found, isNew] = state.asked.try_emplace(name);
  State::Askers& askers = found->second;
  std::erase_if(askers, [](const State::Asker& asker) { return asker.owner.expired(); });
  askers.push_back({std::move(owner), std::move(done)});
  if (!isNew) return;
  state.waiting.push_back(name);
  if (state.threads == kThreads) return;
  try {
    // Nobody joins the thread: there is no way to make the system give up a look-up.
    std::thread([shared = state_] { Work(shared); }).detach();
    ++state.threads;
  } catch (const std::system_error&) {
    if (state.threads > 0) return;  // one of those will take it
    state.waiting.pop_back();
    state.Notify(name, {SocketError::kNoBuffers, 0});
  }
}

void NameLookup::Work(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  while (!state->waiting.empty()) {
    const std::string name = std::move(state->waiting.front());
    state->waiting.pop_front();
    if (state->Forget(name)) continue;
    lock.unlock();
    const Answer answer = state->ask(name);
    lock.lock();
    if (state->loop == nullptr) break;
    state->Notify(name, answer);
  }
  --state->threads;
}

}  // namespace tarn
