// The look-up of names beside the loop.
#include "platform/name_lookup.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

/// A system whose answers wait for the test.
class NameLookupTest : public ::testing::Test {
 protected:
  struct Asked {
    std::mutex mutex;
    std::condition_variable changed;
    int names = 0;
    bool answer = false;
    int answered = 0;
  };

  ~NameLookupTest() override {
    Answer();
    WaitFor([this] { return asked->answered == asked->names; });
  }
  void WaitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(asked->mutex);
    EXPECT_TRUE(asked->changed.wait_for(lock, std::chrono::seconds(30), condition));
  }
  void Answer() {
    const std::lock_guard lock(asked->mutex);
    asked->answer = true;
    asked->changed.notify_all();
  }
  void Start(const std::string& name) {
    lookup->Start(name, owner, [this, name](std::int32_t, std::uint32_t ip) {
      answers.push_back(name + " " + AddressText(ip));
    });
  }

  std::shared_ptr<Asked> asked = std::make_shared<Asked>();
  FakeHost host;
  std::optional<NameLookup> lookup{
      std::in_place, host.loop, [state = asked](const std::string& name) {
        std::unique_lock lock(state->mutex);
        ++state->names;
        state->changed.notify_all();
        state->changed.wait(lock, [&] { return state->answer || name == "good"; });
        ++state->answered;
        state->changed.notify_all();
        return NameLookup::Answer{0, 0x7F000000U + static_cast<std::uint32_t>(name.size())};
      }};
  std::shared_ptr<int> owner = std::make_shared<int>();
  std::vector<std::string> answers;
};

TEST_F(NameLookupTest, AGoodNameDoesNotWaitForSlowOnesAndTheLoopDelivers) {
  for (int i = 0; i < 20; ++i) Start("slow" + std::to_string(i % 10));
  Start("good");
  WaitFor([this] { return asked->names == 11 && asked->answered == 1; });
  EXPECT_TRUE(answers.empty()) << "not beside the loop";
  while (answers.empty()) host.loop.RunPending();  // the answer may be on its way to the loop
  EXPECT_EQ(answers.front(), "good 127.0.0.4");
  Answer();
  while (answers.size() < 21) host.loop.RunPending();
  EXPECT_EQ(std::count(answers.begin(), answers.end(), "slow9 127.0.0.5"), 2)
      << "asked once for both";
  EXPECT_EQ(asked->names, 11);
}

TEST_F(NameLookupTest, NobodyWhoHasGoneIsNotifiedAndTheThreadsAreBounded) {
  for (int i = 0; i < NameLookup::kThreads; ++i) Start("slow" + std::to_string(i));
  WaitFor([this] { return asked->names == NameLookup::kThreads; });
  Start("never asked");
  owner.reset();
  Answer();
  WaitFor([this] { return asked->answered == NameLookup::kThreads; });
  host.loop.RunPending();
  EXPECT_EQ(asked->names, NameLookup::kThreads);
  {
    const std::lock_guard lock(asked->mutex);
    asked->answer = false;
  }
  owner = std::make_shared<int>();
  Start("last");
  WaitFor([this] { return asked->names == NameLookup::kThreads + 1; });
  lookup.reset();
  Answer();
  WaitFor([this] { return asked->answered == asked->names; });
  host.loop.RunPending();
  EXPECT_TRUE(answers.empty());
}

}  // namespace
}  // namespace tarn
