// The user's locale.
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

class LocaleContract : public PlatformContract {
 protected:
  UserLocale& Locale() { return TheHost().Locale(); }
};
TARN_CONTRACT(LocaleContract);

TEST_P(LocaleContract, EveryByteSurvivesTheWayToTextAndBack) {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  EXPECT_EQ(Locale().ToBytes(Locale().FromBytes(bytes)), bytes);
  EXPECT_EQ(Locale().FromBytes("\xE4"), "\xC3\xA4");
}

TEST_P(LocaleContract, WhatTheCodePageLacksIsAQuestionMark) {
  EXPECT_EQ(Locale().ToBytes("a\u4E2Db\U0001F600c"), "a?b?c");
  for (const char* broken :
       {"\xC3", "\x80", "\xFF", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_THAT(Locale().ToBytes(broken), ::testing::MatchesRegex("\\?+")) << broken;
  }
}

TEST(NativeLocale, TheCodePageIsTheWesternOne) {
  const auto harness = MakeNativeHarness();
  UserLocale& locale = harness->Host().Locale();
  EXPECT_EQ(locale.ToBytes("\u20AC\u0178\u2013"), "\x80\x9F\x96");
  EXPECT_EQ(locale.FromBytes("\x80\x9F\x96"), "\u20AC\u0178\u2013");
}

}  // namespace
}  // namespace tarn
