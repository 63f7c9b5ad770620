// Which readings are weighings: stories of readings, and a scale that makes print records of them.
#include "scale/weighing_detector.hpp"

#include <limits>
#include <sstream>

#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

/// Plays readings "TIME:GROSS", the time in tenths of a second, with these marks behind: ~ motion,
/// ! out of range, l pounds, n a net weight without a gross; "restart" is a fresh start. A reading
/// goes stale after 2 s. Returns the times of the weighings.
std::string Weighings(const DetectionSettings& settings, const std::string& story) {
  WeightData record(",");
  WeighingDetector detector;
  detector.Settings(settings);
  std::string times;
  std::istringstream steps(story);
  for (std::string step; steps >> step;) {
    if (step == "restart") detector.Restart();
    const std::size_t colon = step.find(':');
    if (colon == std::string::npos) continue;
    const std::string weight = step.substr(colon + 1, step.find_first_of("~!ln") - colon - 1);
    const auto marked = [&](char mark) { return step.find(mark) != std::string::npos; };
    record.GrossWeight(marked('n') ? std::string(kNoWeightText) : weight);
    record.NetWeight(marked('n') ? weight : "99,9");
    record.Units(marked('l') ? "lb" : "kg");
    record.Motion(marked('~'));
    record.OutOfRange(marked('!'));
    const std::string time = step.substr(0, colon);
    if (detector.Take(LoadReadingOf(record, 100 * std::stod(time), 2000))) times += time + " ";
  }
  return times;
}

TEST(WeighingDetector, FindsEachLoadThatRestsOnceAndNothingElse) {
  const DetectionSettings usual{.minimum = 1};
  const DetectionSettings atOnce{.minimum = 1, .stable = 0};
  const DetectionSettings wide{.minimum = 1, .digits = 5};
  const DetectionSettings lowLimit{.minimum = 1, .rearm = 0.2};
  const DetectionSettings highLimit{.minimum = 1, .rearm = 9};
  const struct {
    const char* what;
    const DetectionSettings& settings;
    const char* story;
    const char* weighings;
  } cases[] = {
      {"there at the start", usual, "1:3,0 5:3,0 10.9:3,0 11:3,0 12:3,0 30:3,0", "11 "},
      {"equal loads", usual, "0:3,0 10:3,0 11:0,5 12:3,0 22:3,0 23:0,4~ 24:3,0 34:3,0", "10 34 "},
      {"another load without relief", usual, "0:3,0 10:3,0 20:4,0 30:4,0", "10 "},
      {"no time to rest", atOnce, "0:3,0~ 1:3,0 2:3,0 3:0,49 4:3,0", "1 4 "},
      {"too light, negative", usual, "0:0,9 10:0,9 20:-3,0 30:-3,0", ""},
      {"motion, another load", usual, "0:3,0 5:3,0~ 10:3,0 19:3,2 25:3,1 28:3,2 29:3,2", "29 "},
      {"a slow drift", usual, "0:3,0 5:3,1 10:3,2 15:3,3 20:3,4", ""},
      {"within the digits", wide, "0:3,00 5:3,05 10:3,00 11:0 12:300 22:305", "10 22 "},
      {"the finer of two ranges", usual, "0:3,0 5:2,95 10:3,0 15:3,0 20:3,0", "20 "},
      {"out of range, no number", usual, "0:3,0 5:3,0! 10:3,0 15:3.0n 19:3,0 28:3,0 29:3,0", "29 "},
      {"another unit", usual, "0:3,0 5:3,0l 10:3,0 20:3,0", "20 "},
      {"a pause", usual, "0:3,0 20.1:3,0 40.1:3,0", "40.1 "},
      {"silence is no relief", usual, "0:3,0 10:3,0 900:3,0 910:3,0", "10 "},
      {"without a gross", usual, "0:3,0n 10:3,0n 11:0,0n 20:3,0n 30:3,0n", "10 30 "},
      {"the gross is gone", usual, "0:3,0 5:3,0n 10:3,0n 15:3,0n", "15 "},
      {"its own limit", lowLimit, "0:3,0 10:3,0 11:0,2 20:3,0 30:3,0 31:0,1 40:3,0 50:3,0",
       "10 50 "},
      {"no limit above the minimum", highLimit, "0:3,0 10:3,0 20:3,0 30:3,0", "10 "},
      {"a fresh start", usual, "0:3,0 10:3,0 restart 11:3,0 21:3,0", "10 21 "},
  };
  for (const auto& c : cases) EXPECT_EQ(Weighings(c.settings, c.story), c.weighings) << c.what;
}

class DetectingScale : public ScaleFixture {
 protected:
  /// The prints of a load that rests, with their origins.
  std::string Rest(const char* gross) {
    std::string prints;
    const auto onPrint = scale->PrintData()->NewWeight.Subscribe([&] {
      prints += scale->PrintData()->GrossWeight() + " " +
                std::string(PrintOriginName(scale->PrintData()->Origin())) + "; ";
      if (diskFull) throw AutomationError(ErrorNumber::DiskFull, "no room");
    });
    for (int i = 0; i < 2; ++i, host.loop.Advance(1000)) {
      scale->WeightData()->GrossWeight(gross);
      scale->WeightData()->Motion(false);
      scale->WeightData()->OutOfRange(false);
      scale->WeightData()->NoDataError(true);  // as fixed layouts end each reading
    }
    return prints;
  }

  std::shared_ptr<TarnScale> scale = NewScale();
  bool diskFull = false;
};

TEST_F(DetectingScale, RecordsAWeighingBesideWhatIsAskedFor) {
  scale->DetectMinimum(1);
  scale->printRequest(false, PrintOrigin::Client);
  scale->P(PrintOrigin::Request);  // over a one-way connection; the one that waits came first
  EXPECT_EQ(Rest("2.5"), "2.5 client; 2.5 detection; ");
  scale->StopScale();
  EXPECT_EQ(Rest("2.5"), "2.5 detection; ") << "a fresh start";
  scale->Disabled(true);
  scale->printRequest();
  scale->DetectStable(0);
  EXPECT_EQ(Rest("2.5"), "2.5 detection; 2.5 terminal; ");
  diskFull = true;
  EXPECT_EQ(Rest("0"), "");
  EXPECT_EQ(Rest("2.5"), "2.5 detection; ") << "once, and no reading is lost";
  EXPECT_EQ(host.traces.size(), 1U);
  scale->DetectMinimum(0);
  EXPECT_EQ(Rest("2.5"), "");
  scale->DetectMinimum(1);
  EXPECT_EQ(Rest("2.5"), "2.5 detection; ") << "on again";
  const double noNumber = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(ErrorOf([&] { scale->DetectMinimum(noNumber); }), 380);
  EXPECT_EQ(ErrorOf([&] { scale->DetectRearm(-0.1); }), 380);
  EXPECT_EQ(ErrorOf([&] { scale->DetectStable(-1); }), 380);
  EXPECT_EQ(scale->DetectMinimum() + scale->DetectRearm() + scale->DetectStable(), 1);
}

}  // namespace
}  // namespace tarn
