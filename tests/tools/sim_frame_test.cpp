// Graduations and the frames of continuous output.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocols/continuous_frame.hpp"
#include "tools/tarnsim/continuous_frame.hpp"
#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

TEST(Graduation, FollowsFromDivisionAndDecimals) {
  struct Case {
    double capacity;
    double division;
    std::optional<int> decimals;
    int increment;
    std::int32_t step;
    int expectedDecimals;
    std::int32_t capacityDigits;
  };
  const std::vector<Case> cases{
      {100, 0.01, {}, 1, 1, 2, 10'000},
      {60, 0.05, {}, 5, 5, 2, 6000},
      {15'000, 20, {}, 2, 20, 0, 15'000},
      {3, 0.00002, {}, 2, 2, 5, 300'000},
      {150, 1, 1, 1, 10, 1, 1500},
      {99'999.0, 1, {}, 1, 1, 0, 99'999},
      {600'000, 50'000, {}, 5, 50'000, 0, 0},  // refused: nine divisions more need seven digits
      {999'990, 1, {}, 1, 1, 0, 999'990},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.capacity << " by " << c.division);
    if (c.capacityDigits == 0) {
      EXPECT_THROW(MakeGraduation(c.capacity, c.division, c.decimals), UsageError);
      continue;
    }
    const Graduation graduation = MakeGraduation(c.capacity, c.division, c.decimals);
    EXPECT_EQ(graduation.increment, c.increment);
    EXPECT_EQ(graduation.step, c.step);
    EXPECT_EQ(graduation.decimals, c.expectedDecimals);
    EXPECT_EQ(graduation.capacity, c.capacityDigits);
  }
}

TEST(Graduation, RefusesWhatADisplayCannotShow) {
  struct Case {
    double capacity;
    double division;
    std::optional<int> decimals;
    const char* told;
  };
  const std::vector<Case> cases{
      {100, 0.03, {}, "1, 2 or 5 times"}, {100, 0, {}, "1, 2 or 5 times"},
      {100, -1, {}, "1, 2 or 5 times"},   {100, 0.05, 1, "needs 2 to 5 decimals"},
      {100, 1, 6, "needs 0 to 5"},        {999'991, 1, {}, "does not fit"},
      {0, 1, {}, "does not fit"},         {0.4, 1, {}, "does not fit"},
  };
  for (const Case& c : cases) {
    try {
      MakeGraduation(c.capacity, c.division, c.decimals);
      ADD_FAILURE() << "taken: " << c.capacity << " by " << c.division;
    } catch (const UsageError& error) {
      EXPECT_NE(std::string_view(error.what()).find(c.told), std::string_view::npos)
          << error.what();
    }
  }
}

TEST(Graduation, RoundsToWholeDivisionsAndWritesThem) {
  struct Case {
    double division;
    double weight;
    std::int32_t digits;
    const char* text;
  };
  const std::vector<Case> cases{
      {0.05, 12.37, 1235, "12.35"}, {0.05, 12.38, 1240, "12.40"}, {0.05, -0.03, -5, "-0.05"},
      {0.01, 0.004, 0, "0.00"},     {20, 1234, 1240, "1240"},     {0.001, -0.0126, -13, "-0.013"},
  };
  for (const Case& c : cases) {
    const Graduation graduation = MakeGraduation(60 * c.division, c.division, {});
    EXPECT_EQ(graduation.Digits(c.weight), c.digits);
    EXPECT_EQ(graduation.Text(c.digits), c.text);
  }
  // A weight from a script may be anything.
  EXPECT_GT(MakeGraduation(100, 0.01, {}).Digits(1e300), Graduation::kLargestDisplay);
}

TEST(ContinuousFrame, HasTheBytesOfTheLayout) {
  const ContinuousLayout fine{true, true, Units::Kilogram, MakeGraduation(100, 0.01, {})};
  const ContinuousLayout coarse{true, false, Units::Pound, MakeGraduation(500, 0.5, {})};
  const ContinuousLayout small{false, true, Units::Gram, MakeGraduation(900'000, 20, {})};
  struct Case {
    const char* what;
    ContinuousLayout layout;
    Reading reading;
    bool print;
    std::string_view bytes;
  };
  const std::vector<Case> cases{
      {"standard with checksum", fine, {.gross = 1234}, false, "\x02,0 001234000000\r+"},
      {"negative net in motion, print",
       coarse,
       {.gross = 450, .tare = 500, .netMode = true, .motion = true},
       true,
       "\x02;+(000050000500\r"},
      {"short, over range and display, not zeroed",
       small,
       {.gross = 1'005'000, .overRange = true, .zeroed = false},
       false,
       "\x02"
       "2d!999999\rd"},
      {"under range", coarse, {.gross = -30, .underRange = true}, false, "\x02;& 000030000000\r"},
      {"net of nothing is not negative",
       coarse,
       {.gross = 500, .tare = 500, .netMode = true},
       false,
       "\x02;! 000000000500\r"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(BuildContinuousFrame(c.layout, c.reading, c.print), c.bytes) << c.what;
  }
}

TEST(ContinuousFrame, TellsUnitsAndDecimalsInTheStatus) {
  struct UnitsCase {
    const char* units;
    char statusB;
    char statusC;
  };
  const std::vector<UnitsCase> unitsCases{
      {"kg", 0x30, 0x20}, {"lb", 0x20, 0x20},  {"g", 0x20, 0x21},   {"t", 0x20, 0x22},
      {"oz", 0x20, 0x23}, {"ozt", 0x20, 0x24}, {"dwt", 0x20, 0x25}, {"ton", 0x20, 0x26},
  };
  for (const UnitsCase& c : unitsCases) {
    const ContinuousLayout layout{true, true, UnitsOf(c.units), {}};
    const std::string frame = BuildContinuousFrame(layout, {}, false);
    EXPECT_EQ(frame[2], c.statusB) << c.units;
    EXPECT_EQ(frame[3], c.statusC) << c.units;
    EXPECT_EQ(UnitsText(layout.units), c.units);
  }
  EXPECT_THROW(UnitsOf("KG"), UsageError);

  struct DivisionCase {
    double division;
    char statusA;
  };
  const std::vector<DivisionCase> divisionCases{
      {1, 0x2A},    {10, 0x2A},    {2, 0x32},      {5, 0x3A},       {0.1, 0x2B},
      {0.02, 0x34}, {0.005, 0x3D}, {0.0001, 0x2E}, {0.00001, 0x2F},
  };
  for (const DivisionCase& c : divisionCases) {
    const ContinuousLayout layout{true, true, Units::Kilogram,
                                  MakeGraduation(100 * c.division, c.division, {})};
    EXPECT_EQ(BuildContinuousFrame(layout, {}, false)[1], c.statusA) << c.division;
  }
}

TEST(ContinuousFrame, ChecksumMakesSevenBitsOfTheSumZero) {
  ContinuousLayout layout;
  for (std::int32_t gross = -300; gross < 300; ++gross) {
    unsigned sum = 0;
    for (const char c : BuildContinuousFrame(layout, {.gross = gross}, false)) {
      ASSERT_GE(c, 0) << "the line carries seven bits";
      sum += static_cast<unsigned>(c);
    }
    ASSERT_EQ(sum % 128, 0U) << gross;
  }
}

TEST(ContinuousFrame, IsReadAsItWasMeant) {
  for (const double division : {0.0001, 0.002, 0.05, 0.1, 1.0, 20.0}) {
    const ContinuousLayout layout{true, false, Units::Tonne,
                                  MakeGraduation(1000 * division, division, {})};
    const Graduation& graduation = layout.graduation;
    for (const std::int32_t divisions : {-5, 1, 600, 1000}) {
      const Reading sent{.gross = divisions * graduation.step,
                         .tare = 400 * graduation.step,
                         .netMode = true,
                         .motion = divisions == 1};
      const std::string frame = BuildContinuousFrame(layout, sent, true);
      tarn::ContinuousFrame read;
      read.ReadStatusAndWeight(std::string_view(frame).substr(1));
      read.ReadTareAndGross(std::string_view(frame).substr(1));
      EXPECT_EQ(read.WeightCounts, sent.Displayed());
      EXPECT_EQ(read.GrossCounts, sent.gross);
      EXPECT_EQ(read.TareCounts, sent.tare);
      EXPECT_EQ(read.NetWeight("."), graduation.Text(sent.Displayed()));
      EXPECT_EQ(read.TareWeight("."), graduation.Text(sent.tare));
      EXPECT_EQ(read.Motion(), sent.motion);
      EXPECT_EQ(read.Units(), "t");
      EXPECT_TRUE(read.PrintRequest());
      EXPECT_FALSE(read.OutOfRange());
    }
  }
}

}  // namespace
}  // namespace tarn::sim
