// Graduations and the frames of continuous output.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "protocols/continuous_frame.hpp"
#include "tools/tarnsim/continuous_frame.hpp"
#include "tools/tarnsim/graduation.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

TEST(Graduation, RoundsToWholeDivisionsAndWritesThem) {
  const struct {
    double capacity, division;
    std::optional<int> decimals;
    double weight;
    const char* text;
  } cases[] = {
      {60, 0.05, {}, 12.37, "12.35"}, {60, 0.05, {}, 12.38, "12.40"},
      {60, 0.05, {}, -0.03, "-0.05"}, {100, 0.01, {}, 0.004, "0.00"},
      {15'000, 20, {}, 1234, "1240"}, {3, 0.001, {}, -0.0126, "-0.013"},
      {3, 0.00002, {}, 1, "1.00000"}, {150, 1, 1, 1.5, "2.0"},
      {999'990, 1, {}, 1, "1"},
  };
  for (const auto& c : cases) {
    const Graduation graduation = MakeGraduation(c.capacity, c.division, c.decimals);
    EXPECT_EQ(graduation.Text(graduation.Digits(c.weight)), c.text);
    EXPECT_DOUBLE_EQ(graduation.Weight(graduation.capacity), c.capacity);
  }
  // A weight from a script may be anything.
  EXPECT_GT(MakeGraduation(100, 0.01, {}).Digits(1e300), Graduation::kLargestDisplay);
}

TEST(Graduation, RefusesWhatADisplayCannotShow) {
  const struct {
    double capacity, division;
    std::optional<int> decimals;
  } cases[] = {
      {100, 0.03, {}},  {100, 0, {}}, {100, -1, {}},
      {100, 0.05, 1},   {100, 1, 6},  {600'000, 50'000, {}},  // nine divisions more: seven digits
      {999'991, 1, {}}, {0, 1, {}},   {0.4, 1, {}},
  };
  for (const auto& c : cases) {
    EXPECT_THROW(MakeGraduation(c.capacity, c.division, c.decimals), UsageError)
        << c.capacity << " by " << c.division;
  }
}

TEST(ContinuousFrame, HasTheBytesOfTheLayout) {
  const ContinuousLayout fine{true, true, Units::Kilogram, MakeGraduation(100, 0.01, {})};
  const ContinuousLayout coarse{true, false, Units::Pound, MakeGraduation(500, 0.5, {})};
  const ContinuousLayout small{false, true, Units::Gram, MakeGraduation(900'000, 20, {})};
  const ContinuousLayout tiny{true, false, Units::Pound, MakeGraduation(1, 0.00001, {})};
  const Reading negativeNet{.gross = 450, .tare = 500, .netMode = true, .motion = true};
  const Reading nothingNet{.gross = 500, .tare = 500, .netMode = true};
  const Reading beyond{.gross = 1'005'000, .overRange = true, .zeroed = false};
  const struct {
    const char* what;
    ContinuousLayout layout;
    Reading reading;
    bool print;
    std::string_view bytes;
  } cases[] = {
      {"with checksum", fine, {.gross = 1234}, false, "\x02,0 001234000000\r+"},
      {"negative, in motion, print", coarse, negativeNet, true, "\x02;+(000050000500\r"},
      {"short, beyond the display, not zeroed", small, beyond, false, "\x02\x32\x64!999999\rd"},
      {"under range", coarse, {.gross = -30, .underRange = true}, false, "\x02;& 000030000000\r"},
      {"nothing is not negative", tiny, nothingNet, false, "\x02/! 000000000500\r"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(BuildContinuousFrame(c.layout, c.reading, c.print), c.bytes) << c.what;
  }
}

TEST(ContinuousFrame, IsReadAsItWasMeant) {
  const struct {
    const char* units;
    double division;
    char statusA;  ///< the reader has no use for the increment in it
  } cases[] = {
      {"kg", 0.0001, 0x2E}, {"lb", 0.002, 0x35}, {"g", 0.05, 0x3C}, {"t", 0.1, 0x2B},
      {"oz", 1, 0x2A},      {"ozt", 20, 0x32},   {"dwt", 5, 0x3A},  {"ton", 0.01, 0x2C},
  };
  for (const auto& c : cases) {
    const Graduation graduation = MakeGraduation(1000 * c.division, c.division, {});
    const ContinuousLayout layout{true, true, UnitsOf(c.units), graduation};
    for (const std::int32_t divisions : {-5, 1, 600, 1000}) {
      const Reading sent{.gross = divisions * graduation.step,
                         .tare = 400 * graduation.step,
                         .netMode = true,
                         .motion = divisions == 1};
      const std::string frame = BuildContinuousFrame(layout, sent, true);
      EXPECT_EQ(frame[1], c.statusA) << c.division;
      unsigned sum = 0;
      for (const char character : frame) {
        ASSERT_GE(character, 0) << "the line carries seven bits";
        sum += static_cast<unsigned>(character);
      }
      EXPECT_EQ(sum % 128, 0U) << frame;
      tarn::ContinuousFrame read;
      read.ReadStatusAndWeight(std::string_view(frame).substr(1));
      read.ReadTareAndGross(std::string_view(frame).substr(1));
      EXPECT_EQ(read.GrossCounts, sent.gross);
      EXPECT_EQ(read.NetWeight("."), graduation.Text(sent.Displayed()));
      EXPECT_EQ(read.TareWeight("."), graduation.Text(sent.tare));
      EXPECT_EQ(read.Motion(), sent.motion);
      EXPECT_EQ(read.Units(), c.units);
      EXPECT_TRUE(read.PrintRequest());
      EXPECT_FALSE(read.OutOfRange());
    }
  }
  EXPECT_THROW(UnitsOf("KG"), UsageError);
}

}  // namespace
}  // namespace tarn::sim
