#include "automation/lanes/lanes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <thread>
#include <utility>

namespace tarn {
namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();

/// Clients' handlers take time of a clock that moves only when every thread waits for it.
class FakeSystem final : public LaneSystem {
 public:
  ~FakeSystem() override {
    Advance(kNever);
    for (auto& thread : threads_) thread.join();
  }

  double Now() const override { return now_; }
  std::shared_ptr<Answer> NewAnswer() override { return std::make_shared<Flag>(); }
  void Start(std::function<void()> work) override {
    ++running_;
    threads_.emplace_back([this, work = std::move(work)]() mutable {
      work();
      work = nullptr;
      const std::lock_guard lock(mutex_);
      Rest();
    });
  }
  bool Wait(Answer& answer, double milliseconds) override {
    if (const auto call = std::exchange(incomingCall, {})) call();
    const double end = now_ + milliseconds;
    while (!answer.IsSet() && !MoveTo(end)) continue;
    return answer.IsSet();
  }
  bool HasOtherWork() const override { return otherWork; }
  void Changed(const std::shared_ptr<Lane>&, LaneState state) override { changes[int(state)]++; }

  void Advance(double milliseconds) {
    const double end = now_ + milliseconds;
    while (!MoveTo(end)) continue;
  }
  /// On a client's thread.
  void Take(double milliseconds) {
    std::unique_lock lock(mutex_);
    const double end = now_ + milliseconds;
    ends_.insert(end);
    Rest();
    changed_.wait(lock, [&] { return now_ >= end; });
  }

  bool otherWork = true;
  std::function<void()> incomingCall;  ///< served inside the next wait
  std::atomic<int> changes[3] = {};

 private:
  struct Flag final : Answer {
    void Set() override { set = true; }
    bool IsSet() const override { return set; }
    std::atomic<bool> set = false;
  };

  void Rest() {
    if (--running_ == 0) changed_.notify_all();
  }
  /// To the end, or to where the next handler returns before. True at the end.
  bool MoveTo(double end) {
    std::unique_lock lock(mutex_);
    const auto settled = [this] { return running_ == 0; };
    changed_.wait(lock, settled);
    if (ends_.empty() || *ends_.begin() > end) {
      if (end < kNever) now_ = end;
      return true;
    }
    now_ = *ends_.begin();
    running_ += static_cast<int>(ends_.erase(now_));
    changed_.notify_all();
    changed_.wait(lock, settled);
    return false;
  }

  std::atomic<double> now_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::multiset<double> ends_;
  std::atomic<int> running_ = 0;
  std::vector<std::thread> threads_;
};

class LanesTest : public testing::Test {
 protected:
  struct Seen {
    int about, state;
    double at;
    int subscription, id;
  };
  struct Client {
    std::shared_ptr<Lane> lane;
    double takes;
    std::vector<Seen> seen;  ///< by its own thread; read when nothing moves
  };

  Client& Add(double takes) {
    auto lane = std::make_shared<Lane>(1, "client", limits.oneClient, system.Now());
    clients.push_back(std::make_unique<Client>(Client{lane, takes, {}}));
    return *clients.back();
  }
  void Raise(Client& client, int id = 1, int subscription = 0, int argument = 0) {
    const int about = argument > 0 ? argument : int{state};
    const auto deliver = [=, this, &client] {
      client.seen.push_back({about, state, system.Now(), subscription, id});
      system.Take(client.takes);
      return Delivery::Done;
    };
    LaneEvent event{subscriptions.at(static_cast<unsigned>(subscription)), id, argument > 0,
                    deliver};
    lanes->Deliver(client.lane, std::move(event));
  }
  void Begin() { lanes = std::make_unique<Lanes>(system, limits); }

