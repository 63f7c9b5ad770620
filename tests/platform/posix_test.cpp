// What only POSIX systems have: descriptors in the loop and lines at a place, the console's
// terminal and signals, the settings file that people edit, files that are replaced, locales.
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "platform/posix/posix_files.hpp"
#include "platform/posix/posix_keys.hpp"
#include "platform/posix/posix_locale.hpp"
#include "platform/posix/posix_message_loop.hpp"
#include "platform/posix/posix_settings_store.hpp"
#include "platform/posix/posix_support.hpp"
#include "platform/standard_error.hpp"
#include "tests/platform/platform_fixture.hpp"

// The C library forgets a few bytes each time it opens a locale while LOCPATH is set.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep";
}

namespace tarn {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// A descriptor that a test makes ready.
struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) < 0) return;
    read.Reset(ends[0]);
    write.Reset(ends[1]);
  }
  void Put() const { ASSERT_EQ(::write(write.Get(), "x", 1), 1); }
  void Take() const {
    char c = 0;
    [[maybe_unused]] const auto taken = ::read(read.Get(), &c, 1);
  }
  OwnedFd read, write;
};

/// Another process. It ends with status 0, or with 1 where its work throws.
class Child {
 public:
  explicit Child(const std::function<void()>& work) : number_(::fork()) {
    if (number_ != 0) return;
    try {
      work();
      ::_exit(0);
    } catch (...) {
      ::_exit(1);
    }
  }
  /// As waitpid has it.
  int Status() const {
    int status = -1;
    ::waitpid(number_, &status, 0);
    return status;
  }

 private:
  pid_t number_;
};

