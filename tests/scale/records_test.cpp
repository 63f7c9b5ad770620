// The records: what each setter stores and which events it raises, and the activity timer.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "scale/activity_timer.hpp"
#include "scale/enumerations.hpp"
#include "scale/print_data.hpp"
#include "scale/tarn_record_template_data.hpp"
#include "scale/weight_data.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

TEST(TypeToClass, MapsEveryDialectAndNothingElse) {
  const int classes[] = {0, 1, 1, 1, 1,  1,  2,  2,  3,  3,  3,  4,  4,  4, 5,
                         6, 7, 8, 9, 10, 11, 11, 11, 11, 12, 12, 12, 12, 12};
  for (int type = 0; type < 29; ++type) {
    EXPECT_EQ(static_cast<int>(TypeToClass(ProtocolType{type})), classes[type]) << type;
  }
  for (const int type : {-1, 29, 1000, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(TypeToClass(ProtocolType{type}), ProtocolClass::NoProt) << type;
  }
}

class WeightDataTest : public testing::Test {
 protected:
  WeightDataTest() {
    recorder.Add(record.NewWeight, "New");
    recorder.Add(record.StatusChange, "Status");
  }
  void Reading(const char* gross, const char* tare, const char* net, bool outOfRange) {
    record.GrossWeight(gross);
    record.TareWeight(tare);
    record.NetWeight(net);
    record.OutOfRange(outOfRange);
  }
  std::string Texts() const {
    return record.GrossWeight() + "|" + record.TareWeight() + "|" + record.NetWeight();
  }
  std::string Flags() const {
    std::string flags;
    if (record.Motion()) flags += 'M';
    if (record.OutOfRange()) flags += 'R';
    if (record.AtZero()) flags += 'Z';
    if (record.InNetMode()) flags += 'N';
    if (record.NoDataError()) flags += 'E';
    return flags;
  }

  WeightData record{"."};
  EventRecorder recorder;
};

TEST_F(WeightDataTest, ANewRecordIsInMotionAndEmpty) {
  EXPECT_EQ(Texts(), "||");
  EXPECT_EQ(Flags(), "M");
  EXPECT_EQ(record.Units(), "");
  EXPECT_EQ(record.GrossWeightValue(), 0);
}

TEST_F(WeightDataTest, TheCommitDerivesTheFlagsAndRaisesInOrder) {
  record.Motion(false);
  record.Units("kg");
  EXPECT_EQ(recorder.Take(), "Status Status");
  Reading("12.5", "0.5", "12.0", false);
  EXPECT_EQ(recorder.Take(), "Status New");  // net mode
  EXPECT_EQ(Flags(), "N");
  Reading("0.0", "0", "0.0", false);
  EXPECT_EQ(recorder.Take(), "Status Status New");  // net mode off, at zero
  EXPECT_EQ(Flags(), "Z");
  Reading("0.0", "0", "0.0", false);
  EXPECT_EQ(recorder.Take(), "New");
}

TEST_F(WeightDataTest, OutOfRangeCoversTextsOnly) {
  Reading("12.5", "0.5", "12", false);
  recorder.Take();
  record.OutOfRange(true);
  EXPECT_EQ(recorder.Take(), "Status New");
  EXPECT_EQ(Texts(), "*******|0.5|*******");
  EXPECT_EQ(record.NetWeightValue(), 12);
  EXPECT_EQ(record.GrossWeightValue(), 12.5);
  EXPECT_EQ(Flags(), "MRN");  // not at zero: the value decides, not the text
  record.OutOfRange(true);
  EXPECT_EQ(recorder.Take(), "New");
}

TEST_F(WeightDataTest, NoDataErrorAndClearWeightAlwaysRaiseBothEvents) {
  Reading("12.5", "0.5", "12", false);
  record.Units("kg");
  recorder.Take();
  record.NoDataError(false);
  EXPECT_EQ(recorder.Take(), "Status New");
  EXPECT_EQ(Texts(), "12.5|0.5|12");
  record.NoDataError(true);
  EXPECT_EQ(recorder.Take(), "Status New");
  EXPECT_EQ(Texts(), "Error|Error|Error");
  EXPECT_EQ(Flags(), "RE");
  EXPECT_EQ(record.TareWeightValue(), 0);
  EXPECT_EQ(record.Units(), "kg");
  record.ClearWeight();
  EXPECT_EQ(recorder.Take(), "Status New");
  EXPECT_EQ(Texts(), "||");
  EXPECT_EQ(Flags(), "RE");  // the error stays
  EXPECT_EQ(record.Units(), "");
}

TEST_F(WeightDataTest, WeightAvailableChoosesTheTexts) {
  record.WeightAvailable(false);
  record.ClearWeight();
  EXPECT_EQ(Texts(), "N/A|N/A|N/A");
  record.NoDataError(true);
  EXPECT_EQ(Texts(), "N/A|N/A|N/A");
  record.WeightAvailable(true);
  record.NoDataError(true);
  EXPECT_EQ(Texts(), "Error|Error|Error");
}

TEST_F(WeightDataTest, ATextThatIsNoNumberIsKeptWithTheValueZero) {
  record.NetWeight("12");
  record.NetWeight("abc");
  EXPECT_EQ(record.NetWeight(), "abc");
  EXPECT_EQ(record.NetWeightValue(), 0);
  WeightData comma{","};
  comma.GrossWeight(" 1,5 ");
  comma.NetWeight("1.5");
  EXPECT_EQ(comma.GrossWeightValue(), 1.5);
  EXPECT_EQ(comma.NetWeightValue(), 0);
}

/// Whatever the order of the setters, the record obeys the same laws after each commit.
TEST_F(WeightDataTest, LawsHoldForRandomWrites) {
  std::mt19937 random(7);
  const char* texts[] = {"0", "0.0", "-1.5", "12", "", "*******", "abc"};
  int newWeights = 0;
  const auto count = record.NewWeight.Subscribe([&] { ++newWeights; });
  for (int i = 0; i < 2000; ++i) {
    const auto pick = [&](unsigned n) { return random() % n; };
    record.GrossWeight(texts[pick(7)]);
    if (pick(2) != 0) record.TareWeight(texts[pick(7)]);
    record.NetWeight(texts[pick(7)]);
    record.Motion(pick(2) != 0);
    if (pick(8) == 0) record.NoDataError(pick(2) != 0);
    const bool range = pick(3) == 0;
    const int before = newWeights;
    record.OutOfRange(range);
    ASSERT_EQ(newWeights, before + 1);
    ASSERT_EQ(record.OutOfRange(), range);
    ASSERT_EQ(record.AtZero(), record.NetWeightValue() == 0);
    ASSERT_EQ(record.InNetMode(), record.TareWeightValue() != 0);
    if (range) {
      ASSERT_EQ(record.GrossWeight(), kNoWeightText);
      ASSERT_EQ(record.NetWeight(), kNoWeightText);
    }
  }
}

TEST(PrintData, TheNetValueCommits) {
  PrintData print;
  EventRecorder recorder;
  recorder.Add(print.NewWeight, "New");
  print.GrossWeight("x");
  print.GrossWeightValue(1);
  print.TareWeightValue(2);
  EXPECT_EQ(recorder.Take(), "");
  print.NetWeightValue(0);
  EXPECT_EQ(recorder.Take(), "New");
  EXPECT_EQ(print.GrossWeightValue(), 1);
}

TEST(TarnRecordTemplateData, FieldsAreNumberedFromOne) {
  TarnRecordTemplateData record;
  EXPECT_EQ(record.FieldName(20), "None");
  EXPECT_EQ(record.NumFields(), 20);
  for (const std::int16_t index : std::initializer_list<std::int16_t>{0, 21, -1}) {
    EXPECT_EQ(ErrorOf([&] { record.SetFieldData(index, "x"); }), 9);
    EXPECT_EQ(ErrorOf([&] { (void)record.FieldName(index); }), 9);
  }
  EventRecorder recorder;
  recorder.Add(record.NewDataReady, "New");
  recorder.Add(record.TimeoutError, "Timeout");
  record.SetFieldData(1, "first");
  record.SetFieldData(20, "last");
  EXPECT_EQ(record.FieldDataArray()[19], "last");
  record.SetNoDataError(false);
  EXPECT_EQ(recorder.Take(), "");
  EXPECT_EQ(record.FieldData(1), "first");
  record.SetTimeoutError();
  EXPECT_EQ(recorder.Take(), "New Timeout");
  EXPECT_EQ(record.FieldData(20), "Error");
  record.SetNoDataError(true);
  EXPECT_EQ(recorder.Take(), "New");
  EXPECT_EQ(record.FieldData(20), "");
}

TEST(ActivityTimer, CountsTicksOfTwoHundredMilliseconds) {
  FakeHost host;
  std::shared_ptr<Timer> tick = host.loop.CreateTimer();
  tick->Interval(ActivityTimer::kTick);
  tick->Enabled(true);
  const struct {
    std::int32_t written;
    std::int32_t reads;
    int ticks;  ///< 0: never runs out
  } cases[] = {{0, 0, 0},   {100, 400, 2},    {300, 400, 2},    {500, 800, 4},
               {1, 200, 1}, {-1000, -800, 0}, {2000, 2200, 11}, {-200, 0, 0}};
  for (const auto& c : cases) {
    ActivityTimer timer(tick);
    EXPECT_TRUE(timer.TimedOut());
    EventRecorder recorder;
    recorder.Add(timer.TimedOutEvent, "out");
    timer.TimeoutTime(c.written);
    EXPECT_EQ(timer.TimeoutTime(), c.reads) << c.written;
    EXPECT_EQ(timer.TimedOut(), c.ticks == 0) << c.written;
    for (int i = 1; i <= 20; ++i) {
      host.loop.Advance(200);
      EXPECT_EQ(recorder.Take(), i == c.ticks ? "out" : "") << c.written << " tick " << i;
    }
  }
}

TEST(ActivityTimer, IsRearmedFromItsOwnEventAndStoppedByZero) {
  FakeHost host;
  std::shared_ptr<Timer> tick = host.loop.CreateTimer();
  tick->Interval(200);
  tick->Enabled(true);
  ActivityTimer timer(tick);
  int timeouts = 0;
  const auto subscription = timer.TimedOutEvent.Subscribe([&] {
    if (++timeouts < 3) timer.TimeoutTime(200);
  });
  timer.TimeoutTime(200);
  host.loop.Advance(4000);
  EXPECT_EQ(timeouts, 3);
  timer.TimeoutTime(500);
  host.loop.Advance(200);
  timer.TimeoutTime(0);
  host.loop.Advance(4000);
  EXPECT_EQ(timeouts, 3);
}

}  // namespace
}  // namespace tarn
