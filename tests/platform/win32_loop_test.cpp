// What the Windows loop waits for beside posted work and timers: handles and window messages; and
// a serial line, whose bytes move on a separate thread.
#include "platform/win32/win32_message_loop.hpp"

#include <cstdlib>

#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

class Win32LoopTest : public NativeTest {
 protected:
  const std::vector<std::string>& traces = harness->Traces();
  Win32MessageLoop& loop = dynamic_cast<Win32MessageLoop&>(Loop());
};

TEST_F(Win32LoopTest, AHandleThatIsAlwaysSignalledKeepsNobodyWaiting) {
  const OwnedHandle busy = CreateEventHandle(true);
  const OwnedHandle rare = CreateEventHandle(false);
  int busyCalls = 0, rareCalls = 0, ticks = 0;
  loop.Watch(busy.Get(), [&] { ++busyCalls; });
  loop.Watch(rare.Get(), [&] { ++rareCalls; });
  const auto timer = loop.CreateTimer();
  const auto subscription = timer->Tick.Subscribe([&] { ++ticks; });
  timer->Interval(1);
  timer->Enabled(true);
  for (const OwnedHandle* handle : {&busy, &rare}) SetEvent(handle->Get());
  ASSERT_TRUE(Becomes([&] { return busyCalls >= 50 && ticks >= 2; }));
  EXPECT_EQ(rareCalls, 1) << "an event that was set once";
}

TEST_F(Win32LoopTest, AWatchMayGoWithItsHandleInsideAnyCallback) {
  OwnedHandle own = CreateEventHandle(false);
  OwnedHandle other = CreateEventHandle(true);
  OwnedHandle last = CreateEventHandle(false);
  std::vector<std::string> calls;
  Win32MessageLoop::WatchId ownId = 0, otherId = 0;
  ownId = loop.Watch(own.Get(), [&] {
    calls.emplace_back("own");
    loop.Unwatch(ownId);
    own.Reset();
    loop.Unwatch(otherId);
    other.Reset();
  });
  otherId = loop.Watch(other.Get(), [&] { calls.emplace_back("other"); });
  loop.Watch(last.Get(), [&] { calls.emplace_back("last"); });
  for (const HANDLE handle : {own.Get(), other.Get(), last.Get()}) SetEvent(handle);
  ASSERT_TRUE(Becomes([&] { return calls.size() >= 2; }));
  EXPECT_THAT(calls, ::testing::ElementsAre("own", "last"));
  EXPECT_THAT(traces, ::testing::IsEmpty());
}

TEST_F(Win32LoopTest, AHandleThatWentWhileWatchedIsDroppedAndTold) {
  OwnedHandle gone = CreateEventHandle(true);
  const OwnedHandle stays = CreateEventHandle(false);
  int calls = 0;
  loop.Watch(gone.Get(), [] {});
  loop.Watch(stays.Get(), [&] { ++calls; });
  gone.Reset();
  ASSERT_TRUE(Becomes([&] { return !traces.empty(); }));
  SetEvent(stays.Get());
  ASSERT_TRUE(Becomes([&] { return calls == 1; }));
  EXPECT_EQ(traces.size(), 1U);
}

TEST_F(Win32LoopTest, WatchesNoMoreThanTheSystemCanWaitFor) {
  std::vector<OwnedHandle> handles;
  int calls = 0;
  for (std::size_t i = 0; i < Win32MessageLoop::kMaxWatches; ++i) {
    handles.push_back(CreateEventHandle(false));
    loop.Watch(handles.back().Get(), [&] { ++calls; });
  }
  const OwnedHandle tooMany = CreateEventHandle(false);
  EXPECT_EQ(ErrorOf([&] { loop.Watch(tooMany.Get(), [] {}); }), 57);
  for (const OwnedHandle& handle : handles) SetEvent(handle.Get());
  ASSERT_TRUE(Becomes([&] { return calls == static_cast<int>(handles.size()); }));
}

int messagesSeen = 0;

/// Sends itself another message for each one, for ever.
LRESULT CALLBACK Flood(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message != WM_APP) return DefWindowProcW(window, message, wParam, lParam);
  ++messagesSeen;
  PostMessageW(window, WM_APP, 0, 0);
  return 0;
}

TEST_F(Win32LoopTest, AFloodOfMessagesIsDispatchedAndKeepsNobodyWaiting) {
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = Flood;
  windowClass.lpszClassName = L"TarnTestFlood";
  ASSERT_NE(RegisterClassW(&windowClass), 0);
  const HWND window = CreateWindowExW(0, L"TarnTestFlood", L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                      nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr);
  PostMessageW(window, WM_APP, 0, 0);
  EXPECT_TRUE(Becomes([&] { return messagesSeen >= 500; }));
  bool posted = false;
  loop.Post([&] { posted = true; });
  EXPECT_TRUE(Becomes([&] { return posted; }));
  DestroyWindow(window);
}

TEST_F(Win32LoopTest, TheSystemsWishToQuitEndsRun) {
  loop.Post([] { PostQuitMessage(0); });
  loop.Run();
  bool ran = false;
  loop.Post([&] { ran = true; });
  EXPECT_TRUE(Becomes([&] { return ran; })) << "it may run again";
}

using Win32LineTest = NativeTest;

/// Far more than the drivers' buffers hold, sent while the loop stands still.
TEST_F(Win32LineTest, NothingIsLostWhileTheLoopIsBusy) {
  if (std::getenv("TARN_TEST_PORT_B") == nullptr) GTEST_SKIP() << "no pair of ports is named";
  constexpr std::size_t kTotal = 200'000;
  const auto line = Native().CreateTerminalLine(std::getenv("TARN_TEST_PORT_B"));
  const auto port = NewPort();
  port->PortOpen(true);
  std::string delivered;
  const double end = Loop().Now() + 30000;
  while (delivered.size() < kTotal && Loop().Now() < end) {
    const std::string piece(1000, static_cast<char>('a' + delivered.size() % 23));
    delivered += piece.substr(0, line->Write(piece));
  }
  ASSERT_GE(delivered.size(), kTotal) << "the line stood still with the loop";
  std::string received;
  std::size_t first = 0;
  const auto receiving = port->Receive.Subscribe([&] {
    if (first == 0) first = static_cast<std::size_t>(port->InBufferCount());
    while (const auto c = port->Input()) received += *c;
  });
  ASSERT_TRUE(Becomes([&] { return received.size() >= delivered.size(); }));
  EXPECT_TRUE(received == delivered);
  EXPECT_GT(first, kTotal / 4) << "one announcement is enough for all that waits";
}

}  // namespace
}  // namespace tarn