class PosixLoopTest : public PlatformTest {
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

using PosixLineTest = PlatformTest;

TEST_F(PosixLineTest, PortsAndSettingsThatTheSystemDoesNotHaveAreRefused) {
  const auto line = host->CreateTerminalLine(Name("port1"));
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
  const auto line = host->CreateTerminalLine(Name("port1"));
  const auto other = NewHost();
  const auto port = NewPort(1);
  port->PortOpen(true);
  const auto elsewhere = other->CreateSerialPort();
  elsewhere->PortNumber(1);
  EXPECT_EQ(ErrorOf([&] { elsewhere->PortOpen(true); }), 8005);
  port->PortOpen(false);
  elsewhere->PortOpen(true);
}

TEST_F(PosixLineTest, APlaceIsTakenOnlyFromALineThatWasLeftBehind) {
  Write(Name("file"), "precious");
  fs::create_symlink(Name("file"), Name("link"));
  auto line = host->CreateTerminalLine(Name("port1"));
  const auto port = NewPort(1);
  port->PortOpen(true);
  for (const char* taken : {"file", "link", "no-folder/line", "port1"}) {
    EXPECT_EQ(ErrorOf([&] { host->CreateTerminalLine(Name(taken)); }), 75) << taken;
  }
  EXPECT_EQ(Content(Name("link")), "precious");

  // A line's number may be given to a terminal of somebody else, or to another line,
  // once the line is gone.
  const OwnedFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(::grantpt(master.Get()) + ::unlockpt(master.Get()), 0);
  const auto another = host->CreateTerminalLine(Name("another"));
  for (const std::string& left : {Name("nothing"), std::string(::ptsname(master.Get())),
                                  fs::read_symlink(Name("another")).string()}) {
    const std::string place = Name("left-behind");
    fs::create_symlink(left, place);
    line = host->CreateTerminalLine(place);
    EXPECT_NE(fs::read_symlink(place), left);
    fs::remove(place);
    Write(place, "put here meanwhile");
    line.reset();
    EXPECT_EQ(Content(place), "put here meanwhile");
    fs::remove(place);
  }
}

TEST_F(PosixLineTest, WhatNobodyReadsIsDroppedAndDoesNotReachALaterReader) {
  const auto line = host->CreateTerminalLine(Name("port1"));
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

using PosixConsoleTest = PlatformTest;

/// A user's terminal, with what it shows.
class PosixTerminalTest : public PlatformTest {
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

  std::unique_ptr<TerminalLine> line = host->CreateTerminalLine(Name("port1"));
  OwnedFd terminal{::open(Name("port1").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
  termios cooked{};
  std::string shown;
  Subscription showing = line->Received.Subscribe([this](std::string_view b) { shown += b; });
};

TEST_F(PosixTerminalTest, ItsKeysArriveUnseenAndItIsGivenBackAsItWas) {
  {
    const Redirected input(STDIN_FILENO, terminal.Get());
    const auto console = host->CreateConsole();
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

TEST_F(PosixConsoleTest, AnnouncesSignalsButForOneThatWasIgnored) {
  for (const bool ignored : {false, true}) {
    const auto former = std::signal(SIGHUP, ignored ? SIG_IGN : SIG_DFL);
    int interrupted = 0;
    const auto console = host->CreateConsole();
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

class PosixStoreTest : public PlatformTest {
 protected:
  const std::string place = Name("settings.ini");
  PosixSettingsStore store{place, [](std::string_view) {}};
};

TEST_F(PosixStoreTest, KeepsWhatItDoesNotKnow) {
  Write(place,
        "; by hand\r\n\r\n[Settings]\r\n  lastfile = old one \r\n#LogFile=commented out\r\n"
        "no assignment\r\n\r\n[Other]\nLastFile=theirs");
  EXPECT_EQ(store.Get("Settings", "LastFile"), "old one");
  EXPECT_EQ(store.Get("Settings", "LogFile"), std::nullopt);
  store.Set("Settings", "LastFile", "new");
  store.Set("Settings", "LogFile", "a.log");
  store.Set("Third", "Key", "v");
  EXPECT_EQ(Content(place),
            "; by hand\r\n\r\n[Settings]\r\nLastFile=new\n#LogFile=commented out\r\n"
            "no assignment\r\nLogFile=a.log\n\r\n[Other]\nLastFile=theirs\n\n[Third]\nKey=v\n");
}

TEST_F(PosixStoreTest, KeepsWhatAnotherProcessWritesAtTheSameMoment) {
  constexpr int kKeys = 50;
  const auto write = [this](const std::string& who) {
    PosixSettingsStore mine(place, {});
    for (int i = 0; i < kKeys; ++i) mine.Set("Settings", who + std::to_string(i), who);
  };
  const Child other([&] { write("B"); });
  write("A");
  EXPECT_EQ(other.Status(), 0);
  for (int i = 0; i < kKeys; ++i) {
    for (const char* who : {"A", "B"}) {
      EXPECT_EQ(store.Get("Settings", who + std::to_string(i)), who) << i;
    }
  }
}

TEST_F(PosixStoreTest, DoesNotWaitForEverForAnotherProcess) {
  const OwnedFd held(::open((place + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  struct flock lock {};
  lock.l_type = F_WRLCK;
  ASSERT_EQ(::fcntl(held.Get(), F_OFD_SETLK, &lock), 0);
  PosixSettingsStore impatient(place, {}, std::chrono::milliseconds(0));
  EXPECT_EQ(ErrorOf([&] { impatient.Set("S", "Key", "x"); }), 70);
}

TEST_F(PosixStoreTest, RefusesWhatIsTooBigOrWouldNotReadBack) {
  EXPECT_EQ(ErrorOf([&] { store.Set("S", "Key", std::string(70'000, 'x')); }), 57);
  EXPECT_EQ(ErrorOf([&] { store.Set("S", "a=b", "x"); }), 57);
  EXPECT_EQ(ErrorOf([&] { store.Set("S]", "Key", "x"); }), 57);
  EXPECT_FALSE(fs::exists(place));
  for (const std::string& content :
       {std::string(70'000, 'x'), std::string(1U << 20U, '\n') + "x"}) {
    Write(place, content);
    EXPECT_EQ(ErrorOf([&] { store.Get("S", "Key"); }), 57);
    EXPECT_EQ(ErrorOf([&] { store.Set("S", "Key", "x"); }), 57);
    EXPECT_EQ(Content(place), content);
  }
  PosixSettingsStore below(Name("settings.ini/below"), {});  // no folder can be made there
  EXPECT_EQ(below.Get("S", "Key"), std::nullopt);
  EXPECT_EQ(ErrorOf([&] { below.Set("S", "Key", "x"); }), 57);
}

class PosixFilesTest : public PlatformTest {
 protected:
  PosixLocale locale;
  PosixFiles files{locale, [this](std::string_view text) { traces.emplace_back(text); }};
};

TEST_F(PosixFilesTest, AReplacedFileKeepsItsModeAndALinkToItStays) {
  Write(Name("file"), "0123456789");
  fs::permissions(Name("file"), fs::perms(0640));
  fs::create_symlink("file", Name("link"));
  fs::create_symlink(Name("later"), Name("dangling"));
  for (const char* link : {"link", "dangling"}) files.WriteAtBeginning(Name(link), "abc");
  EXPECT_TRUE(fs::is_symlink(Name("link")));
  EXPECT_EQ(Content(Name("file")), "abc3456789");
  EXPECT_EQ(fs::status(Name("file")).permissions(), fs::perms(0640));
  EXPECT_EQ(Content(Name("later")), "abc");
  EXPECT_EQ(FilesInFolder(), 4U) << "nothing else is left behind";
  EXPECT_THAT(traces, ::testing::IsEmpty());
}

TEST_F(PosixFilesTest, WhatCannotBeReplacedStaysAsItWas) {
  fs::create_symlink(Name("loop"), Name("loop"));
  ASSERT_EQ(::mkfifo(Name("fifo").c_str(), 0600), 0);
  for (const std::string& name : {Name("loop"), Name("fifo"), std::string("/dev/null")}) {
    EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(name, "x"); }), 75) << name;
    EXPECT_EQ(ErrorOf([&] { files.Read(name, 1); }), 57) << name;
  }
  EXPECT_EQ(ErrorOf([&] { files.OpenForAppending(Name("fifo")); }), 75) << "nobody reads it";
  EXPECT_TRUE(fs::is_fifo(Name("fifo")));
  EXPECT_EQ(FilesInFolder(), 2U);
}

/// Somebody else's file of his group, written by its owner and by a member of the group.
TEST_F(PosixFilesTest, WhatCannotTakeAFilesPlaceIsWrittenIntoItAndSaysSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs another user's files";
  constexpr uid_t kOwner = 1001;
  constexpr uid_t kMember = 1002;
  constexpr gid_t kGroup = 2000;
  fs::permissions(folder, fs::perms(0777));
  fs::create_directory(Name("closed"));
  const std::pair<const char*, uid_t> writers[] = {
      {"file", kOwner}, {"file", kMember}, {"closed/file", kMember}};
  for (const auto& writer : writers) {
    const auto& file = writer.first;
    const auto user = writer.second;
    const std::string name = Name(file);
    Write(name, "former");
    ASSERT_EQ(::chown(name.c_str(), kOwner, kGroup), 0);
    fs::permissions(name, fs::perms(0660));
    const Child child([&] {
      const bool isUser = ::setgroups(0, nullptr) == 0 &&
                          ::setresgid(kGroup, kGroup, kGroup) == 0 &&
                          ::setresuid(user, user, user) == 0;
      files.WriteAtBeginning(name, "new");
      if (!isUser || (user == kOwner) != traces.empty()) throw std::runtime_error("no trace");
    });
    EXPECT_EQ(child.Status(), 0) << file;
    struct stat state {};
    ASSERT_EQ(::stat(name.c_str(), &state), 0);
    EXPECT_EQ(std::make_tuple(state.st_uid, state.st_gid, state.st_mode & 07777U),
              std::make_tuple(kOwner, kGroup, 0660U));
    EXPECT_EQ(Content(name), "newmer");
  }
  EXPECT_EQ(FilesInFolder(), 2U) << "nothing else is left behind";
}

/// Lets no file grow beyond a size; stands in for a disk that is full half way.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    ::getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit limit{bytes, former_.rlim_max};
    formerHandler_ = std::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &former_);
    std::signal(SIGXFSZ, formerHandler_);
  }

 private:
  rlimit former_{};
  void (*formerHandler_)(int) = nullptr;
};

TEST_F(PosixFilesTest, AWriteThatFailsHalfWayLeavesTheOldFileAlone) {
  Write(Name("file"), "old" + std::string(6000, 'z'));
  for (const std::size_t size : {5000U, 10U}) {  // fails in the bytes, fails in the tail
    const FileSizeLimit limit(4096);
    EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(Name("file"), std::string(size, 'n')); }), 57);
  }
  EXPECT_EQ(Content(Name("file")), "old" + std::string(6000, 'z'));
  EXPECT_EQ(FilesInFolder(), 1U);
}

TEST_F(PosixFilesTest, ALogHasEveryLineThatItTookAndNoOther) {
  auto stream = files.OpenForAppending(Name("log"));
  std::string taken;
  int refused = 0;
  std::optional<FileSizeLimit> limit;
  for (int i = 0; i < 500; ++i) {
    if (i == 100) limit.emplace(30'000);
    if (i == 400) limit.reset();
    const std::string line(i == 50 ? 20'000 : 90, static_cast<char>('a' + i % 26));
    const bool took = ErrorOf([&] { stream->WriteLine(line); }) == 0;
    if (took) taken += line + "\r\n";
    refused += took ? 0 : 1;
  }
  stream->Close();
  EXPECT_GT(refused, 100);
  EXPECT_LT(refused, 300);
  EXPECT_EQ(Content(Name("log")), taken);

  stream = files.OpenForAppending("/dev/full");
  stream->WriteLine("gathered");
  EXPECT_EQ(ErrorOf([&] { stream->Close(); }), 61);
  EXPECT_EQ(ErrorOf([&] { stream->Close(); }), 0);
}

class PosixLocaleTest : public PlatformTest {
 protected:
  ~PosixLocaleTest() override {
    for (const char* name : {"LOCPATH", "LC_ALL", "LC_NUMERIC", "LC_TIME"}) ::unsetenv(name);
  }
  /// Builds a locale into the folder; false where this machine lacks what that takes.
  bool Build(const std::string& name, const std::string& characterSet) {
    const std::string command =
        "localedef -c -i " + name + " -f " + characterSet + " " + Name(name) + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }
};

TEST_F(PosixLocaleTest, FollowsTheVariableOfEachCategory) {
  if (!Build("de_DE", "ISO-8859-1") || !Build("zh_CN", "GB2312")) {
    GTEST_SKIP() << "no locales can be built here";
  }
  ::setenv("LOCPATH", folder.c_str(), 1);
  ::setenv("LC_ALL", "", 1);
  ::setenv("LC_NUMERIC", "de_DE", 1);
  ::setenv("LC_TIME", "zh_CN", 1);
  const PosixLocale locale;
  EXPECT_EQ(locale.DecimalSeparator(), ",");
  EXPECT_EQ(locale.GroupSeparator(), ".");
  EXPECT_THAT(locale.DateText(), HasSubstr("\u5E74"));  // the word for year, as UTF-8
  ::setenv("LC_ALL", "de_DE", 1);
  EXPECT_THAT(PosixLocale().DateText(), ::testing::MatchesRegex("[0-9.]+"));
}

TEST_F(PosixLocaleTest, TheCLocaleStandsInForOneThatIsNotThere) {
  ::setenv("LC_ALL", "xx_XX.none", 1);
  const PosixLocale locale;
  EXPECT_EQ(locale.DecimalSeparator(), ".");
  EXPECT_EQ(locale.GroupSeparator(), "");
  EXPECT_THAT(locale.TimeText(), ::testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

}  // namespace
}  // namespace tarn
