// Events: synchronous notification of every subscriber, in the order of subscription.
//
// Five rules hold, whatever a handler does:
//   1. A handler that was removed is never called again, not even by an emission under way.
//   2. When a handler destroys the emitter, the handlers after it are not called.
//   3. A handler may raise the same event again; the inner emission runs to its end first.
//   4. A handler added during an emission is called from the next emission on.
//   5. A handler that was removed is destroyed at once, or when the outermost emission under way
//      ends. So subscribers may come and go for months at an event that is never raised.
//
// A handler that throws does not keep the others from being called. When all have run, the first
// exception propagates to the code that raised the event.
//
// A handler often sets off what lets go of its own subscriber: a client replaces the protocol while
// the protocol files a reading. So a subscriber that shared pointers hold passes itself along, and
// is held for as long as its handler runs.
//
// One thread: subscribe, unsubscribe and raise on the thread of the message loop.
#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <type_traits>
#include <utility>

#include "base/first_failure.hpp"

namespace tarn {

/// A function that calls a member function of the owner, or any other handler, and holds the owner
/// meanwhile. The owner derives from std::enable_shared_from_this; where no shared pointer
/// holds it yet or any more, in its constructor and destructor, the handler runs all the same. Not
/// to be called after the owner is gone: keep it in a member of the owner or a Subscription there.
template <class Owner, class Handler>
auto Held(Owner* owner, Handler handler) {
  return [owner, handler = std::move(handler)](auto&&... args) {
    const auto hold = owner->weak_from_this().lock();
    if constexpr (std::is_member_function_pointer_v<Handler>)
      std::invoke(handler, owner, std::forward<decltype(args)>(args)...);
    else
      handler(std::forward<decltype(args)>(args)...);
  };
}

/// The handlers of one event of any signature, shared by Event and its Subscriptions. The cost of
/// adding and removing does not depend on their number.
class HandlerList {
 public:
  struct Slot {
    Slot() = default;
    Slot(const Slot&) = delete;
    Slot& operator=(const Slot&) = delete;
    virtual ~Slot() = default;
    bool active = true;
  };
  using Slots = std::list<std::unique_ptr<Slot>>;
  using Position = Slots::iterator;

  /// Keeps the slots in their places while it lives; the last one to go drops what was removed.
  class Emission {
   public:
    explicit Emission(HandlerList& list) : list_(list) { ++list_.emissions_; }
    Emission(const Emission&) = delete;
    Emission& operator=(const Emission&) = delete;
    ~Emission() {
      if (--list_.emissions_ == 0 && list_.removed_ > 0) list_.DropRemoved();
    }

   private:
    HandlerList& list_;
  };

  Position Add(std::unique_ptr<Slot> slot) { return slots_.insert(slots_.end(), std::move(slot)); }

  void Remove(Position at) {
    (*at)->active = false;
    ++removed_;
    if (emissions_ == 0) Drop(at);
  }

  std::size_t Count() const { return slots_.size() - removed_; }
  Slots& All() { return slots_; }

  bool emitterGone = false;

 private:
  /// Out of the list first: what the handler holds may unsubscribe others when it goes.
  void Drop(Position at) {
    Slots dropped;
    dropped.splice(dropped.end(), slots_, at);
    --removed_;
  }
  void DropRemoved() {
    Slots dropped;
    for (auto at = slots_.begin(); at != slots_.end();) {
      const auto next = std::next(at);
      if (!(*at)->active) dropped.splice(dropped.end(), slots_, at);
      at = next;
    }
    removed_ = 0;
  }

  Slots slots_;
  std::size_t removed_ = 0;  // of slots_
  int emissions_ = 0;
};

/// Keeps one handler subscribed until it is destroyed or reset. May outlive the event. Make it the
/// last member of its owner, so that it is destroyed first.
class Subscription {
 public:
  Subscription() = default;
  Subscription(const std::shared_ptr<HandlerList>& list, HandlerList::Position at)
      : list_(list), at_(at) {}
  Subscription(Subscription&& other) noexcept = default;
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      Reset();
      list_ = std::move(other.list_);
      at_ = other.at_;
    }
    return *this;
  }
  ~Subscription() { Reset(); }

  void Reset() {
    const auto list = std::exchange(list_, {}).lock();
    if (list) list->Remove(at_);
  }
  /// False as well when the event is gone.
  explicit operator bool() const { return !list_.expired(); }

 private:
  std::weak_ptr<HandlerList> list_;
  HandlerList::Position at_;
};

template <class... Args>
class Event {
 public:
  using Handler = std::function<void(Args...)>;

  Event() : handlers_(std::make_shared<HandlerList>()) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() { handlers_->emitterGone = true; }

  [[nodiscard]] Subscription Subscribe(Handler handler) {
    return {handlers_, handlers_->Add(std::make_unique<HandlerSlot>(std::move(handler)))};
  }

  /// The same for a handler of the owner, who is held while it runs.
  template <class Owner, class OwnersHandler>
  [[nodiscard]] Subscription Subscribe(Owner* owner, OwnersHandler handler) {
    return Subscribe(Handler(Held(owner, std::move(handler))));
  }

  void Raise(Args... args) const {
    if (handlers_->All().empty()) return;
    // The emission holds the list, since a handler may destroy the event with its owner.
    const std::shared_ptr<HandlerList> handlers = handlers_;
    const HandlerList::Emission emission(*handlers);
    const auto last = std::prev(handlers->All().end());
    FirstFailure failure;
    for (auto at = handlers->All().begin();; ++at) {
      if ((*at)->active) failure.Try([&] { static_cast<HandlerSlot&>(**at).handler(args...); });
      if (at == last || handlers->emitterGone) break;
    }
    failure.Rethrow();
  }

  std::size_t SubscriberCount() const { return handlers_->Count(); }

 private:
  struct HandlerSlot final : HandlerList::Slot {
    explicit HandlerSlot(Handler h) : handler(std::move(h)) {}
    Handler handler;
  };

  std::shared_ptr<HandlerList> handlers_;
};

}  // namespace tarn
