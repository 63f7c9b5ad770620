// The records: what each setter stores and which events it raises, and the activity timer.
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include "scale/activity_timer.hpp"
#include "scale/enumerations.hpp"
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
  for (const int type : {-1, 99, 1000, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(TypeToClass(ProtocolType{type}), ProtocolClass::NoProt) << type;
  }
}

/// The weight record once more, step by step: gross, tare and net; motion, zero and net mode.
struct RecordModel {
  std::string text[3], units, noData = "Error", cleared, trace;
  double value[3] = {};
  bool flags[3] = {true, false, false}, range = false, error = false;

  void Raise(const char* event) { trace += event + Text(); }
  std::string Text() const {
    std::ostringstream all;
    for (int i = 0; i < 3; ++i) all << ' ' << text[i] << '|' << value[i] << '|' << flags[i];
    all << units << range << error << '\n';
    return all.str();
  }
  void Flag(bool& flag, bool to) {
    if (std::exchange(flag, to) != to) Raise("Status");
  }
  void Blank(const std::string& with) {
    for (int i = 0; i < 3; ++i) text[i] = with, value[i] = 0, flags[i] = false;
    range = true;
  }
  void RaiseBoth() {
    Raise("Status");
    Raise("New");
  }
  void Commit(bool to) {
    if (to) text[0] = text[2] = "*******";
    Flag(range, to);
    Flag(flags[2], value[1] != 0);
    Flag(flags[1], value[2] == 0);
    Raise("New");
  }
};

std::string TextOf(const WeightData& r) {
  const RecordModel same{{r.GrossWeight(), r.TareWeight(), r.NetWeight()},
                         r.Units(),
                         {},
                         {},
                         {},
                         {r.GrossWeightValue(), r.TareWeightValue(), r.NetWeightValue()},
                         {r.Motion(), r.AtZero(), r.InNetMode()},
                         r.OutOfRange(),
                         r.NoDataError()};
  return same.Text();
}

/// After each write the fields, and whatever was raised with the fields at that moment.
TEST(WeightData, DoesWithRandomWritesWhatItsDescriptionSays) {
  using Record = WeightData;
  void (Record::*const texts[])(std::string) = {&Record::GrossWeight, &Record::TareWeight,
                                                &Record::NetWeight};
  void (Record::*const values[])(double) = {&Record::GrossWeightValue, &Record::TareWeightValue,
                                            &Record::NetWeightValue};
  void (Record::*const flags[])(bool) = {&Record::Motion, &Record::AtZero, &Record::InNetMode};
  const std::pair<const char*, double> numbers[] = {
      {"0", 0}, {" 0.0 ", 0}, {"-1.5", -1.5}, {"12", 12}, {"", 0}, {"*******", 0}, {"1,5", 0}};
  std::mt19937 random(7);
  RecordModel model;
  Record record{"."};
  std::string raised;
  const auto onStatus = record.StatusChange.Subscribe([&] { raised += "Status" + TextOf(record); });
  const auto onNew = record.NewWeight.Subscribe([&] { raised += "New" + TextOf(record); });
  ASSERT_EQ(TextOf(record), model.Text());
  for (int i = 0; i < 20'000; ++i) {
    const auto& [text, number] = numbers[random() % 7];
    const bool on = random() % 2 != 0;
    const auto which = random() % 3;
    const auto write = random() % 8;
    if (write == 0) {
      (record.*texts[which])(text);
      model.text[which] = text;
      model.value[which] = number;
    } else if (write == 1) {
      (record.*values[which])(number);
      model.value[which] = number;
    } else if (write == 2) {
      (record.*flags[which])(on);
      model.Flag(model.flags[which], on);
    } else if (write == 3) {
      record.Units(text);
      if (std::exchange(model.units, text) != text) model.Raise("Status");
    } else if (write == 4) {
      record.NoDataError(on);
      model.error = on;
      if (on) model.Blank(model.noData);
      model.RaiseBoth();
    } else if (write == 5) {
      record.ClearWeight();
      model.Blank(model.cleared);
      model.units.clear();
      model.RaiseBoth();
    } else if (write == 6) {
      record.WeightAvailable(on);
      model.noData = on ? "Error" : "N/A";
      model.cleared = on ? "" : "N/A";
    } else {
      record.OutOfRange(on);
      model.Commit(on);
    }
    ASSERT_EQ(TextOf(record), model.Text()) << write;
    ASSERT_EQ(std::exchange(raised, {}), std::exchange(model.trace, {})) << write;
  }
  WeightData comma{","};
  comma.GrossWeight(" 1,5 ");
  comma.NetWeight("1.5");
  EXPECT_EQ(comma.GrossWeightValue(), 1.5);
  EXPECT_EQ(comma.NetWeightValue(), 0);
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

}  // namespace
}  // namespace tarn
