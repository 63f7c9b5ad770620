// The console: a terminal's keys, signals, the ends of input and output.
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "platform/posix/posix_keys.hpp"
#include "platform/standard_error.hpp"
#include "tests/platform/posix_fixture.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;

/// Puts another file in a standard descriptor's place for the time of a test.
class Redirected {
 public:
  Redirected(int standard, int fd) : standard_(standard), former_(::dup(standard)) {
    ::dup2(fd, standard);
  }
  ~Redirected() { ::dup2(former_.Get(), standard_); }

 private:
  int standard_;
  OwnedFd former_;
};

using PosixConsoleTest = NativeTest;

/// A user's terminal, with what it shows.
class PosixTerminalTest : public NativeTest {
 protected:
  PosixTerminalTest() {
    ::tcgetattr(terminal.Get(), &cooked);
    cooked.c_lflag |= ICANON | ECHO | ISIG;
    cooked.c_iflag |= IXON;
    ::tcsetattr(terminal.Get(), TCSADRAIN, &cooked);
  }
  void ExpectAsItWas() const {
    termios after{};
    ::tcgetattr(terminal.Get(), &after);
    EXPECT_EQ(after.c_lflag, cooked.c_lflag);
    EXPECT_EQ(after.c_iflag, cooked.c_iflag);
    EXPECT_EQ(after.c_cc[VSUSP], cooked.c_cc[VSUSP]);
  }

  std::unique_ptr<TerminalLine> line = Native().CreateTerminalLine(Name("port1"));
  OwnedFd terminal{::open(Name("port1").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
  termios cooked{};
  std::string shown;
  Subscription showing = line->Received.Subscribe([this](std::string_view b) { shown += b; });
};

TEST_F(PosixTerminalTest, ItsKeysArriveUnseenAndItIsGivenBackAsItWas) {
  {
    const Redirected input(STDIN_FILENO, terminal.Get());
    const auto console = Native().CreateConsole();
    console->ReadKeys();
    std::vector<Console::Key> keys;
    const auto subscription =
        console->KeyPressed.Subscribe([&](Console::Key key, char) { keys.push_back(key); });
    line->Write("q\x1b[B");
    ASSERT_TRUE(Becomes([&] { return keys.size() == 2; }));
    EXPECT_THAT(keys, ElementsAre(Console::Key::Character, Console::Key::Down));
  }
  EXPECT_EQ(shown, "");
  ExpectAsItWas();
}

/// While its output hangs: by LeaveNow, by Ctrl-\ and by an abort.
TEST_F(PosixTerminalTest, IsGivenBackHoweverTheProgramEnds) {
  for (const int signal : {0, SIGQUIT, SIGABRT}) {
    const Child program([&] {
      ::dup2(terminal.Get(), STDIN_FILENO);
      ::dup2(terminal.Get(), STDOUT_FILENO);
      for (const int fatal : {SIGQUIT, SIGABRT}) std::signal(fatal, SIG_DFL);
      const auto own = CreateNativeHost({});
      const auto console = own->CreateConsole();
      console->ReadKeys();
      console->GuardScreen("<leave>");
      std::thread writer([&] { console->Write(std::string(1'000'000, 'x')); });
      pollfd full{terminal.Get(), POLLOUT, 0};
      while (::poll(&full, 1, 0) > 0) ::poll(nullptr, 0, 1);
      if (signal == 0)
        console->LeaveNow();
      else
        ::raise(signal);
      writer.join();
    });
    const int status = program.Status();
    EXPECT_EQ(WIFSIGNALED(status) ? WTERMSIG(status) : status, signal);
    ASSERT_TRUE(Becomes([&] { return shown.ends_with("<leave>"); })) << signal;
    EXPECT_LT(shown.size(), 1'000'000U);
    shown.clear();
    ExpectAsItWas();
  }
}

TEST_F(PosixConsoleTest, StandardErrorThatNobodyReadsHoldsUpNobody) {
  Pipe pipe;
  const Redirected error(STDERR_FILENO, pipe.write.Get());
  StandardError errors;
  for (int i = 0; i < 5000; ++i) errors.WriteLine(std::string(99, 'x'));
  std::string read;
  std::string block(4096, '\0');
  while (!read.ends_with("last\n")) {
    const auto count = ::read(pipe.read.Get(), block.data(), block.size());
    if (count > 0) read.append(block, 0, static_cast<std::size_t>(count));
    if (count <= 0 && read.find("last") == read.npos) errors.WriteLine("last");
  }
  EXPECT_NE(read.find(" lines were dropped here\n"), read.npos);
}

TEST_F(PosixConsoleTest, AnnouncesALostReaderOnceAndFromTheLoop) {
  Pipe pipe;
  int interrupted = 0;
  const auto console = Native().CreateConsole();
  const auto subscription = console->Interrupted.Subscribe([&] { ++interrupted; });
  {
    const Redirected output(STDOUT_FILENO, pipe.write.Get());
    pipe.write.Reset();
    console->Write("hello");
    pipe.read.Reset();
    console->Write("nobody");
    console->Write("nobody");
    EXPECT_EQ(interrupted, 0);
  }
  EXPECT_TRUE(Becomes([&] { return interrupted > 0; }));
  EXPECT_FALSE(Loop().RunUntil([&] { return interrupted > 1; }, 20));
}

TEST_F(PosixConsoleTest, AnnouncesSignalsButForOneThatWasIgnored) {
  for (const bool ignored : {false, true}) {
    const auto former = std::signal(SIGHUP, ignored ? SIG_IGN : SIG_DFL);
    int interrupted = 0;
    const auto console = Native().CreateConsole();
    const auto subscription = console->Interrupted.Subscribe([&] { ++interrupted; });
    for (const int signal : {SIGHUP, SIGTERM}) ::raise(signal);
    const int expected = ignored ? 1 : 2;
    EXPECT_TRUE(Becomes([&] { return interrupted == expected; }));
    EXPECT_FALSE(Loop().RunUntil([&] { return interrupted > expected; }, 20));
    std::signal(SIGHUP, former);
  }
}

TEST(PosixKeys, SequencesAreKeys) {
  using Key = Console::Key;
  const struct {
    std::string_view bytes;
    std::string keys;
  } cases[] = {
      {"aZ ", "aZ "},
      {"\x1b[A\x1bOB", "UD"},
      {"\x1b[5~\x1b[6~", "<>"},
      {"\x1b[H\x1b[1~x", "HHx"},
      {"\x1b[F\x1b[4~", "EE"},
      {"\r\n", "nn"},
      {"\x1b", "!"},
      {"\x1b\x1b[A", "!U"},
      {"\x7f\b", "bb"},
      {"\x1b[1;5Cq", "q"},
      {"\x1b[2", ""},
      {"\x01\t\xC3\xA4z", "z"},
  };
  for (const auto& c : cases) {
    std::string told;
    ForEachKey(c.bytes, [&](Key key, char character) {
      constexpr std::string_view kMarks = "?UD<>HEn!b";
      EXPECT_EQ(character != 0, key == Key::Character);
      told += key == Key::Character ? character : kMarks[static_cast<std::size_t>(key)];
    });
    EXPECT_EQ(told, c.keys) << ::testing::PrintToString(c.bytes);
  }
}

}  // namespace
}  // namespace tarn
