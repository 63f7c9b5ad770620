// What goes over a simulated line: graduations, frames, faults.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tools/tarnsim/continuous_frame.hpp"
#include "tools/tarnsim/fault_injector.hpp"
#include "tools/tarnsim/fixed_frame.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

const Graduation kHundred = MakeGraduation(100, 0.01, {});

TEST(Graduation, WritesWholeDivisionsAndRefusesWhatADisplayCannotShow) {
  const struct {
    double capacity, division;
    std::optional<int> decimals;
    double weight;
    const char* text;
  } cases[] = {{60, 0.05, {}, 12.37, "12.35"}, {60, 0.05, {}, 12.38, "12.40"},
               {60, 0.05, {}, -0.03, "-0.05"}, {100, 0.01, {}, 0.004, "0.00"},
               {15'000, 20, {}, 1234, "1240"}, {3, 0.001, {}, -0.0126, "-0.013"},
               {3, 0.00002, {}, 1, "1.00000"}, {150, 1, 1, 1.5, "2.0"},
               {999'990, 1, {}, 1, "1"}};
  for (const auto& c : cases) {
    const Graduation graduation = MakeGraduation(c.capacity, c.division, c.decimals);
    EXPECT_EQ(graduation.Text(graduation.Digits(c.weight)), c.text);
    EXPECT_DOUBLE_EQ(graduation.Weight(graduation.capacity), c.capacity);
  }
  EXPECT_GT(kHundred.Digits(1e300), Graduation::kLargestDisplay) << "a script may say anything";

  // The last has seven digits nine divisions above its capacity.
  for (const auto& [capacity, division] : {std::pair(100, 0.03), {100, -1}, {0, 1}, {999'991, 1}}) {
    EXPECT_THROW(MakeGraduation(capacity, division, {}), UsageError) << capacity;
  }
  EXPECT_THROW(MakeGraduation(100, 0.05, 1), UsageError);
}

TEST(ContinuousFrame, HasTheBytesOfTheLayout) {
  const ContinuousLayout fine{true, true, Units::Kilogram, kHundred};
  const ContinuousLayout coarse{true, false, Units::Pound, MakeGraduation(500, 0.5, {})};
  const ContinuousLayout small{false, true, Units::Gram, MakeGraduation(900'000, 20, {})};
  const Reading negativeNet{.gross = 450, .tare = 500, .netMode = true, .motion = true};
  const Reading beyond{.gross = 1'005'000, .overRange = true, .zeroed = false};
  const struct {
    ContinuousLayout layout;
    Reading reading;
    bool print;
    std::string_view bytes;
  } cases[] = {{fine, {.gross = 1234}, false, "\x02,0 001234000000\r+"},
               {coarse, negativeNet, true, "\x02;+(000050000500\r"},
               {coarse, {.gross = -30, .underRange = true}, false, "\x02;& 000030000000\r"},
               {small, beyond, false, "\x02\x32\x64!999999\rd"}};
  for (const auto& c : cases) {
    EXPECT_EQ(BuildContinuousFrame(c.layout, c.reading, c.print), c.bytes);
  }
  const struct {
    const char* units;
    double division;
    const char* status;
  } displays[] = {{"kg", 0.0001, ".0 "}, {"lb", 0.002, "5  "}, {"g", 0.05, "< !"},
                  {"t", 0.1, "+ \""},    {"oz", 1, "* #"},     {"ozt", 20, "2 $"},
                  {"dwt", 5, ": %"},     {"ton", 0.01, ", &"}};
  for (const auto& d : displays) {
    const Graduation graduation = MakeGraduation(1000 * d.division, d.division, {});
    EXPECT_EQ(
        BuildContinuousFrame({true, true, UnitsOf(d.units), graduation}, {}, false).substr(1, 3),
        d.status);
  }
}

TEST(FixedFrame, HasTheBytesOfEachMaker) {
  const Reading light{.gross = 1250, .motion = true};
  const Reading negative{.gross = -105};
  const struct {
    const char* layout;
    Units units;
    Reading reading;
    std::string_view bytes;
  } cases[] = {
      {"cardinal", Units::Pound, light, "\r 12.50  mlb     \x03"},
      {"cardinal", Units::Kilogram, negative, "\r- 1.05   kg     \x03"},
      {"cardinal", Units::Kilogram, {.gross = 10'010, .overRange = true}, "\r100.10  ckg     \x03"},
      {"fairbanks", Units::Kilogram, light, "   12.50 kg  g\r\n"},
      {"fairbanks", Units::Kilogram, negative, "   -1.05 kg   \r\n"},
      {"gse550", Units::Kilogram, light, "\x02M    12.50 kg       \r\n"},
      {"gse550", Units::Gram, {.underRange = true}, "\x02O     0.00 g        \r\n"},
      {"ricelake", Units::Pound, {.gross = -5, .underRange = true}, "\x02-  0.05L  I\r\n"},
      {"wi120", Units::Kilogram, negative, "  - 1.05 kg    \r\n"},
      {"wi120", Units::Pound, {.gross = 0, .tare = 10'000}, "  ------ lb    \r\n"}};
  for (const auto& c : cases) {
    const FixedFrameOptions options{FixedLayoutOf(c.layout), c.units, kHundred};
    EXPECT_EQ(BuildFixedFrame(options, c.reading), c.bytes) << c.layout;
  }
  EXPECT_THROW(FixedLayoutOf("morse"), UsageError);
}

std::string Spoilt(const FaultOptions& options, int frames = 1, std::uint64_t seed = 1) {
  FaultInjector faults(options, 7, seed);
  std::string bytes;
  for (int i = 0; i < frames; ++i) bytes += faults.Spoil("ABCDEFGH", i * 100);
  return bytes;
}

TEST(FaultInjector, DoesEachFaultByItsChanceAndSeed) {
  const std::string frame = "ABCDEFGH";
  EXPECT_EQ(Spoilt({.drop = 1}) + Spoilt({.silence = 1}), "");
  EXPECT_EQ(Spoilt({.repeat = 1}), "AABBCCDDEEFFGGHH");
  const std::string cut = Spoilt({.cut = 1});
  EXPECT_LT(cut.size(), frame.size());
  EXPECT_TRUE(frame.starts_with(cut));
  const std::string burst = Spoilt({.burst = 1});
  EXPECT_GT(burst.size(), frame.size());
  EXPECT_TRUE(burst.ends_with(frame));
  EXPECT_EQ(Spoilt({.noise = 1}).size(), 2 * frame.size());
  const FaultOptions all{.noise = 0.05, .burst = 0.1, .drop = 0.05, .repeat = 0.05, .cut = 0.1};
  EXPECT_EQ(Spoilt(all, 200), Spoilt(all, 200));
  EXPECT_NE(Spoilt(all, 200), Spoilt(all, 200, 2));
  for (const char c : Spoilt({.burst = 1}, 500)) ASSERT_GE(c, 0) << "seven data bits";
  EXPECT_NEAR(static_cast<double>(Spoilt({.drop = 0.1}, 2000).size()), 0.9 * 16'000, 160);
}

TEST(Schedule, HoldsForItsLengthOnceAPeriod) {
  const Schedule schedule = ParseSchedule("30s/500ms");
  for (const double now : {30'000, 30'499, 60'000}) EXPECT_TRUE(schedule.Holds(now)) << now;
  for (const double now : {0, 499, 29'999, 30'500}) EXPECT_FALSE(schedule.Holds(now)) << now;
  for (const char* bad : {"30s", "5s/30s", "5s/5s", "0/0", "30s/0", "a/b", "/"}) {
    EXPECT_THROW(ParseSchedule(bad), UsageError) << bad;
  }
}

}  // namespace
}  // namespace tarn::sim
