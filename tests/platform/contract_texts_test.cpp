// The user's locale and the settings store.
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

using TextsContract = PlatformContract;
TARN_CONTRACT(TextsContract);

TEST_P(TextsContract, EveryByteSurvivesTheWayToTextAndBack) {
  const UserLocale& locale = TheHost().Locale();
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(locale.ToBytes(locale.FromBytes(bytes)), bytes);
  EXPECT_EQ(locale.FromBytes("\xE4"), "\xC3\xA4");
  EXPECT_EQ(locale.ToBytes("a\u4E2Db\U0001F600c"), "a?b?c");
  for (const char* broken :
       {"\xC3", "\x80", "\xFF", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_THAT(locale.ToBytes(broken), ::testing::MatchesRegex("\\?+")) << broken;
  }
  if (!harness->HasNetwork()) return;  // the fake code page is Latin-1
  EXPECT_EQ(locale.ToBytes("\u20AC\u0178\u2013"), "\x80\x9F\x96");
  EXPECT_EQ(locale.FromBytes("\x80\x9F\x96"), "\u20AC\u0178\u2013");
}

TEST_P(TextsContract, TheStoreKeepsValuesAcrossRestarts) {
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
  const auto store = [&]() -> SettingsStore& { return TheHost().Settings(); };
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
    harness->Restart();
  }
}

}  // namespace
}  // namespace tarn
