// The settings file that people edit, files that are replaced, locales of the environment.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <optional>

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

class PosixStoreTest : public PosixTest {
 protected:
  PosixSettingsStore store{Name("settings.ini")};
};

TEST_F(PosixStoreTest, KeepsWhatItDoesNotKnow) {
  Write(Name("settings.ini"),
        "; by hand\r\n"
        "\r\n"
        "[Settings]\r\n"
        "  lastfile = old one \r\n"
        "#LogFile=commented out\r\n"
        "no assignment\r\n"
        "\r\n"
        "[Other]\n"
        "LastFile=theirs");
  EXPECT_EQ(store.Get("Settings", "LastFile"), "old one");
  EXPECT_EQ(store.Get("Settings", "LogFile"), std::nullopt);
  store.Set("Settings", "LastFile", "new");
  store.Set("Settings", "LogFile", "a.log");
  store.Set("Third", "Key", "v");
  EXPECT_EQ(Content(Name("settings.ini")),
            "; by hand\r\n"
            "\r\n"
            "[Settings]\r\n"
            "LastFile=new\n"
            "#LogFile=commented out\r\n"
            "no assignment\r\n"
            "LogFile=a.log\n"
            "\r\n"
            "[Other]\n"
            "LastFile=theirs\n"
            "\n"
            "[Third]\n"
            "Key=v\n");
}

TEST_F(PosixStoreTest, SeesAndKeepsWhatAnotherProgramWroteMeanwhile) {
  PosixSettingsStore other(Name("settings.ini"));
  store.Set("Settings", "A", "1");
  other.Set("Settings", "B", "2");
  store.Set("Settings", "A", "3");
  EXPECT_EQ(other.Get("Settings", "A"), "3");
  EXPECT_EQ(store.Get("Settings", "B"), "2");
}

TEST_F(PosixStoreTest, RefusesWhatIsTooBigOrWouldNotReadBack) {
  EXPECT_EQ(ErrorOf([&] { store.Set("S", "Key", std::string(70'000, 'x')); }), 57);
  EXPECT_EQ(ErrorOf([&] { store.Set("S", "a=b", "x"); }), 57);
  EXPECT_EQ(ErrorOf([&] { store.Set("S]", "Key", "x"); }), 57);
  EXPECT_FALSE(fs::exists(Name("settings.ini")));
  const std::string lines[] = {std::string(70'000, 'x'), std::string(1U << 20U, '\n') + "x"};
  for (const std::string& content : lines) {
    Write(Name("settings.ini"), content);
    EXPECT_EQ(ErrorOf([&] { store.Get("S", "Key"); }), 57);
    EXPECT_EQ(ErrorOf([&] { store.Set("S", "Key", "x"); }), 57);
    EXPECT_EQ(Content(Name("settings.ini")), content);
  }
}

TEST_F(PosixStoreTest, AFolderThatCannotBeMadeIsAnError) {
  Write(Name("file"), "");
  PosixSettingsStore below(Name("file/settings.ini"));
  EXPECT_EQ(below.Get("S", "Key"), std::nullopt);
  EXPECT_EQ(ErrorOf([&] { below.Set("S", "Key", "x"); }), 57);
}

class PosixFilesTest : public PosixTest {
 protected:
  PosixLocale locale;
  PosixFiles files{locale};
};

TEST_F(PosixFilesTest, AReplacedFileKeepsItsModeAndALinkToItStays) {
  Write(Name("file"), "0123456789");
  fs::permissions(Name("file"), fs::perms(0640));
  fs::create_symlink("file", Name("link"));
  files.WriteAtBeginning(Name("link"), "abc");
  EXPECT_TRUE(fs::is_symlink(Name("link")));
  EXPECT_EQ(Content(Name("file")), "abc3456789");
  EXPECT_EQ(fs::status(Name("file")).permissions(), fs::perms(0640));

  fs::create_symlink(Name("later"), Name("dangling"));
  files.WriteAtBeginning(Name("dangling"), "abc");
  EXPECT_EQ(Content(Name("later")), "abc");
  EXPECT_EQ(FilesInFolder(), 4U) << "nothing else is left behind";
}

TEST_F(PosixFilesTest, WhatCannotBeReplacedStaysAsItWas) {
  fs::create_symlink(Name("loop"), Name("loop"));
  ASSERT_EQ(::mkfifo(Name("fifo").c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(Name("loop"), "x"); }), 75);
  EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(Name("fifo"), "x"); }), 75);
  EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning("/dev/null", "x"); }), 75);
  EXPECT_TRUE(fs::is_fifo(Name("fifo")));
  EXPECT_EQ(FilesInFolder(), 2U);
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
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
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
  const auto writeLines = [&](char mark, int count) {
    int refused = 0;
    for (int i = 0; i < count; ++i) {
      const std::string line(90, mark);
      const int error = ErrorOf([&] { stream->WriteLine(line); });
      if (error == 0)
        taken += line + "\r\n";
      else
        ++refused;
    }
    return refused;
  };
  EXPECT_EQ(writeLines('a', 100), 0);
  {
    const FileSizeLimit limit(10'000);
    EXPECT_GT(writeLines('b', 300), 100);
  }
  EXPECT_EQ(writeLines('c', 100), 0);
  stream->Close();
  EXPECT_EQ(Content(Name("log")), taken);
}

TEST_F(PosixFilesTest, AFullDiskIsError61) {
  const auto stream = files.OpenForAppending("/dev/full");
  stream->WriteLine("gathered");
  EXPECT_EQ(ErrorOf([&] { stream->Close(); }), 61);
  EXPECT_EQ(ErrorOf([&] { stream->Close(); }), 0);
}

/// Sets a variable of the environment for the time of a test.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* former = std::getenv(name)) former_ = former;
    ::setenv(name, value.c_str(), 1);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() {
    if (former_)
      ::setenv(name_, former_->c_str(), 1);
    else
      ::unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> former_;
};

class PosixLocaleTest : public PosixTest {
 protected:
  /// Builds a locale into the folder; false where this machine lacks what that takes.
  bool Build(const std::string& name, const std::string& characterSet) const {
    const std::string command =
        "localedef -c -i " + name + " -f " + characterSet + " " + Name(name) + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }
};

TEST_F(PosixLocaleTest, FollowsTheVariableOfEachCategory) {
  if (!Build("de_DE", "ISO-8859-1") || !Build("zh_CN", "GB2312")) {
    GTEST_SKIP() << "no locales can be built here";
  }
  const Variable place("LOCPATH", folder.string());
  const Variable all("LC_ALL", "");
  const Variable numbers("LC_NUMERIC", "de_DE");
  const Variable times("LC_TIME", "zh_CN");
  const PosixLocale locale;
  EXPECT_EQ(locale.DecimalSeparator(), ",");
  EXPECT_EQ(locale.GroupSeparator(), ".");
  EXPECT_THAT(locale.DateText(), HasSubstr("\u5E74"));  // the word for year, as UTF-8

  const Variable stronger("LC_ALL", "de_DE");
  EXPECT_THAT(PosixLocale().DateText(), ::testing::MatchesRegex("[0-9.]+"));
}

TEST_F(PosixLocaleTest, TheCLocaleStandsInForOneThatIsNotThere) {
  const Variable all("LC_ALL", "xx_XX.none");
  const PosixLocale locale;
  EXPECT_EQ(locale.DecimalSeparator(), ".");
  EXPECT_EQ(locale.GroupSeparator(), "");
  EXPECT_THAT(locale.TimeText(), ::testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]"));
}

}  // namespace
}  // namespace tarn
