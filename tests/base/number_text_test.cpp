#include "base/number_text.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "tests/support/error_of.hpp"

namespace tarn {
namespace {

TEST(RoundHalfEven, RoundsHalvesToTheEvenNumber) {
  const struct {
    double value;
    std::int32_t rounded;
  } cases[] = {{0.5, 0},   {1.5, 2},   {2.5, 2},    {3.5, 4},       {-0.5, 0},
               {-1.5, -2}, {-2.5, -2}, {2.4999, 2}, {333.333, 333}, {2147483647.4, 2147483647}};
  for (const auto& c : cases) EXPECT_EQ(RoundToLong(c.value), c.rounded) << c.value;
  for (const double bad : {2147483648.0, -2147483649.0, std::nan(""), HUGE_VAL}) {
    EXPECT_EQ(ErrorOf([&] { RoundToLong(bad); }), 6) << bad;
  }
}

TEST(NumericPrefix, ReadsAsFarAsANumberGoes) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"001234", 1234}, {"  12", 12},   {"1 2 3", 123}, {"12.3.4", 12.3}, {"12kg", 12},
               {"-12", -12},     {"- 1 2", -12}, {"+7", 7},      {"", 0},          {"abc", 0},
               {"-", 0},         {".", 0},       {".5", 0.5},    {"5.", 5},        {"1,5", 1},
               {"--5", 0},       {"1e3", 1000},  {"1E+2x", 100}, {"1 D 1", 10},    {"1e", 1},
               {"1e-400", 0},    {"\t4", 0},     {"1\n2", 1},    {"0000000", 0},   {"12-3", 12}};
  for (const auto& c : cases) EXPECT_EQ(NumericPrefix(c.text), c.value) << c.text;
  EXPECT_EQ(ErrorOf([] { NumericPrefix("1E999"); }), 6);
}

TEST(LocaleNumber, ReadsWholeTextsByTheLocale) {
  const struct {
    const char* text;
    const char* separator;
    double value;
  } cases[] = {
      {"12.5", ".", 12.5}, {" -12.5 ", ".", -12.5}, {"12,5", ",", 12.5},          {"1E2", ".", 100},
      {".5", ".", 0.5},    {"5.", ".", 5},          {"12\u066B5", "\u066B", 12.5}};
  for (const auto& c : cases) EXPECT_EQ(LocaleNumber(c.text, c.separator), c.value) << c.text;
  for (const char* text : {"12,5", "1,234.5", "*******", "", "   ", "1 2", "\t1", "1\n", "12kg",
                           "1E", "1E999", "-", "1..2", "nan", "inf", "0x10"}) {
    EXPECT_EQ(LocaleNumber(text, "."), std::nullopt) << text;
  }
}

TEST(WholeNumber, TakesOnlyWholeNumbersThatFit) {
  EXPECT_EQ(WholeNumber("-000050"), -50);
  EXPECT_EQ(WholeNumber(" +0012 "), 12);
  EXPECT_EQ(WholeNumber("-2147483648"), std::numeric_limits<std::int32_t>::min());
  for (const char* text : {"", "-", "12.5", "1e3", "*******", "\t1"}) {
    EXPECT_EQ(ErrorOf([&] { WholeNumber(text); }), 13) << text;
  }
  EXPECT_EQ(ErrorOf([] { WholeNumber("2147483648"); }), 6);
}

TEST(GeneralNumberText, IsTheShortestText) {
  const struct {
    double value;
    const char* text;
  } cases[] = {{12.5, "12.5"},
               {-0.0, "0"},
               {0.1 + 0.2, "0.3"},
               {1e15, "1E+15"},
               {1e-5, "1E-05"},
               {123456789012345, "123456789012345"},
               {2.0 / 3, "0.666666666666667"}};
  for (const auto& c : cases) EXPECT_EQ(GeneralNumberText(c.value), c.text);
  EXPECT_EQ(GeneralNumberText(12.5, ","), "12,5");
}

TEST(FormatNumber, FollowsThePattern) {
  const struct {
    double value;
    const char* pattern;
    const char* text;
  } cases[] = {
      {50, "-000000", "-000050"},
      {-0.001, "0.00000", "-0.00100"},
      {1234.5, "#,##0.0", "1,234.5"},
      {1234567.891, "#,##0.##", "1,234,567.89"},
      {12, "#,##0.##", "12."},
      {0.25, "#.##", ".25"},
      {1e20, "0", "100000000000000000000"},
      {0.125, "0.00", "0.13"},
      {999.96, "0.0", "1000.0"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FormatNumber(c.value, NumberPattern(c.pattern)), c.text) << c.pattern;
  }
  EXPECT_EQ(FormatNumber(1234.5, "#,##0.0", ",", "."), "1.234,5");
}

}  // namespace
}  // namespace tarn