  LaneLimits limits;
  std::atomic<int> state = 0;
  std::vector<std::shared_ptr<int>> subscriptions{std::make_shared<int>(), std::make_shared<int>()};
  std::vector<std::unique_ptr<Client>> clients;
  FakeSystem system;
  std::unique_ptr<Lanes> lanes;
};

TEST_F(LanesTest, SlowAndHangingClientsHoldUpNobody) {
  Begin();
  for (const double takes : {1500.0, 1500.0, 2.0, 1500.0, 1500.0, 9e9}) Add(takes);
  const Client& fast = *clients[2];
  for (double due = 100; due <= 30000; due += 100) {
    system.Advance(std::max(0.0, due - system.Now()));
    ++state;
    for (const auto& client : clients) Raise(*client);
    lanes->Watch();
  }
  double last = 0, gap = 0;
  int own = 0;
  for (const Seen& seen : fast.seen) {
    gap = std::max(gap, seen.at - std::exchange(last, seen.at));
    own += seen.about == seen.state;
  }
  EXPECT_LT(gap, 600);
  EXPECT_EQ(fast.seen.size(), 300U);
  EXPECT_EQ(own, 300);
  double held = 0;
  for (const auto& client : clients) held += client->lane->Held();
  EXPECT_LT(held, 0.5 * 30000);
  EXPECT_EQ(fast.lane->State(), LaneState::Prompt);
  EXPECT_EQ(clients[5]->lane->State(), LaneState::Lost);
  EXPECT_EQ(system.changes[int(LaneState::Lost)], 1);
  for (const unsigned slow : {0U, 1U, 3U, 4U}) {
    EXPECT_EQ(clients[slow]->lane->State(), LaneState::Late);
    EXPECT_EQ(clients[slow]->lane->Counts().waiting, 1U);
  }
  system.Advance(5000);
  for (const unsigned slow : {0U, 1U, 3U, 4U}) {
    EXPECT_EQ(clients[slow]->seen.back().state, state);
    EXPECT_EQ(clients[slow]->lane->State(), LaneState::Prompt);
  }
}

TEST_F(LanesTest, APromptClientIsWaitedForAtFullSpeedUnlessOtherWorkWaits) {
  for (const bool otherWork : {false, true}) {
    Begin();
    Client& client = Add(1);
    system.otherWork = otherWork;
    const double start = system.Now();
    while (system.Now() - start < 3000 && client.seen.size() < 1000) {
      ++state;
      Raise(client);
      if (client.lane->State() == LaneState::Late) system.Advance(1);
    }
    for (const Seen& seen : client.seen) EXPECT_EQ(seen.about, seen.state);
    EXPECT_EQ(system.changes[int(LaneState::Late)] > 0, otherWork);
    const double bound = 0.2 * (system.Now() - start) + 0.2 * Budget::kWindow + 1;
    EXPECT_EQ(client.lane->Held() < bound, otherWork) << client.lane->Held();
  }
}

TEST_F(LanesTest, WhatWaitsKeepsItsOrderAndItsLast) {
  std::mt19937 random(7);
  limits.oneClient = 1;
  limits.hung = kNever;
  Begin();
  Client& client = Add(10);
  std::map<std::pair<int, int>, int> last;  // of each subscription and event
  int arguments = 0;
  for (int round = 0; round < 40; ++round) {
    for (auto left = random() % 60; left > 0; --left) {
      const int subscription = static_cast<int>(random() % 2), id = static_cast<int>(random() % 4);
      last[{subscription, id}] = ++state;
      arguments += id == 3;
      Raise(client, id, subscription, id == 3 ? int{state} : 0);
      if (random() % 4 == 0) system.Advance(7);
    }
    system.Advance(4000);
    ASSERT_EQ(client.lane->State(), LaneState::Prompt);
    std::map<int, int> latest;
    std::map<std::pair<int, int>, int> seenLast;
    for (const Seen& seen : client.seen) {
      EXPECT_LT(std::exchange(latest[seen.subscription], seen.about), seen.about);
      seenLast[{seen.subscription, seen.id}] = seen.about;
    }
    EXPECT_EQ(seenLast, last);
  }
  EXPECT_EQ(std::count_if(client.seen.begin(), client.seen.end(),
                          [](const Seen& seen) { return seen.id == 3; }),
            arguments);
}

TEST_F(LanesTest, NoEventStarvesAndWhatWaitsIsBoundedAndGoesWithTheClient) {
  Begin();
  Client& client = Add(1500);
  for (int reading = 0; reading < 300; ++reading) {
    for (const int subscription : {0, 1}) {
      ++state;
      for (const int id : {1, 2}) Raise(client, id, subscription);
      if (reading >= 200) Raise(client, 3, subscription, reading);
    }
    EXPECT_LE(client.lane->Counts().waiting, 3 * (2 + Lane::kMostWaiting));
    system.Advance(100);
  }
  std::map<std::pair<int, int>, int> counts;
  for (const Seen& seen : client.seen) ++counts[{seen.subscription, seen.id}];
  for (const int subscription : {0, 1}) {
    for (const int id : {1, 2}) EXPECT_GE((counts[{subscription, id}]), 3);
  }
  EXPECT_GT(client.lane->Counts().dropped, 40U);
  const std::weak_ptr<int> held = subscriptions[1];
  subscriptions.clear();
  lanes->Lose(client.lane);
  system.Advance(2000);
  EXPECT_TRUE(held.expired());
  EXPECT_EQ(client.lane->Counts().waiting, 0U);
}

TEST_F(LanesTest, OtherClientsCallsInsideAWaitDoNotCount) {
  Begin();
  Client& client = Add(5);
  Client& other = Add(120);
  system.incomingCall = [&] {
    const Lanes::Elsewhere served(*lanes);
    system.Advance(400);
    Raise(other);
    Raise(client, 2);  // the handler's own call raises one for it: delivered at once
  };
  Raise(client);
  EXPECT_LE(client.lane->Held(), 10);
  EXPECT_GE(other.lane->Held(), 100);
  EXPECT_EQ(client.seen.size(), 2U);
  EXPECT_EQ(client.lane->State(), LaneState::Prompt);
}

TEST_F(LanesTest, WithoutBoundsTheCoreWaitsUntilTheClientHangs) {
  limits.oneClient = limits.allClients = 100;
  Begin();
  Client& slow = Add(4000);
  Client& hanging = Add(6000);
  for (int i = 0; i < 5; ++i) Raise(slow);
  EXPECT_EQ(slow.seen.size(), 5U);
  EXPECT_EQ(system.Now(), 20000);
  Raise(hanging);
  EXPECT_EQ(system.Now(), 25000);
  EXPECT_EQ(hanging.lane->State(), LaneState::Lost);
  Raise(hanging);
  EXPECT_EQ(hanging.lane->Counts().dropped, 1U);
}

}  // namespace
}  // namespace tarn
