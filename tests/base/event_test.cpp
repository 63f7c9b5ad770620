#include "base/event.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace tarn {
namespace {

TEST(Event, ARemovedHandlerIsNeverCalledAgain) {
  for (const int depthOfRemoval : {0, 1}) {
    Event<int> event;
    int calls = 0;
    Subscription last;
    const auto first = event.Subscribe([&](int depth) {
      if (depth < depthOfRemoval) event.Raise(depth + 1);
    });
    const auto second = event.Subscribe([&](int) { last.Reset(); });
    last = event.Subscribe([&](int) { ++calls; });
    event.Raise(0);
    EXPECT_EQ(calls, 0) << depthOfRemoval;
  }
}

TEST(Event, NothingStaysBehindForARemovedHandler) {
  Event<> event;
  const auto captured = std::make_shared<std::string>("alive");
  const auto other = event.Subscribe([] {});
  for (int i = 0; i < 3; ++i) {
    const auto passing = event.Subscribe([captured] {});
    EXPECT_EQ(captured.use_count(), 2);
  }
  EXPECT_EQ(captured.use_count(), 1);

  // What the handler holds may unsubscribe others when it goes.
  auto inner = std::make_shared<Subscription>(event.Subscribe([captured] {}));
  auto outer = event.Subscribe([held = std::move(inner)] {});
  outer.Reset();
  EXPECT_EQ(captured.use_count(), 1);

  // One that removes itself runs to its end, and goes with the outermost emission.
  Subscription self;
  long during = 0;
  self = event.Subscribe([&self, &event, &during, captured] {
    self.Reset();
    event.Raise();
    during = captured.use_count();
  });
  event.Raise();
  EXPECT_EQ(during, 2);
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(event.SubscriberCount(), 1U);
}

TEST(Event, AnInnerEmissionRunsToItsEndFirstAndWhatIsAddedWaitsForTheNext) {
  Event<int> event;
  std::string calls;
  Subscription late;
  const auto note = [&](const char* who) {
    return [&, who](int depth) { calls += who + std::to_string(depth); };
  };
  const auto first = event.Subscribe([&](int depth) {
    note("a")(depth);
    if (depth == 0) event.Raise(1);
    if (depth == 0) late = event.Subscribe(note("late"));
  });
  const auto second = event.Subscribe(note("b"));
  event.Raise(0);
  EXPECT_EQ(std::exchange(calls, {}), "a0a1b1b0");
  event.Raise(2);
  EXPECT_EQ(calls, "a2b2late2");
}

TEST(Event, AHandlerThatThrowsCostsTheOthersNothingAndTheEmitterMayGo) {
  auto event = std::make_unique<Event<>>();
  int calls = 0;
  const auto first = event->Subscribe([] { throw std::runtime_error("first"); });
  const auto second = event->Subscribe([] { throw std::logic_error("second"); });
  const auto third = event->Subscribe([&] {
    if (++calls == 2) event.reset();
  });
  int later = 0;
  const auto last = event->Subscribe([&] { ++later; });
  EXPECT_THROW(event->Raise(), std::runtime_error);
  EXPECT_EQ(calls, 1);
  EXPECT_THROW(event->Raise(), std::runtime_error);
  EXPECT_EQ(event, nullptr);
  EXPECT_EQ(later, 1) << "not once the emitter is gone";
  EXPECT_FALSE(last);  // and outlives its event
}

}  // namespace
}  // namespace tarn
