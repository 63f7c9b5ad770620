// The settings file that people edit, files that are replaced, locales of the environment.
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <tuple>

#include "platform/posix/posix_files.hpp"
#include "platform/posix/posix_locale.hpp"
#include "platform/posix/posix_settings_store.hpp"
#include "tests/platform/posix_fixture.hpp"

// The C library forgets a few bytes each time it opens a locale while LOCPATH is set.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:argz_add_sep";
}

namespace tarn {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class PosixStoreTest : public NativeTest {
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

class PosixFilesTest : public NativeTest {
 protected:
  PosixLocale locale;
  std::vector<std::string> traces;
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

/// Somebody else's file of his group, seen by a member of the group; and one that is mounted.
TEST_F(PosixFilesTest, WhatCannotTakeAFilesPlaceIsWrittenIntoItAndSaysSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs another user's files";
  constexpr uid_t kOwner = 1001;
  constexpr uid_t kMember = 1002;
  constexpr gid_t kGroup = 2000;
  const auto saveAs = [&](const std::string& name, uid_t user, const std::string& mount) {
    const Child child([&] {
      if (!mount.empty() &&
          (::unshare(CLONE_NEWNS) < 0 || ::mount("", "/", "", MS_REC | MS_PRIVATE, "") < 0 ||
           ::mount(mount.c_str(), mount.c_str(), "", MS_BIND, "") < 0)) {
        throw std::runtime_error("no mount");
      }
      const bool isUser =
          user == 0 || (::setgroups(0, nullptr) == 0 && ::setresgid(kGroup, kGroup, kGroup) == 0 &&
                        ::setresuid(user, user, user) == 0);
      files.WriteAtBeginning(name, "new");
      if (!isUser || (user == kOwner) != traces.empty()) throw std::runtime_error("no trace");
    });
    return child.Status();
  };
  fs::permissions(folder, fs::perms(0777));
  fs::create_directory(Name("closed"));
  for (const std::string& file : {Name("file"), Name("closed/file")}) {
    Write(file, "former");
    ASSERT_EQ(::chown(file.c_str(), kOwner, kGroup), 0);
    fs::permissions(file, fs::perms(0660));
  }
  EXPECT_EQ(saveAs(Name("file"), kOwner, ""), 0);
  EXPECT_EQ(saveAs(Name("file"), kMember, ""), 0);
  EXPECT_EQ(saveAs(Name("closed/file"), kMember, ""), 0);
  if (saveAs(Name("file"), 0, Name("file")) != 0) {
    GTEST_LOG_(INFO) << "nothing can be mounted here";
  }
  for (const std::string& file : {Name("file"), Name("closed/file")}) {
    struct stat state {};
    ASSERT_EQ(::stat(file.c_str(), &state), 0);
    EXPECT_EQ(std::make_tuple(state.st_uid, state.st_gid, state.st_mode & 07777U),
              std::make_tuple(kOwner, kGroup, 0660U));
    EXPECT_EQ(Content(file), "newmer");
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
    if (i == 100) limit.emplace(10'000);
    if (i == 400) limit.reset();
    const std::string line(90, static_cast<char>('a' + i % 26));
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

class PosixLocaleTest : public NativeTest {
 protected:
  ~PosixLocaleTest() override {
    for (const char* name : {"LOCPATH", "LC_ALL", "LC_NUMERIC", "LC_TIME"}) ::unsetenv(name);
  }
  static void Variable(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1);
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
  Variable("LOCPATH", folder.string());
  Variable("LC_ALL", "");
  Variable("LC_NUMERIC", "de_DE");
  Variable("LC_TIME", "zh_CN");
  const PosixLocale locale;
  EXPECT_EQ(locale.DecimalSeparator(), ",");
  EXPECT_EQ(locale.GroupSeparator(), ".");
  EXPECT_THAT(locale.DateText(), HasSubstr("\u5E74"));  // the word for year, as UTF-8
  Variable("LC_ALL", "de_DE");
  EXPECT_THAT(PosixLocale().DateText(), ::testing::MatchesRegex("[0-9.]+"));
}

TEST_F(PosixLocaleTest, TheCLocaleStandsInForOneThatIsNotThere) {
  Variable("LC_ALL", "xx_XX.none");
  const PosixLocale locale;
  EXPECT_EQ(locale.DecimalSeparator(), ".");
  EXPECT_EQ(locale.GroupSeparator(), "");
  EXPECT_THAT(locale.TimeText(), ::testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

}  // namespace
}  // namespace tarn
