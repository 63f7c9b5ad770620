// Load scripts, the platform and the terminal's weighing functions.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tarnsim/indicator.hpp"
#include "tools/tarnsim/load_model.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;

constexpr double kLongEnoughToRest = 10'000;  // milliseconds

/// 100 kg by 0.01 kg, so a weight of 12.5 is 1250 display digits.
Indicator::Options HundredKilograms() {
  Indicator::Options options;
  options.graduation = MakeGraduation(100, 0.01, {});
  return options;
}

class Scale : public Indicator {
 public:
  explicit Scale(std::string_view script, const LoadModel::Options& load = {})
      : Indicator(HundredKilograms(), ParseLoadScript(script), load) {
    noteSubscription_ =
        Noted.Subscribe([this](std::string_view note) { lastNote = std::string(note); });
  }

  const Reading& At(double now) {
    AdvanceTo(now);
    return Present();
  }

  std::string lastNote;

 private:
  Subscription noteSubscription_;
};

TEST(LoadScript, RefusesWhatItDoesNotUnderstandAndSaysWhere) {
  struct Case {
    const char* script;
    const char* told;
  };
  const std::vector<Case> cases{
      {"load 5; wiat 3s", "line 1, \"wiat 3s\": unknown word \"wiat\""},
      {"load 5\n# remark\n\nload five", "line 4, \"load five\": \"five\" is not a number"},
      {"load", "write load AMOUNT"},
      {"load 1 2", "write load AMOUNT"},
      {"load 5kg", "\"5kg\" is not a number"},
      {"load 1e999", "\"1e999\" is not a number"},
      {"load 20..10", "the low end comes first"},
      {"load 10%..20", "both ends are percent or none"},
      {"load ..5", "is not a number"},
      {"load %", "is not a number"},
      {"wait 3h", "\"3h\" is not a duration"},
      {"wait s", "is not a number"},
      {"wait -3s", "never negative"},
      {"wait 4s..2s", "the low end comes first"},
      {"ramp 5", "write ramp"},
      {"ramp 1 2 3 4s", "write ramp"},
      {"press X", "is no key"},
      {"press TT", "is no key"},
      {"press 12.5", "is no key"},
      {"load 5; repeat", "must take time"},
      {"load 5; wait 5ms; repeat 3", "must take time"},
      {"wait 1s; repeat 0", "whole number of times"},
      {"wait 1s; repeat 1.5", "whole number of times"},
      {"wait 1s; repeat; load 3", "nothing may follow repeat"},
  };
  for (const Case& c : cases) {
    try {
      ParseLoadScript(c.script);
      ADD_FAILURE() << "taken: " << c.script;
    } catch (const UsageError& error) {
      EXPECT_NE(std::string_view(error.what()).find(c.told), std::string_view::npos)
          << c.script << " gave: " << error.what();
    }
  }
  EXPECT_THROW(ParseLoadScript(std::string(LoadScript::kMaxText + 1, ' ')), UsageError);
}

