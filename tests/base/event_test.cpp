#include "base/event.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace tarn {
namespace {

TEST(Event, CallsHandlersInOrderOfSubscriptionUntilTheyGo) {
  Event<int> event;
  std::string calls;
  auto first = event.Subscribe([&](int v) { calls += "a" + std::to_string(v); });
  {
    const auto second = event.Subscribe([&](int v) { calls += "b" + std::to_string(v); });
    event.Raise(1);
  }
  event.Raise(2);
  auto moved = std::move(first);
  event.Raise(3);
  moved.Reset();
  event.Raise(4);
  EXPECT_EQ(calls, "a1b1a2a3");
  EXPECT_EQ(event.SubscriberCount(), 0U);
}

TEST(Event, ARemovedHandlerIsNeverCalledAgain) {
  Event<> event;
  int calls = 0;
  Subscription second;
  const auto first = event.Subscribe([&] { second.Reset(); });
  second = event.Subscribe([&] { ++calls; });
  event.Raise();
  EXPECT_EQ(calls, 0);

  // One that removes itself still runs to its end.
  std::string captured = "alive";
  Subscription self;
  self = event.Subscribe([&self, captured, &calls] {
    self.Reset();
    calls += static_cast<int>(captured.size());
  });
  event.Raise();
  event.Raise();
  EXPECT_EQ(calls, 5);
}

TEST(Event, LaterHandlersAreNotCalledOnceTheEmitterIsGone) {
  auto event = std::make_unique<Event<>>();
  bool later = false;
  const auto first = event->Subscribe([&] { event.reset(); });
  const auto second = event->Subscribe([&] { later = true; });
  event->Raise();
  EXPECT_FALSE(later);
  EXPECT_EQ(event, nullptr);
}

TEST(Event, AnInnerEmissionRunsToItsEndFirst) {
  Event<int> event;
  std::string calls;
  const auto first = event.Subscribe([&](int depth) {
    calls += "a" + std::to_string(depth);
    if (depth == 0) event.Raise(1);
  });
  const auto second = event.Subscribe([&](int depth) { calls += "b" + std::to_string(depth); });
  event.Raise(0);
  EXPECT_EQ(calls, "a0a1b1b0");
}

TEST(Event, AHandlerAddedDuringAnEmissionWaitsForTheNextOne) {
  Event<> event;
  int added = 0;
  Subscription late;
  const auto first = event.Subscribe([&] {
    if (!late) late = event.Subscribe([&] { ++added; });
  });
  event.Raise();
  EXPECT_EQ(added, 0);
  event.Raise();
  EXPECT_EQ(added, 1);
}

TEST(Event, HandlersRemovedInANestedEmissionStayRemovedInTheOuterOne) {
  Event<int> event;
  int thirdCalls = 0;
  Subscription third;
  const auto first = event.Subscribe([&](int depth) {
    if (depth == 0) event.Raise(1);
  });
  const auto second = event.Subscribe([&](int) { third.Reset(); });
  third = event.Subscribe([&](int) { ++thirdCalls; });
  event.Raise(0);
  EXPECT_EQ(thirdCalls, 0);
}

TEST(Event, AnExceptionEndsTheEmissionAndLeavesTheEventUsable) {
  Event<> event;
  int calls = 0;
  auto throwing = event.Subscribe([] { throw std::runtime_error("handler"); });
  const auto second = event.Subscribe([&] { ++calls; });
  EXPECT_THROW(event.Raise(), std::runtime_error);
  EXPECT_EQ(calls, 0);
  throwing.Reset();
  event.Raise();
  EXPECT_EQ(calls, 1);
}

TEST(Event, ASubscriptionMayOutliveItsEvent) {
  auto event = std::make_optional<Event<>>();
  auto subscription = event->Subscribe([] {});
  event.reset();
  subscription.Reset();
  EXPECT_FALSE(subscription);
}

}  // namespace
}  // namespace tarn
