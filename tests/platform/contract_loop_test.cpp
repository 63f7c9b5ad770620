// The order of work of a message loop, and its timers.
#include <map>
#include <stdexcept>
#include <thread>

#include "tests/fakes/fake_host.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;

class LoopContract : public PlatformTest {
 protected:
  struct Ticker {
    std::unique_ptr<Timer> timer;
    Subscription subscription;
  };

  Ticker StartTimer(std::int32_t milliseconds, std::function<void()> tick) {
    Ticker ticker{Loop().CreateTimer(), {}};
    ticker.subscription = ticker.timer->Tick.Subscribe(std::move(tick));
    ticker.timer->Interval(milliseconds);
    ticker.timer->Enabled(true);
    return ticker;
  }

  std::function<void()> Note(const std::string& what) {
    return [this, what] { notes.push_back(what); };
  }

  std::vector<std::string> notes;
};

TEST_F(LoopContract, ATimerOfIntervalZeroNeitherTicksNorStarves) {
  const Ticker zero = StartTimer(0, Note("zero"));
  const Ticker other = StartTimer(1, Note("other"));
  ASSERT_TRUE(Becomes([&] { return notes.size() >= 3; }));
  EXPECT_THAT(notes, ::testing::Each("other"));
}

TEST_F(LoopContract, AnExceptionIsTracedAndTheLoopGoesOn) {
  Loop().Post([] { throw AutomationError(ErrorNumber::Overflow, "too much"); });
  const Ticker ticker = StartTimer(1, [&] {
    notes.emplace_back("tick");
    throw std::runtime_error("tock");
  });
  ASSERT_TRUE(Becomes([&] { return notes.size() >= 3; }));
  EXPECT_THAT(traces, ElementsAre("error 6: too much", "fault: tock"));
}

TEST_F(LoopContract, ATimerMayGoOrChangeInsideItsTick) {
  std::map<std::string, Ticker> tickers;
  for (const std::string way : {"destroyed", "disabled", "slowed"}) {
    tickers[way] = StartTimer(1, [&, way] {
      notes.push_back(way);
      std::unique_ptr<Timer>& timer = tickers[way].timer;
      if (way == "destroyed") timer.reset();
      if (way == "disabled") timer->Enabled(false);
      if (way == "slowed") timer->Interval(1'000'000);
    });
  }
  int ticks = 0;
  const Ticker other = StartTimer(1, [&] { ++ticks; });
  ASSERT_TRUE(Becomes([&] { return ticks >= 5 && notes.size() >= 3; }));
  EXPECT_THAT(notes, ::testing::UnorderedElementsAre("destroyed", "disabled", "slowed"));
}

TEST_F(LoopContract, ANestedRunUntilLetsTheRestGoOn) {
  int ticks = 0;
  const Ticker ticker = StartTimer(1, [&] { ++ticks; });
  Loop().Post([&] {
    notes.emplace_back("begin");
    const bool held = Loop().RunUntil([&] { return ticks >= 3 && notes.size() >= 2; }, 30000);
    notes.emplace_back(held ? "held" : "timed out");
    EXPECT_FALSE(Loop().RunUntil([] { return false; }, 5));
    notes.emplace_back("end");
  });
  Loop().Post(Note("other"));
  ASSERT_TRUE(Becomes([&] { return notes.size() == 4; }));
  EXPECT_THAT(notes, ElementsAre("begin", "other", "held", "end"));
}

TEST_F(LoopContract, QuitEndsRunAlsoBeforehandAndFromWithin) {
  Loop().Quit();
  Loop().Run();
  int ticks = 0;
  const Ticker ticker = StartTimer(1, [&] {
    if (++ticks == 3) Loop().Quit();
  });
  Loop().Run();
  EXPECT_GE(ticks, 3);  // a tick more where the turn that ends it comes late
}

TEST_F(LoopContract, WorkThatNeverRanGoesWhileTheLoopStands) {
  // The timer stops itself when it goes, and its owner's destructor posts.
  struct Owner {
    ~Owner() {
      loop.Post([] {});
    }
    MessageLoop& loop;
    std::unique_ptr<Timer> timer = loop.CreateTimer();
  };
  std::shared_ptr<Owner> owner(new Owner{Loop()});
  owner->timer->Interval(10);
  owner->timer->Enabled(true);
  const std::weak_ptr<Owner> watched = owner;
  Loop().Post([posted = std::move(owner)] {});
  Restart();
  EXPECT_TRUE(watched.expired());
}

TEST_F(LoopContract, AnotherThreadWakesIt) {
  std::thread::id ranOn;
  std::thread other([&] {
    Loop().Post([&] { ranOn = std::this_thread::get_id(); });
    Loop().Quit();
  });
  Loop().Run();
  other.join();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

class FakeClockTimer : public ::testing::Test {
 protected:
  FakeLoop loop{[](std::string_view) {}};
  std::unique_ptr<Timer> timer = loop.CreateTimer();
  std::vector<double> ticks;
  Subscription subscription = timer->Tick.Subscribe([this] { ticks.push_back(loop.Now()); });
};

TEST_F(FakeClockTimer, KeepsItsPeriodsAndGivesOneTickForThoseItMissed) {
  timer->Interval(10);
  timer->Enabled(true);
  loop.Advance(25);
  EXPECT_THAT(ticks, ElementsAre(10, 20));
  loop.ComeLate(30);  // 55: the ticks of 30, 40 and 50 are one
  loop.Advance(10);
  EXPECT_THAT(ticks, ElementsAre(10, 20, 55, 60));
  loop.ComeLate(15);  // 80, a period's end itself
  loop.Advance(10);
  EXPECT_THAT(ticks, ElementsAre(10, 20, 55, 60, 80, 90));
}

TEST_F(FakeClockTimer, StartsAFullPeriodWhenWrittenOrEnabledButNotWhenEnabledAgain) {
  timer->Enabled(true);
  loop.Advance(3);
  timer->Interval(10);  // 13
  loop.Advance(7);
  timer->Enabled(true);
  loop.Advance(4);      // now 14
  timer->Interval(10);  // 24
  loop.Advance(9);
  timer->Enabled(false);
  loop.Advance(100);  // now 123
  timer->Enabled(true);
  loop.Advance(10);
  EXPECT_THAT(ticks, ElementsAre(13, 133));
  EXPECT_EQ(ErrorOf([&] { timer->Interval(-1); }), 380);
  EXPECT_EQ(timer->Interval(), 10);
}

TEST_F(FakeClockTimer, TimersOfOneMomentTickInTheOrderOfTheirStartBehindPostedWork) {
  std::vector<std::unique_ptr<Timer>> timers;
  std::vector<Subscription> subscriptions;
  std::vector<int> notes;
  for (const int interval : {20, 10, 5}) {
    timers.push_back(loop.CreateTimer());
    subscriptions.push_back(
        timers.back()->Tick.Subscribe([&, interval] { notes.push_back(interval); }));
    timers.back()->Interval(interval);
    timers.back()->Enabled(true);
  }
  loop.Advance(20);
  EXPECT_THAT(notes, ElementsAre(5, 10, 5, 5, 20, 10, 5));
  notes.clear();
  loop.ComeLate(20);
  loop.Post([&] { notes.push_back(0); });
  loop.RunPending();
  EXPECT_THAT(notes, ElementsAre(0, 5, 10, 20));
}

}  // namespace
}  // namespace tarn
