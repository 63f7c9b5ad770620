// Events: what happened, told synchronously to every subscriber in the order of subscription.
//
// Four rules hold, whatever a handler does:
//   1. A handler that was removed is never called again, also not by an emission under way.
//   2. When a handler destroys the emitter, the handlers after it are not called.
//   3. A handler may raise the same event again; the inner emission runs to its end first.
//   4. A handler added during an emission is called from the next emission on.
//
// An exception of a handler ends the emission and climbs to whoever raised the event.
//
// One thread: subscribe, unsubscribe and raise on the thread of the message loop.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tarn {

/// Keeps one handler subscribed; letting go of it unsubscribes. May outlive the event.
/// Make it the last member of its owner, so that it is the first to go.
class Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::shared_ptr<bool> active) : active_(std::move(active)) {}
  Subscription(Subscription&& other) noexcept = default;
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      Reset();
      active_ = std::move(other.active_);
    }
    return *this;
  }
  ~Subscription() { Reset(); }

  void Reset() {
    if (active_) *active_ = false;
    active_.reset();
  }
  explicit operator bool() const { return active_ && *active_; }

 private:
  std::shared_ptr<bool> active_;
};

template <class... Args>
class Event {
 public:
  using Handler = std::function<void(Args...)>;

  Event() : state_(std::make_shared<State>()) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { state_->emitterGone = true; }

  [[nodiscard]] Subscription Subscribe(Handler handler) {
    auto slot = std::make_shared<Slot>(std::move(handler));
    state_->slots.push_back(slot);
    return Subscription(std::shared_ptr<bool>(slot, &slot->active));
  }

  void Raise(Args... args) const {
    // The emission holds the state, since a handler may destroy the event with its owner.
    const std::shared_ptr<State> state = state_;
    const Emission emission(*state);
    const std::size_t count = state->slots.size();
    for (std::size_t i = 0; i < count && !state->emitterGone; ++i) {
      const std::shared_ptr<Slot> slot = state->slots[i];
      if (slot->active) slot->handler(args...);
    }
  }

  std::size_t SubscriberCount() const {
    return static_cast<std::size_t>(std::count_if(state_->slots.begin(), state_->slots.end(),
                                                  [](const auto& slot) { return slot->active; }));
  }

 private:
  struct Slot {
    explicit Slot(Handler h) : handler(std::move(h)) {}
    Handler handler;
    bool active = true;
  };
  struct State {
    std::vector<std::shared_ptr<Slot>> slots;
    int emissions = 0;
    bool emitterGone = false;
  };
  /// Counts the emissions under way; the outermost one drops the handlers that were removed.
  class Emission {
   public:
    explicit Emission(State& state) : state_(state) { ++state_.emissions; }
    Emission(const Emission&) = delete;
    Emission& operator=(const Emission&) = delete;
    ~Emission() {
      if (--state_.emissions > 0) return;
      std::erase_if(state_.slots, [](const auto& slot) { return !slot->active; });
    }

   private:
    State& state_;
  };

  std::shared_ptr<State> state_;
};

}  // namespace tarn
