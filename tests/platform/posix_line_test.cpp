// Descriptors in the loop, and lines at a place.
#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <array>

#include "platform/posix/posix_message_loop.hpp"
#include "tests/platform/posix_fixture.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class PosixLoopTest : public PosixTest {
 protected:
  struct Pipe {
    Pipe() {
      std::array<int, 2> ends{};
      if (::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) == 0) {
        read.Reset(ends[0]);
        write.Reset(ends[1]);
      }
    }
    void Put() const { ASSERT_EQ(::write(write.Get(), "x", 1), 1); }
    void Take() const {
      char c = 0;
      [[maybe_unused]] const auto taken = ::read(read.Get(), &c, 1);
    }
    OwnedFd read, write;
  };

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
    ++calls;
    outer.Take();
    inner.Put();
    loop.RunUntil([&] { return !outer.read; }, 30000);
  });
  outer.Put();
  ASSERT_TRUE(loop.RunUntil([&] { return !outer.read; }, 30000));
  EXPECT_EQ(calls, 1);
}

TEST_F(PosixLineTest, APortThatIsNoneIsRefused) {
  Write(Name("file"), "");
  constexpr std::int16_t kNone[] = {2, 3, 9999};
  for (const std::int16_t number : kNone) {
    EXPECT_EQ(ErrorOf([&] { MakePort(number)->PortOpen(true); }), 8002) << number;
  }
}

TEST_F(PosixLineTest, SettingsThatTheSystemCannotDoAreRefused) {
  const auto line = host->CreateTerminalLine(Name("line"));
  const auto port = MakePort(1);
  for (const char* settings : {"9600,n,4,1", "9601,n,8,1", "1000000,n,8,1"}) {
    port->Settings(settings);
    EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 380) << settings;
  }
  for (const char* settings : {"110,e,7,2", "921600,m,8,1", "300,s,7,1", "9600,o,5,1.5"}) {
    port->Settings(settings);
    EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 0) << settings;
    port->PortOpen(false);
    EXPECT_EQ(ErrorOf([&] { port->PortOpen(true); }), 0) << settings << " a second time";
    port->PortOpen(false);
  }
}

TEST_F(PosixLineTest, ADeviceInUseElsewhereOrByAnotherNameIsRefused) {
  const auto line = host->CreateTerminalLine(Name("line"));
  const auto other = MakeHost();
  fs::create_symlink(Name("line"), Name("other-name"));
  const auto port = MakePort(1);
  port->PortOpen(true);
  EXPECT_EQ(ErrorOf([&] { MakePort(4)->PortOpen(true); }), 8005);
  const auto elsewhere = other->CreateSerialPort();
  EXPECT_EQ(ErrorOf([&] { elsewhere->PortOpen(true); }), 8005);
  port->PortOpen(false);
  elsewhere->PortOpen(true);
  EXPECT_EQ(elsewhere->DeviceName(), Name("line"));
}

TEST_F(PosixLineTest, ALineThatGoesAwayIsTracedOnce) {
  const auto line = host->CreateTerminalLine(Name("line"));
  const auto port = MakePort(1);
  for (int round = 0; round < 2; ++round) {
    port->PortOpen(true);
    line->Detach();
    ASSERT_TRUE(host->Loop().RunUntil([&] { return !port->PortOpen(); }, 30000));
    EXPECT_FALSE(fs::is_symlink(Name("line")));
    line->Attach();
  }
  EXPECT_THAT(traces, ElementsAre("the port " + Name("line") + " went away"));
}

TEST_F(PosixLineTest, APlaceIsTakenOnlyFromALineThatWasLeftBehind) {
  Write(Name("file"), "precious");
  fs::create_symlink(Name("file"), Name("link"));
  for (const char* taken : {"file", "link", "no-folder/line"}) {
    EXPECT_EQ(ErrorOf([&] { host->CreateTerminalLine(Name(taken)); }), 75) << taken;
  }
  EXPECT_EQ(Content(Name("link")), "precious");

  fs::create_symlink(Name("nothing"), Name("line"));
  auto line = host->CreateTerminalLine(Name("line"));
  const auto port = MakePort(1);
  port->PortOpen(true);
  EXPECT_EQ(ErrorOf([&] { host->CreateTerminalLine(Name("line")); }), 75) << "it lives";
  fs::copy_symlink(Name("line"), Name("left-behind"));
  line.reset();
  EXPECT_FALSE(fs::is_symlink(Name("line")));
  line = host->CreateTerminalLine(Name("left-behind"));
  fs::remove(Name("left-behind"));
  Write(Name("left-behind"), "put here meanwhile");
  line.reset();
  EXPECT_EQ(Content(Name("left-behind")), "put here meanwhile");
}

// A line's number may be given to a terminal of somebody else once the line is gone.
TEST_F(PosixLineTest, ALinkToATerminalThatIsNoLineIsReplaced) {
  const OwnedFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::grantpt(master.Get()) + ::unlockpt(master.Get()), 0);
  const std::string terminal = ::ptsname(master.Get());
  fs::create_symlink(terminal, Name("line"));
  const auto line = host->CreateTerminalLine(Name("line"));
  EXPECT_NE(fs::read_symlink(Name("line")), terminal);
}

TEST_F(PosixLineTest, WhatNobodyReadsIsDroppedAndDoesNotReachALaterReader) {
  const auto line = host->CreateTerminalLine(Name("line"));
  std::size_t sent = 0;
  for (int i = 0; i < 100; ++i) sent += line->Write(std::string(1000, 'x'));
  EXPECT_LT(sent, 100'000U);
  const auto port = MakePort(1);
  port->PortOpen(true);
  std::string received;
  const auto subscription = port->Receive.Subscribe([&] {
    while (const auto c = port->Input()) received += *c;
  });
  ASSERT_EQ(line->Write("fresh"), 5U);
  ASSERT_TRUE(host->Loop().RunUntil([&] { return received.ends_with("fresh"); }, 30000));
  EXPECT_EQ(received, "fresh");
}

}  // namespace
}  // namespace tarn
