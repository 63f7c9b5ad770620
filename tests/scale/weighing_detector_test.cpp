// Which readings are weighings: stories of readings, and a scale that makes print records of them.
#include "scale/weighing_detector.hpp"

#include <gmock/gmock.h>

#include <limits>
#include <sstream>

#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

/// Plays readings "MILLISECONDS:GROSS" with these marks behind: ~ motion, ! out of range, lb
/// pounds, n a net weight without a gross. "restart" is a fresh start. Returns the times of the
/// weighings.
std::string Weighings(const DetectionSettings& settings, const std::string& story) {
  WeightData record(",");
  WeighingDetector detector;
  detector.Settings(settings);
  std::string times;
  std::istringstream steps(story);
  for (std::string step; steps >> step;) {
    if (step == "restart") {
      detector.Restart();
      continue;
    }
    const std::size_t colon = step.find(':');
    const std::size_t marks = std::min(step.find_first_of("~!ln", colon), step.size());
    const auto marked = [&](char mark) { return step.find(mark, marks) != step.npos; };
    const std::string weight = step.substr(colon + 1, marks - colon - 1);
    record.GrossWeight(marked('n') ? std::string(kNoWeightText) : weight);
    record.NetWeight(marked('n') ? weight : "99,9");
    record.Units(marked('l') ? "lb" : "kg");
    record.Motion(marked('~'));
    record.OutOfRange(marked('!'));
    const std::string time = step.substr(0, colon);
    if (detector.Take(LoadReadingOf(record, std::stod(time), 2000))) times += time + " ";
  }
  return times;
}

TEST(WeighingDetector, FindsEachLoadThatRestsOnceAndNothingElse) {
  const DetectionSettings usual{.minimum = 1};
  const struct {
    const char* what;
    DetectionSettings settings;
    const char* story;
    const char* weighings;
  } cases[] = {
      {"a load that is there at the start", usual, "5:3,00 500:3,00 1004:3,00 1005:3,00 9:3,00",
       "1005 "},
      {"equal loads one after the other", usual,
       "0:3,00 1000:3,00 1100:0,50 1200:0,49~ 1300:3,00~ 1400:3,00 2400:3,00 3400:3,00",
       "1000 2400 "},
      {"another load without relief", usual, "0:3,00 1000:3,00 2000:4,00 3000:4,00", "1000 "},
      {"without a time to rest, the first one without motion",
       {.minimum = 1, .stable = 0},
       "0:3,00~ 1:3,00 2:3,00 3:0,49 4:3,00",
       "1 4 "},
      {"too light, or negative", usual, "0:0,99 1000:0,99 2000:-3,00 3000:-3,00", ""},
      {"motion, and a load off the limits, begin again", usual,
       "0:3,00 500:3,00~ 1000:3,00 1999:3,02 2500:3,01 2998:3,02 2999:3,02", "2999 "},
      {"a slow drift never rests", usual, "0:3,00 500:3,01 1000:3,02 1500:3,03 2000:3,04", ""},
      {"a drift within the digits",
       {.minimum = 1, .digits = 5},
       "0:3,00 500:3,05 1000:3,00",
       "1000 "},
      {"the finer of two ranges counts", usual, "0:3,00 500:2,995 1000:3,00 1500:3,00 2000:3,00",
       "2000 "},
      {"whole numbers", {.minimum = 20, .digits = 20}, "0:3000 500:3020 1000:3000", "1000 "},
      {"out of range, or no number", usual,
       "0:3,00 500:3,00! 1000:3,00 1500:3.00n 1900:3,00 2899:3,00 2900:3,00", "2900 "},
      {"another unit", usual, "0:3,00 500:3,00lb 1000:3,00 2000:3,00", "2000 "},
      {"a pause after which the reading is stale", usual, "0:3,00 2001:3,00 4001:3,00", "4001 "},
      {"silence is no relief", usual, "0:3,00 1000:3,00 90000:3,00 91000:3,00", "1000 "},
      {"the net where there is no gross", usual,
       "0:3,00n 1000:3,00n 1001:0,00n 2000:3,00n 3000:3,00n", "1000 3000 "},
      {"gross and net are not the same", usual, "0:3,00n 500:3,00 1000:3,00 1500:3,00", "1500 "},
      {"an own limit",
       {.minimum = 1, .rearm = 0.2},
       "0:3,00 1000:3,00 1001:0,20 2001:3,00 3001:3,00",
       "1000 "},
      {"a limit above the minimum is the minimum",
       {.minimum = 1, .rearm = 9},
       "0:3,00 1000:3,00 2000:3,00 3000:3,00",
       "1000 "},
      {"a fresh start", usual, "0:3,00 1000:3,00 restart 1100:3,00 2100:3,00", "1000 2100 "},
  };
  for (const auto& c : cases) EXPECT_EQ(Weighings(c.settings, c.story), c.weighings) << c.what;
}

