// Load scripts, the platform and the terminal's weighing functions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

constexpr double kLongEnoughToRest = 10'000;  // milliseconds

/// 100 kg by 0.01 kg, so a weight of 12.5 is 1250 display digits.
class Scale : public Indicator {
 public:
  explicit Scale(std::string_view script, const LoadModel::Options& load = {}, bool zeroed = true)
      : Indicator({MakeGraduation(100, 0.01, {}), zeroed}, ParseLoadScript(script), load) {}

  const Reading& At(double now) {
    AdvanceTo(now);
    return Present();
  }
};

TEST(LoadScript, ReadsDurationsAndSaysWhereItDoesNotUnderstand) {
  const std::pair<std::string, std::vector<const char*>> cases[] = {
      {"load", {"", " 1 2", " 5kg", " 1e999", " 20..10", " 10%..20", " ..5", " %"}},
      {"wait ", {"3h", "s", "-3s", "4s..2s"}},
      {"ramp ", {"5", "1 2 3 4s"}},
      {"press ", {"X", "TT", "12.5"}},
      {"load 5; ", {"wiat 3s", "repeat", "wait 5ms; repeat 3"}},
      {"wait 1s; repeat", {" 0", " 1.5", "; load 3"}}};
  for (const auto& [begin, ends] : cases) {
    for (const char* end : ends) EXPECT_THROW(ParseLoadScript(begin + end), UsageError) << end;
  }
  EXPECT_THROW(ParseLoadScript(std::string(LoadScript::kMaxText + 1, ' ')), UsageError);
  EXPECT_THAT([] { ParseLoadScript("load 5\n# remark\n\nload five"); },
              testing::ThrowsMessage<UsageError>(testing::HasSubstr("line 4, \"load five\"")));

  const LoadScript script = ParseLoadScript("wait 200..400ms; wait 500ms..2; wait 2min");
  const Span expected[] = {{200, 400}, {500, 2000}, {120'000, 120'000}};
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const Span span = std::get<Wait>(script.steps[i]).duration;
    EXPECT_EQ(std::pair(span.low, span.high), std::pair(expected[i].low, expected[i].high)) << i;
  }
}

TEST(LoadModel, SettlesLikeAPlatform) {
  Scale scale("wait 1s; load 25; wait 9s; load 0");
  EXPECT_EQ(scale.At(990), (Reading{.centreOfZero = true}));
  double now = 1010;
  while (now < 10'000 && scale.At(now).motion) now += 10;
  EXPECT_NEAR(now, 3000, 1500);
  EXPECT_NEAR(scale.Present().gross, 2500, 1) << "rest shows when the weight is there";
  for (; now < 10'000; now += 10)
    ASSERT_FALSE(scale.At(now).motion) << "a turning point is no rest";
  EXPECT_EQ(scale.Present(), (Reading{.gross = 2500}));
  EXPECT_EQ(scale.At(20'000), (Reading{.centreOfZero = true}));
}

TEST(LoadModel, PlaysTheScriptInTime) {
  Scale ramp("ramp 0 100 5s; ramp 50 5s");
  EXPECT_NEAR(ramp.At(2500).gross, 5000, 250) << "the platform follows a moment behind";
  EXPECT_TRUE(ramp.Present().motion);
  EXPECT_NEAR(ramp.At(7500).gross, 7500, 250);
  EXPECT_EQ(ramp.At(20'000).gross, 5000) << "the last load stays";

  Scale twice("load 10; wait 5s; load 20; wait 5s; repeat 2");
  Scale endless("load 10; wait 5s; load 20; wait 5s; repeat");
  for (int i = 0; i < 20; ++i) {
    const double now = 4990 + 5000.0 * i;
    const std::int32_t expected = i % 2 == 0 ? 1000 : 2000;
    EXPECT_EQ(twice.At(now).gross, i < 4 ? expected : 2000) << i;
    EXPECT_EQ(endless.At(now).gross, expected) << i;
  }
}

TEST(LoadModel, IsFixedByItsSeed) {
  const char* const script = "load 10%..90%; wait 500ms..2s; ramp 20 80 1s; repeat";
  Scale often(script, {.noise = 0.03, .drift = 0.05, .seed = 7});
  Scale seldom(script, {.noise = 0.03, .drift = 0.05, .seed = 7});
  Scale other(script, {.noise = 0.03, .drift = 0.05, .seed = 8});
  bool differs = false;
  for (double now = 0; now < 60'000; now += 730) {
    for (double step = now - 700; step < now; step += 7) often.AdvanceTo(step);
    ASSERT_EQ(often.At(now), seldom.At(now)) << now;
    differs = differs || other.At(now) != seldom.Present();
  }
  EXPECT_TRUE(differs);
}

TEST(Indicator, FollowsTheRulesOfItsKeys) {
  const struct {
    const char* load;
    std::string_view keys;
    std::int32_t tare, displayed;
  } cases[] = {
      {"12.5", "T", 1250, 0},       {"12.5", "TC", 0, 1250},   {"12.5", "2.004T", 200, 1050},
      {"12.5", "20TT", 1250, 0},    {"12.5", "T0T", 0, 1250},  {"100", "100T", 10'000, 0},
      {"12.5", "100.01T", 0, 1250}, {"12.5", "-1T", 0, 1250},  {"12.5", "1E300T", 0, 1250},
      {"-0.03", "T", 0, -3},        {"120.0", "T", 0, 12'000}, {"0.00", "T", 0, 0},
      {"2.00", "Z", 0, 0},          {"-2.00", "Z", 0, 0},      {"2.01", "Z", 0, 201},
      {"1.00", "TZ", 100, 0}};
  for (const auto& c : cases) {
    Scale scale("load " + std::string(c.load));
    scale.AdvanceTo(kLongEnoughToRest);
    CommandReader reader;
    for (const char key : c.keys) {
      if (const auto command = reader.Take(key)) scale.Press(*command);
    }
    SCOPED_TRACE(testing::Message() << c.load << ", " << c.keys);
    EXPECT_EQ(scale.Present().tare, c.tare);
    EXPECT_EQ(scale.Present().netMode, c.tare != 0);
    EXPECT_EQ(scale.Present().Displayed(), c.displayed);
  }
}

TEST(Indicator, TareAndZeroWaitForRest) {
  Scale tare("load 50; press T");
  EXPECT_FALSE(tare.At(500).netMode) << "still in motion";
  EXPECT_NEAR(tare.At(4000).tare, 5000, 1);

  Scale tooLong("ramp 0 60 6s");
  tooLong.AdvanceTo(2000);
  tooLong.Press({Key::Tare});
  EXPECT_FALSE(tooLong.At(20'000).netMode) << "forgotten";

  Scale cleared("load 50; press T; press C");
  EXPECT_FALSE(cleared.At(kLongEnoughToRest).netMode) << "clear takes a waiting tare back";
}

}  // namespace
}  // namespace tarn::sim