TEST(LoadScript, ReadsDurationsInTheirUnits) {
  EXPECT_EQ(ParseDuration("250ms"), 250);
  EXPECT_EQ(ParseDuration("2.5"), 2500);
  EXPECT_EQ(ParseDuration("2min"), 120'000);
  const LoadScript script = ParseLoadScript("wait 200..400ms; wait 500ms..2");
  const Span first = std::get<Wait>(script.steps[0]).duration;
  EXPECT_EQ(first.low, 200);
  EXPECT_EQ(first.high, 400);
  const Span second = std::get<Wait>(script.steps[1]).duration;
  EXPECT_EQ(second.low, 500);
  EXPECT_EQ(second.high, 2000);
}

TEST(LoadModel, SettlesLikeAPlatform) {
  Scale scale("wait 1s; load 50; wait 9s; load 0");
  EXPECT_FALSE(scale.At(990).motion);
  EXPECT_TRUE(scale.Present().centreOfZero);

  std::int32_t highest = 0;
  int motionEnds = 0;
  bool inMotion = false;
  for (double now = 1000; now < 10'000; now += 10) {
    const Reading& reading = scale.At(now);
    highest = std::max(highest, reading.gross);
    if (inMotion && !reading.motion) {
      ++motionEnds;
      EXPECT_NEAR(reading.gross, 5000, 1) << "rest is told when the weight is there";
      EXPECT_GT(now, 1500);
      EXPECT_LT(now, 4500);
    }
    inMotion = reading.motion;
  }
  EXPECT_EQ(motionEnds, 1) << "the turning points of the swing are no rest";
  EXPECT_GT(highest, 5050) << "it swings over";
  EXPECT_LT(highest, 7000);
  EXPECT_EQ(scale.Present().gross, 5000);
  EXPECT_FALSE(scale.Present().centreOfZero);
  EXPECT_TRUE(scale.At(10'200).motion);
  EXPECT_EQ(scale.At(20'000), (Reading{.centreOfZero = true}));
}

TEST(LoadModel, PlaysTheScriptInTime) {
  Scale ramp("ramp 0 100 5s; ramp 50 5s");
  const Reading middle = ramp.At(2500);
  EXPECT_TRUE(middle.motion);
  EXPECT_NEAR(middle.gross, 5000, 250) << "the platform follows a moment behind";
  EXPECT_NEAR(ramp.At(7500).gross, 7500, 250);
  EXPECT_EQ(ramp.At(20'000).gross, 5000) << "the last load stays";

  Scale passes("load 10; wait 5s; load 20; wait 5s; repeat 2");
  const std::vector<std::int32_t> expected{1000, 2000, 1000, 2000, 2000, 2000};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(passes.At(4990 + 5000 * static_cast<double>(i)).gross, expected[i]) << i;
  }
  Scale endless("load 10; wait 5s; load 20; wait 5s; repeat");
  EXPECT_EQ(endless.At(104'990).gross, 1000);
  EXPECT_EQ(endless.At(109'990).gross, 2000);
}

TEST(LoadModel, GivesTheSameWeightsHoweverOftenItIsAsked) {
  const char* const script = "load 10%..90%; wait 500ms..2s; ramp 20 80 1s; repeat";
  const LoadModel::Options load{.noise = 0.03, .drift = 0.05, .seed = 7};
  Scale often(script, load);
  Scale seldom(script, load);
  LoadModel::Options otherSeed = load;
  otherSeed.seed = 8;
  Scale other(script, otherSeed);
  bool differs = false;
  for (double now = 0; now < 60'000; now += 730) {
    for (double step = now - 700; step < now; step += 7) often.AdvanceTo(step);
    ASSERT_EQ(often.At(now), seldom.At(now)) << now;
    differs = differs || other.At(now) != seldom.Present();
  }
  EXPECT_TRUE(differs);
}

TEST(LoadModel, DrawsAmountsWithinTheirRange) {
  std::int32_t lowest = 10'000;
  std::int32_t highest = 0;
  Scale scale("load 10%..90%; wait 10s; repeat");
  for (int pass = 1; pass <= 50; ++pass) {
    const std::int32_t gross = scale.At(10'000.0 * pass - 10).gross;
    lowest = std::min(lowest, gross);
    highest = std::max(highest, gross);
  }
  EXPECT_GE(lowest, 1000);
  EXPECT_LT(lowest, 3000);
  EXPECT_GT(highest, 7000);
  EXPECT_LE(highest, 9000);
}

TEST(LoadModel, NoiseAndDriftStayWithinTheirBounds) {
  Scale noisy("load 50", {.noise = 0.02});
  Scale drifting("load 50", {.drift = 0.10});
  bool noiseSeen = false;
  std::int32_t leastDrift = 0;
  std::int32_t mostDrift = 0;
  for (double now = kLongEnoughToRest; now < 200'000; now += 10) {
    const std::int32_t noise = noisy.At(now).gross - 5000;
    ASSERT_LE(std::abs(noise), 2);
    noiseSeen = noiseSeen || noise != 0;
    const std::int32_t drift = drifting.At(now).gross - 5000;
    leastDrift = std::min(leastDrift, drift);
    mostDrift = std::max(mostDrift, drift);
    ASSERT_FALSE(drifting.Present().motion) << "drift is no motion";
  }
  EXPECT_TRUE(noiseSeen);
  EXPECT_EQ(leastDrift, -10);
  EXPECT_EQ(mostDrift, 10);
}

TEST(Indicator, KnowsItsRange) {
  struct Case {
    const char* load;
    bool over;
    bool under;
    bool centre;
  };
  const std::vector<Case> cases{
      {"load 100.09", false, false, false}, {"load 100.10", true, false, false},
      {"load -0.05", false, false, false},  {"load -0.06", false, true, false},
      {"load 0.0025", false, false, true},  {"load 0.0026", false, false, false},
      {"load -0.0025", false, false, true}, {"load 1e30", true, false, false},
  };
  for (const Case& c : cases) {
    Scale scale(c.load);
    // Far loads need longer to come to rest within a division.
    const Reading& reading = scale.At(6 * kLongEnoughToRest);
    EXPECT_EQ(reading.overRange, c.over) << c.load;
    EXPECT_EQ(reading.underRange, c.under) << c.load;
    EXPECT_EQ(reading.centreOfZero, c.centre) << c.load;
    EXPECT_EQ(reading.OutOfRange(), c.over || c.under) << c.load;
  }
}

TEST(Indicator, FollowsTheRulesOfItsKeys) {
  struct Case {
    const char* script;
    std::vector<TerminalCommand> keys;
    std::int32_t tare;
    std::int32_t displayed;
    const char* lastNote;
  };
  const std::vector<Case> cases{
      {"load 12.5", {{Key::Tare}}, 1250, 0, "tare 12.50"},
      {"load 12.5", {{Key::Tare}, {Key::Clear}}, 0, 1250, "tare cleared"},
      {"load 12.5", {{Key::PresetTare, 2.004}}, 200, 1050, "tare 2.00"},
      {"load 12.5", {{Key::PresetTare, 20}}, 2000, -750, "tare 20.00"},
      {"load 12.5", {{Key::PresetTare, 20}, {Key::Tare}}, 1250, 0, "tare 12.50"},
      {"load 12.5", {{Key::Tare}, {Key::PresetTare, 0}}, 0, 1250, "tare cleared"},
      {"load 12.5", {{Key::PresetTare, 100}}, 10'000, -8750, "tare 100.00"},
      {"load 12.5", {{Key::PresetTare, 100.01}}, 0, 1250, "refused: a tare lies"},
      {"load 12.5", {{Key::PresetTare, -1}}, 0, 1250, "refused: a tare lies"},
      {"load 12.5", {{Key::PresetTare, 1e300}}, 0, 1250, "refused: a tare lies"},
      {"load 0", {{Key::Tare}}, 0, 0, "refused: no weight"},
      {"load -0.03", {{Key::Tare}}, 0, -3, "refused: no weight"},
      {"load 120", {{Key::Tare}}, 0, 12'000, "refused: no weight"},
      {"load 2", {{Key::Zero}}, 0, 0, "zeroed"},
      {"load -2", {{Key::Zero}}, 0, 0, "zeroed"},
      {"load 2.01", {{Key::Zero}}, 0, 201, "refused: more than 2 %"},
      {"load 1", {{Key::Tare}, {Key::Zero}}, 100, 0, "refused: a tare is in effect"},
      {"load 1.5", {{Key::Zero}, {Key::Zero}, {Key::Print}}, 0, 0, "prints"},
  };
  for (const Case& c : cases) {
    Scale scale(c.script);
    scale.AdvanceTo(kLongEnoughToRest);
    for (const TerminalCommand& key : c.keys) scale.Press(key);
    const Reading& reading = scale.Present();
    SCOPED_TRACE(testing::Message() << c.script << ", " << c.lastNote);
    EXPECT_EQ(reading.tare, c.tare);
    EXPECT_EQ(reading.netMode, c.tare != 0);
    EXPECT_EQ(reading.Displayed(), c.displayed);
    EXPECT_TRUE(scale.lastNote.starts_with(c.lastNote)) << scale.lastNote;
  }
}

TEST(Indicator, ZeroIsMeasuredFromTheCalibratedOne) {
  // Two zeroes of 1.5 kg each would wander 3 % away.
  Scale scale("load 1.5; wait 10s; press Z; load 3");
  EXPECT_EQ(scale.At(2 * kLongEnoughToRest).gross, 150);
  scale.Press({Key::Zero});
  EXPECT_EQ(scale.Present().gross, 150);
  EXPECT_EQ(scale.lastNote, "refused: more than 2 % of the capacity away from zero");
}

TEST(Indicator, TareAndZeroWaitForRest) {
  Scale tare("load 50; press T");
  EXPECT_FALSE(tare.At(500).netMode) << "still in motion";
  EXPECT_NEAR(tare.At(4000).tare, 5000, 1);

  Scale tooLong("ramp 0 60 60s");
  tooLong.AdvanceTo(5000);
  tooLong.Press({Key::Tare});
  tooLong.AdvanceTo(8500);
  EXPECT_EQ(tooLong.lastNote, "forgotten: the platform did not rest");
  EXPECT_FALSE(tooLong.At(120'000).netMode);

  Scale cleared("load 50");
  cleared.AdvanceTo(500);
  cleared.Press({Key::Tare});
  cleared.Press({Key::Clear});
  EXPECT_FALSE(cleared.At(kLongEnoughToRest).netMode) << "clear takes a waiting tare back";
}

TEST(Indicator, RemembersWhetherZeroWasSet) {
  Indicator::Options options = HundredKilograms();
  options.zeroedAtStart = false;
  Indicator indicator(options, ParseLoadScript("load 1"), {});
  indicator.AdvanceTo(kLongEnoughToRest);
  EXPECT_FALSE(indicator.Present().zeroed);
  indicator.Press({Key::Zero});
  EXPECT_TRUE(indicator.Present().zeroed);
}

}  // namespace
}  // namespace tarn::sim