class DetectingScale : public ScaleFixture {
 protected:
  DetectingScale() {
    scale->DetectMinimum(1);
    onPrint = scale->PrintData()->NewWeight.Subscribe([this] {
      prints += scale->PrintData()->GrossWeight() + " " +
                std::string(PrintOriginName(scale->PrintData()->Origin())) + "; ";
      if (diskFull) throw AutomationError(ErrorNumber::DiskFull, "no room");
    });
  }
  void Rest(const char* gross) {
    for (int i = 0; i < 2; ++i, host.loop.Advance(1000)) {
      scale->WeightData()->GrossWeight(gross);
      scale->WeightData()->Motion(false);
      scale->WeightData()->OutOfRange(false);
    }
  }
  std::string Prints() { return std::exchange(prints, {}); }

  std::shared_ptr<TarnScale> scale = NewScale();
  std::string prints;
  bool diskFull = false;
  Subscription onPrint;
};

TEST_F(DetectingScale, RecordsAWeighingBesideWhatIsAskedFor) {
  scale->printRequest(false, PrintOrigin::Client);
  scale->P(PrintOrigin::Request);  // over a one-way connection; the one that waits came first
  scale->printRequest(true, PrintOrigin::Request);
  Rest("2.5");
  EXPECT_EQ(Prints(), " request; 2.5 client; 2.5 detection; ");
  scale->StopScale();
  Rest("2.5");
  EXPECT_EQ(Prints(), "2.5 detection; ") << "a fresh start";
  scale->Disabled(true);
  scale->WeightData()->NoDataError(true);  // no reading
  scale->printRequest();
  scale->DetectStable(0);
  Rest("2.5");
  EXPECT_EQ(Prints(), "2.5 detection; 2.5 terminal; ");
  scale->DetectMinimum(0);
  Rest("0");
  Rest("2.5");
  EXPECT_EQ(Prints(), "");
}

TEST_F(DetectingScale, AWeighingThatTheLogCannotTakeCostsNoReadingAndComesOnce) {
  diskFull = true;
  Rest("2.5");
  Rest("2.5");
  EXPECT_EQ(Prints(), "2.5 detection; ");
  EXPECT_THAT(host.traces, testing::ElementsAre(testing::HasSubstr("not in the log: no room")));
}

TEST_F(DetectingScale, RefusesWhatIsNoAmount) {
  for (const double wrong :
       {-0.1, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(ErrorOf([&] { scale->DetectMinimum(wrong); }), 380);
    EXPECT_EQ(ErrorOf([&] { scale->DetectRearm(wrong); }), 380);
  }
  EXPECT_EQ(ErrorOf([&] { scale->DetectStable(-1); }), 380);
  EXPECT_EQ(ErrorOf([&] { scale->DetectDigits(-1); }), 380);
  EXPECT_EQ(scale->DetectMinimum() + scale->DetectStable(), 1001);
}

}  // namespace
}  // namespace tarn
