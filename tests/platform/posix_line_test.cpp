// Descriptors in the loop, and lines at a place.
#include <sys/epoll.h>

#include <array>

#include "platform/posix/posix_message_loop.hpp"
#include "tests/platform/posix_fixture.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

class PosixLoopTest : public NativeTest {
 protected:
  PosixMessageLoop loop{[](std::string_view) {}};
};

TEST_F(PosixLoopTest, AWatchThatGoesInsideACallbackIsNotCalledAnyMore) {
  // Both pipes are ready in one turn; whichever comes first takes the other's watch away, and
  // another watch with the number of its descriptor appears.
  std::array<Pipe, 2> pipes;
  std::array<PosixMessageLoop::Watch, 2> watches;
  std::vector<std::size_t> called;
  int strangers = 0;
  PosixMessageLoop::Watch stranger;
  Pipe quiet;
  for (std::size_t i = 0; i < 2; ++i) {
    watches[i] = loop.WatchFd(pipes[i].read.Get(), EPOLLIN, [&, i](std::uint32_t) {
      called.push_back(i);
      pipes[i].Take();
      watches[1 - i].Reset();
      const int number = pipes[1 - i].read.Get();
      ASSERT_EQ(::dup2(quiet.read.Get(), number), number);
      stranger = loop.WatchFd(number, EPOLLIN, [&](std::uint32_t) { ++strangers; });
    });
  }
  pipes[0].Put();
  pipes[1].Put();
  EXPECT_FALSE(loop.RunUntil([&] { return called.size() > 1 || strangers > 0; }, 20));
  EXPECT_EQ(called.size(), 1U);
}

TEST_F(PosixLoopTest, AWatchMayGoInsideANestedTurnOfItsOwnCallback) {
  Pipe outer;
  Pipe inner;
  int calls = 0;
  PosixMessageLoop::Watch outerWatch;
  const auto innerWatch = loop.WatchFd(inner.read.Get(), EPOLLIN, [&](std::uint32_t) {
    inner.Take();
    outerWatch.Reset();
    outer.read.Reset();
  });
  outerWatch = loop.WatchFd(outer.read.Get(), EPOLLIN, [&](std::uint32_t) {
    outer.Take();
    inner.Put();
    loop.RunUntil([&] { return !outer.read; }, 30000);
    ++calls;  // what the callback holds must still be there
  });
  outer.Put();
  ASSERT_TRUE(loop.RunUntil([&] { return !outer.read; }, 30000));
  EXPECT_EQ(calls, 1);
}

using PosixLineTest = NativeTest;

TEST_F(PosixLineTest, PortsAndSettingsThatTheSystemDoesNotHaveAreRefused) {
  const auto line = Native().CreateTerminalLine(Name("port1"));
  Write(Name("port3"), "");
  for (const std::int16_t number : std::initializer_list<std::int16_t>{2, 3, 9999}) {
    EXPECT_EQ(ErrorOf([&] { NewPort(number)->PortOpen(true); }), 8002) << number;
  }
  const auto port = NewPort(1);
  for (const char* settings : {"9600,n,4,1", "9601,n,8,1", "1000000,n,8,1"}) {
    port->Settings(settings);
    EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 380) << settings;
  }
  for (const char* settings : {"110,e,7,2", "921600,m,8,1", "9600,o,5,1.5"}) {
    port->Settings(settings);
    port->PortOpen(true);
    port->PortOpen(false);
  }
}

TEST_F(PosixLineTest, ADeviceInUseElsewhereIsRefused) {
  const auto line = Native().CreateTerminalLine(Name("port1"));
  const auto other = MakeNativeHarness();
  fs::create_symlink(Name("port1"), other->FileName("port1"));
  const auto port = NewPort(1);
  port->PortOpen(true);
  const auto elsewhere = other->Host().CreateSerialPort();
  EXPECT_EQ(ErrorOf([&] { elsewhere->PortOpen(true); }), 8005);
  port->PortOpen(false);
  elsewhere->PortOpen(true);
}

TEST_F(PosixLineTest, APlaceIsTakenOnlyFromALineThatWasLeftBehind) {
  Write(Name("file"), "precious");
  fs::create_symlink(Name("file"), Name("link"));
  auto line = Native().CreateTerminalLine(Name("port1"));
  const auto port = NewPort(1);
  port->PortOpen(true);
  for (const char* taken : {"file", "link", "no-folder/line", "port1"}) {
    EXPECT_EQ(ErrorOf([&] { Native().CreateTerminalLine(Name(taken)); }), 75) << taken;
  }
  EXPECT_EQ(Content(Name("link")), "precious");

  // A line's number may be given to a terminal of somebody else, or to another line,
  // once the line is gone.
  const OwnedFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::grantpt(master.Get()) + ::unlockpt(master.Get()), 0);
  const auto another = Native().CreateTerminalLine(Name("another"));
  for (const std::string& left : {Name("nothing"), std::string(::ptsname(master.Get())),
                                  fs::read_symlink(Name("another")).string()}) {
    const std::string place = Name("left-behind");
    fs::create_symlink(left, place);
    line = Native().CreateTerminalLine(place);
    EXPECT_NE(fs::read_symlink(place), left);
    fs::remove(place);
    Write(place, "put here meanwhile");
    line.reset();
    EXPECT_EQ(Content(place), "put here meanwhile");
    fs::remove(place);
  }
}

TEST_F(PosixLineTest, WhatNobodyReadsIsDroppedAndDoesNotReachALaterReader) {
  const auto line = Native().CreateTerminalLine(Name("port1"));
  std::size_t sent = 0;
  for (int i = 0; i < 100; ++i) sent += line->Write(std::string(1000, 'x'));
  EXPECT_LT(sent, 100'000U);
  const auto port = NewPort(1);
  port->PortOpen(true);
  std::string received;
  const auto subscription = port->Receive.Subscribe([&] {
    while (const auto c = port->Input()) received += *c;
  });
  ASSERT_EQ(line->Write("fresh"), 5U);
  ASSERT_TRUE(Becomes([&] { return received.ends_with("fresh"); }));
  EXPECT_EQ(received, "fresh");
}

}  // namespace
}  // namespace tarn
