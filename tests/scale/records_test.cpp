// The records: what each setter stores and which events it raises, and the activity timer.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

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

/// gross, tare and net with their values, the units; motion, zero, net mode, out of range, error.
std::string TextOf(const WeightData& r) {
  std::ostringstream text;
  text << r.GrossWeight() << '=' << r.GrossWeightValue() << ' ' << r.TareWeight() << '='
       << r.TareWeightValue() << ' ' << r.NetWeight() << '=' << r.NetWeightValue() << ' '
       << r.Units() << ' ' << (r.Motion() ? "M" : "") << (r.AtZero() ? "Z" : "")
       << (r.InNetMode() ? "N" : "") << (r.OutOfRange() ? "R" : "") << (r.NoDataError() ? "E" : "");
  return text.str();
}

/// What each write raises, with the fields at that moment, and the fields after the silent ones.
TEST(WeightData, RaisesItsEventsWhenTheFieldsAreComplete) {
  using Trace = std::vector<std::string>;
  WeightData r{","};
  Trace raised;
  const auto onStatus = r.StatusChange.Subscribe([&] { raised.push_back("Status " + TextOf(r)); });
  const auto onNew = r.NewWeight.Subscribe([&] { raised.push_back("New " + TextOf(r)); });
  const std::pair<std::function<void()>, Trace> writes[] = {
      {[] {}, {"=0 =0 =0  M"}},
      {[&] { r.GrossWeight(" 12,5 "), r.TareWeight("2"), r.NetWeight("10.5"); },
       {" 12,5 =12.5 2=2 10.5=0  M"}},
      {[&] { r.Units("kg"); }, {"Status  12,5 =12.5 2=2 10.5=0 kg M"}},
      {[&] { r.Units("kg"), r.Motion(true); }, {" 12,5 =12.5 2=2 10.5=0 kg M"}},
      {[&] { r.OutOfRange(false); },
       {"Status  12,5 =12.5 2=2 10.5=0 kg MN", "Status  12,5 =12.5 2=2 10.5=0 kg MZN",
        "New  12,5 =12.5 2=2 10.5=0 kg MZN"}},
      {[&] { r.NetWeight("3"), r.OutOfRange(true); },
       {"Status *******=12.5 2=2 *******=3 kg MZNR", "Status *******=12.5 2=2 *******=3 kg MNR",
        "New *******=12.5 2=2 *******=3 kg MNR"}},
      {[&] { r.GrossWeightValue(1), r.TareWeightValue(0), r.NetWeightValue(5); },
       {"*******=1 2=0 *******=5 kg MNR"}},
      {[&] { r.Motion(false); }, {"Status *******=1 2=0 *******=5 kg NR"}},
      {[&] { r.AtZero(true), r.InNetMode(false); },
       {"Status *******=1 2=0 *******=5 kg ZNR", "Status *******=1 2=0 *******=5 kg ZR"}},
      {[&] { r.Motion(true), r.NoDataError(true); },
       {"Status *******=1 2=0 *******=5 kg MZR", "Status Error=0 Error=0 Error=0 kg RE",
        "New Error=0 Error=0 Error=0 kg RE"}},
      {[&] { r.ClearWeight(); }, {"Status =0 =0 =0  RE", "New =0 =0 =0  RE"}},
      {[&] { r.NoDataError(false); }, {"Status =0 =0 =0  R", "New =0 =0 =0  R"}},
      {[&] { r.OutOfRange(false); },
       {"Status =0 =0 =0  ", "Status =0 =0 =0  Z", "New =0 =0 =0  Z"}},
      {[&] { r.WeightAvailable(false); }, {"=0 =0 =0  Z"}},
      {[&] { r.ClearWeight(); }, {"Status N/A=0 N/A=0 N/A=0  R", "New N/A=0 N/A=0 N/A=0  R"}},
      {[&] { r.NoDataError(true); }, {"Status N/A=0 N/A=0 N/A=0  RE", "New N/A=0 N/A=0 N/A=0  RE"}},
  };
  for (const auto& [write, expected] : writes) {
    raised.clear();
    write();
    EXPECT_EQ(raised.empty() ? Trace{TextOf(r)} : raised, expected);
  }
}

TEST(TarnRecordTemplateData, FieldsAreNumberedFromOne) {
  TarnRecordTemplateData record;
  EXPECT_EQ(record.FieldName(record.NumFields()), "None");
  for (const std::int16_t index : {std::int16_t{0}, std::int16_t{21}}) {
    EXPECT_EQ(ErrorOf([&] { record.SetFieldData(index, "x"); }), 9);
    EXPECT_EQ(ErrorOf([&] { (void)record.FieldName(index); }), 9);
  }
  EventRecorder recorder;
  recorder.Add(record.NewDataReady, "New");
  recorder.Add(record.TimeoutError, "Timeout");
  record.SetFieldData(1, "first");
  record.SetFieldData(20, "last");
  record.SetNoDataError(false);
  EXPECT_EQ(recorder.Take(), "");
  EXPECT_EQ(record.FieldData(1) + record.FieldDataArray()[19], "firstlast");
  record.SetTimeoutError();
  EXPECT_EQ(recorder.Take() + record.FieldData(20), "New TimeoutError");
  record.SetNoDataError(true);
  EXPECT_EQ(recorder.Take() + record.FieldData(20), "New");
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
