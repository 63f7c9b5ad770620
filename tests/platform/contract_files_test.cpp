// Files by name, the user's locale, the settings store, and what the trace lets pass.
#include "platform/trace_filter.hpp"
#include "tests/platform/platform_fixture.hpp"

namespace tarn {
namespace {

using ::testing::ElementsAre;

constexpr std::size_t kAll = 1U << 20U;

class FilesContract : public PlatformTest {
 protected:
  Files& files = host->Files();
};

TEST_F(FilesContract, AppendsLinesInTheCodePage) {
  const std::string name = Name("log.txt");
  auto stream = files.OpenForAppending(name);
  stream->WriteLine("Gr\u00FC\u00DFe");
  stream->WriteLine("no \u4E2D here");
  stream->Close();
  stream->Close();
  EXPECT_EQ(ErrorOf([&] { stream->WriteLine("late"); }), 91);
  files.OpenForAppending(name)->WriteLine("next");  // closed by its end
  EXPECT_EQ(files.Read(name, kAll), "Gr\xFC\xDF\x65\r\nno ? here\r\nnext\r\n");
}

TEST_F(FilesContract, WritesAtTheBeginningAndKeepsALongerOldTail) {
  const std::string name = Name("file");
  const std::string longTail(300'000, 'z');
  files.WriteAtBeginning(name, "0123456789" + longTail);
  files.WriteAtBeginning(name, "abc");
  EXPECT_EQ(files.Read(name, kAll), "abc3456789" + longTail);
  EXPECT_EQ(files.Read(name, 4), "abc3");
  files.WriteAtBeginning(name, std::string(300'020, 'n'));
  files.WriteAtBeginning(name, "");
  EXPECT_EQ(files.Read(name, kAll), std::string(300'020, 'n'));
}

TEST_F(FilesContract, AFolderIsNoFileAndAMissingFileIsToldApart) {
  for (const std::string& unusable : {folder.string(), Name("missing/file")}) {
    EXPECT_EQ(ErrorOf([&] { files.OpenForAppending(unusable); }), 75) << unusable;
    EXPECT_EQ(ErrorOf([&] { files.WriteAtBeginning(unusable, "x"); }), 75) << unusable;
  }
  for (const char* missing : {"none", "missing/file"}) {
    EXPECT_EQ(ErrorOf([&] { files.Read(Name(missing), 4); }), 53) << missing;
  }
}

TEST_F(FilesContract, AbsoluteNamesMeanTheSameFile) {
  const std::string absolute = files.AbsoluteName(Name("file"));
  files.WriteAtBeginning(Name("file"), "x");
  EXPECT_EQ(files.Read(absolute, kAll), "x");
  EXPECT_EQ(files.AbsoluteName(absolute), absolute);
  EXPECT_NE(files.AbsoluteName("a.scl"), "a.scl");
}

using TextsContract = PlatformTest;

TEST_F(TextsContract, EveryByteSurvivesTheWayToTextAndBack) {
  const UserLocale& locale = host->Locale();
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(locale.ToBytes(locale.FromBytes(bytes)), bytes);
  EXPECT_EQ(locale.FromBytes("\xE4"), "\xC3\xA4");
  EXPECT_EQ(locale.ToBytes("a\u4E2Db\U0001F600c"), "a?b?c");
  for (const char* broken :
       {"\xC3", "\x80", "\xFF", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_THAT(locale.ToBytes(broken), ::testing::MatchesRegex("\\?+")) << broken;
  }
  EXPECT_EQ(locale.FromBytes("\x80\x9F\x96"), "\u20AC\u0178\u2013");
}

TEST_F(TextsContract, TheStoreKeepsValuesAcrossRestarts) {
  const std::string values[] = {"",
                                " ends ",
                                "\t\"C:\\new\"\t",
                                "\"quoted\"",
                                "\"",
                                "C:\\dir\\n a\"b\\",
                                "cr\rlf\r\n\n",
                                "[Settings]",
                                "; a=b;c#d",
                                "Gr\u00F6\u00DFe \u20AC",
                                std::string(3000, 't')};
  const auto keyOf = [&](const std::string& value) {
    return "Key" + std::to_string(&value - values);
  };
  const auto store = [&]() -> SettingsStore& { return host->Settings(); };
  for (const std::string& value : values) store().Set("Settings", keyOf(value), value);
  store().Set("Other", "Key0", "b");
  store().Set("OTHER", "key0", "c");
  for (int round = 0; round < 2; ++round) {
    for (const std::string& value : values) {
      EXPECT_EQ(store().Get("settings", keyOf(value)), value);
    }
    EXPECT_EQ(store().Get("Other", "KEY0"), "c");
    EXPECT_EQ(store().Get("Other", "LogFile"), std::nullopt);
    EXPECT_EQ(store().Get("None", "Key0"), std::nullopt);
    Restart();
  }
}

class TraceFilterTest : public ::testing::Test {
 protected:
  std::vector<std::string> traces;
  TraceFilter filter{[this](std::string_view text) { traces.emplace_back(text); }};
};

TEST_F(TraceFilterTest, AFaultThatRepeatsShowsOnceAndAgainAfterAWhile) {
  for (int reading = 0; reading < 1000; ++reading) filter("the disk is full", reading * 100.0);
  filter("no\r\nforged \x1b[2J\xC2\x9Bline", 5000);
  EXPECT_THAT(traces, ElementsAre("the disk is full", "no??forged ?[2J?line"));
  for (int i = 1; i < 3; ++i) filter("the disk is full", TraceFilter::kQuietTime + i);
  EXPECT_EQ(traces.size(), 3U);
  for (int i = 0; i < 2; ++i) filter.News("the port is back", TraceFilter::kQuietTime + 3);
  EXPECT_EQ(traces.size(), 5U);
}

TEST_F(TraceFilterTest, TextsThatDifferAreBoundedByTheMinuteAndInMemory) {
  for (int length = 0; length < 6000; ++length) filter(std::to_string(length), length);
  EXPECT_EQ(traces.size(), static_cast<std::size_t>(TraceFilter::kLinesPerMinute));
  traces.clear();
  filter(std::string(100'000, 'x'), 60'000);
  filter("0", 60'001);
  EXPECT_THAT(traces, ElementsAre("5900 lines were left out here, there were too many in a minute",
                                  std::string(TraceFilter::kLongestText, 'x')));
  for (int i = 0; i < 300; ++i) filter("other " + std::to_string(i), 200'000.0 + i * 1000);
  filter("0", 600'000);
  EXPECT_EQ(traces.back(), "0") << "forgotten when the table was full";
}

}  // namespace
}  // namespace tarn
