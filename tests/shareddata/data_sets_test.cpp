#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "shareddata/sd_variables.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_config.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_config.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::shared_ptr<SDTagInfo> TagNamed(const std::string& name) {
  auto tag = std::make_shared<SDTagInfo>();
  tag->TagName(name);
  return tag;
}

class DataSets : public ScaleFixture {
 protected:
  template <class Data>
  void Watch(Data& data) {
    events = EventRecorder();
    events.Add(data.NewDataReady, "New");
    events.Add(data.CommLossErrorEvent, "Lost");
    events.Add(data.ConfigChanged, "Config");
  }
  EventRecorder events;
};

TEST(Tags, AreFoundByKeyAndPosition) {
  SDVariables tags;
  const auto first = tags.AddTag(true, "ce120", SDTagType::SDLongType, 4, "Zero", "Key");
  tags.AddTag(false, "ce220", SDTagType::SDLongType, 4, "", "");
  EXPECT_EQ(ErrorOf([&] { tags.AddExistingTag(first, "KEY"); }), 457);
  EXPECT_TRUE(first->TriggerRequired() && !tags.Item(2)->TriggerRequired());
  EXPECT_EQ(tags.Item("kEY"), first);
  for (const char* none : {"ce220", ""}) EXPECT_EQ(tags.Item(none), nullptr);
  for (const int position : {0, 3, -1}) {
    EXPECT_EQ(tags.Item(position), nullptr);
    EXPECT_EQ(ErrorOf([&] { tags.RemoveTag(position); }), 9);
  }
  EXPECT_EQ(ErrorOf([&] { tags.RemoveTag("none"); }), 9);
  tags.RemoveTag("key");
  EXPECT_EQ(tags.Item(1)->TagName(), "ce220");
}

TEST(Tags, ValuesConvertAsAutomationDoes) {
  const std::tuple<TagValue, std::string, double, bool> cases[] = {
      {{}, "", 0, false},      {true, "True", -1, true},  {std::uint8_t{200}, "200", 200, true},
      {2.5, "2,5", 2.5, true}, {"1,5", "1,5", 1.5, true}, {"0", "0", 0, false},
  };
  for (const auto& [value, text, number, boolean] : cases) {
    EXPECT_EQ(ToText(value, ","), text);
    EXPECT_EQ(ToNumber(value, ","), number);
    EXPECT_EQ(ToBoolean(value, ","), boolean);
  }
  EXPECT_TRUE(ToBoolean("true", "."));
  EXPECT_EQ(ToInteger(2.5, "."), 2);
  EXPECT_EQ(ErrorOf([] { ToByte(std::int16_t{256}, "."); }), 6);
  EXPECT_EQ(ErrorOf([] { ToLong(3e9, "."); }), 6);
  EXPECT_EQ(ErrorOf([] { ToFloat(1e39, "."); }), 6);
  EXPECT_EQ(ErrorOf([] { ToLong("x", "."); }), 13);
  EXPECT_EQ(ErrorOf([] { ToText(Bytes{1}, "."); }), 13);
}

TEST_F(DataSets, AnErrorClearsTheValuesAndRaisesItsEventsInOrder) {
  TarnScaleDiagData data(*site);
  Watch(data);
  const std::tuple<std::function<void()>, const char*, std::int32_t> cases[] = {
      {[&] { data.CommLossError(true); }, "New Lost", 0},
      {[&] { data.CommLossError(false); }, "", 7},
      {[&] { data.NoDataError(true); }, "New", 0},
      {[&] { data.NoDataError(false); }, "", 7},
      {[&] { data.ConfigurationChanged(); }, "Config", 7},
      {[&] { data.DataUpdated(); }, "New", 7},
      {[&] { data.CommLossError(true), data.NoDataError(true); }, "New Lost New", 0},
      {[&] { data.ResetState(); }, "", 7}};
  for (const auto& [call, raised, left] : cases) {
    data.SetLongData(7, 0, TagNamed("ce120"));
    data.SetByteData('X', TagNamed("cs121"));
    call();
    EXPECT_EQ(events.Take(), raised);
    EXPECT_EQ(data.ScaleCalZeroCounts(1), left);
  }
  EXPECT_FALSE(data.CommLossError() || data.NoDataError() || data.TriggersComplete());
  EXPECT_EQ(data.PresentScales(), 0);
}

TEST_F(DataSets, NamesThatMatchNoRuleAreIgnored) {
  TarnScaleDiagData diag(*site);
  TarnPredictFailureData failure;
  const auto texts = [&] {
    std::string all = std::to_string(diag.PresentScales());
    for (const auto& values : {diag.NamedValues(), failure.NamedValues()}) {
      for (const NamedValue& value : values) all += value.name + value.value;
    }
    return all;
  };
  const std::string before = texts();
  for (const char* name : {"ce520", "ce020", "cex20", "ce1", "ce", "", "s_206", "xx120", "ce199"}) {
    Bytes bytes(30, 1);
    const auto tag = TagNamed(name);
    for (_SummitData* data : std::initializer_list<_SummitData*>{&diag, &failure}) {
      data->SetBitData(true, tag), data->SetByteData(1, tag);
      data->SetCharArrayData(bytes, 30, tag), data->SetLongData(1, 0, tag);
      data->SetFloatData(1, 0, tag), data->SetDoubleData(1, 0, tag);
    }
  }
  EXPECT_EQ(texts(), before);
}

TEST_F(DataSets, ScaleDiagnosticsEdges) {
  TarnScaleDiagData data(*site);
  data.SetByteData('N', TagNamed("cs221"));
  EXPECT_EQ(data.PresentScales(), 0);
  data.SetByteData('A', TagNamed("cs321"));
  EXPECT_EQ(data.PresentScales(), 1);
  data.SetByteData(9, TagNamed("ce302"));
  EXPECT_EQ(data.KindByte(3), 0);
  for (int i = 0; i < 40000; ++i) data.SetByteData('P', TagNamed("cs121"));
  EXPECT_EQ(data.PresentScales(), 32767);

  Bytes text{'a', 'b', 'c'};
  for (const auto& [length, expected] :
       {std::pair<std::int16_t, const char*>{2, "ab"}, {-1, ""}, {9, "abc"}}) {
    data.SetCharArrayData(text, length, TagNamed("ws413"));
    EXPECT_EQ(data.LastScaleError(4), expected);
  }
  for (const float bad : {3e9F, -3e9F, std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(ErrorOf([&] { data.SetFloatData(bad, 0, TagNamed("ws114")); }), 6);
  }
  EXPECT_EQ(ErrorOf([&] { data.SetDoubleData(-1e300, 0, TagNamed("ws108")); }), 6);
  EXPECT_EQ(ErrorOf([&] { data.SetLongData(1, 0, nullptr); }), 91);
  for (const std::int16_t index : {std::int16_t{0}, std::int16_t{5}}) {
    EXPECT_EQ(ErrorOf([&] { data.ScaleCalZeroCounts(index); }), 9);
    EXPECT_EQ(ErrorOf([&] { data.LastScaleError(index); }), 9);
  }
}

TEST_F(DataSets, FailurePredictionEdges) {
  TarnPredictFailureConfig config;
  for (const std::int16_t index : {std::int16_t{0}, std::int16_t{5}, std::int16_t{32767}}) {
    EXPECT_EQ(config.GetResetTrigger(index), "");
  }
  EXPECT_EQ(config.GetTagInfoByIndex(0), nullptr);
  EXPECT_EQ(config.GetTagInfoByIndex(static_cast<std::int16_t>(config.GetTagInfoCount() + 1)),
            nullptr);

  TarnPredictFailureData data;
  Watch(data);
  Bytes bytes(24, 3);
  data.SetCharArrayData(bytes, 10, TagNamed("bd018"));
  EXPECT_EQ(data.CellZeroDriftStatus(10), 3);
  EXPECT_EQ(data.CellZeroDriftStatus(11), 0);
  EXPECT_EQ(ErrorOf([&] { data.SetCharArrayData(bytes, 25, TagNamed("bd018")); }), 0);
  data.SetCharArrayData(bytes, 1, TagNamed("bd021"));
  EXPECT_EQ(data.NumberActiveCells(), 24);
  EXPECT_EQ(events.Take(), "Config");
  bytes.pop_back();
  EXPECT_EQ(ErrorOf([&] { data.SetCharArrayData(bytes, 24, TagNamed("bd021")); }), 9);
  EXPECT_EQ(events.Take(), "");
  data.SetLongData(5, 0, TagNamed("pcl07"));
  EXPECT_EQ(data.CellZeroDriftCounter(1), 5);
  for (const std::int16_t index : {std::int16_t{24}, std::int16_t{-1}}) {
    EXPECT_EQ(ErrorOf([&] { data.SetLongData(5, index, TagNamed("pcl06")); }), 9);
    EXPECT_EQ(ErrorOf([&] { data.SetLongData(5, index, TagNamed("pcl07")); }), 9);
  }
  EXPECT_EQ(ErrorOf([&] { data.CellZeroDriftCounter(25); }), 9);
  EXPECT_EQ(ErrorOf([&] { data.SymmetryFailure(5); }), 9);
  data.CommLossError(true);
  EXPECT_EQ(data.NumberActiveCells() + data.CellZeroDriftCounter(1), 0);
}

TEST_F(DataSets, LoadCellDiagnosticsReadWhatTheUserNames) {
  const auto config = NewObject<TarnOrbixDiagConfig>(*site, "TarnOrbixDiagConfig");
  EXPECT_EQ(config->GetTagInfoCount(), 0);
  config->ScanTableVariable("scan");
  config->CountsVariable("counts");
  config->OverloadStatusVariable("scan");  // one variable is read once
  config->CountsType(SDTagType::SDLongCharArrayType);
  std::string tags;
  for (std::int16_t i = 1; i <= config->GetTagInfoCount(); ++i) {
    const auto tag = config->GetTagInfoByIndex(i);
    tags += tag->TagName() + "=" + tag->EasyIndex() + " " +
            std::to_string(static_cast<int>(tag->TagType())) + " " +
            std::to_string(tag->TagDataLen()) + "; ";
  }
  EXPECT_EQ(tags, "counts=Counts 13 312; scan=OverloadStatus 11 24; ");

  TarnOrbixDiagData data;
  Watch(data);
  const auto tag = TagNamed("any");
  Bytes bytes{1, 0, 7};
  bytes.resize(24);
  const std::tuple<std::string_view, std::int16_t, const char*> arrays[] = {
      {TarnOrbixDiagConfig::kErrorNumbers, 3, ""},
      {TarnOrbixDiagConfig::kOverloadStatus, 2, ""},
      {TarnOrbixDiagConfig::kScanTable, 24, "Config"}};
  for (const auto& [index, length, raised] : arrays) {
    tag->EasyIndex(std::string(index));
    data.SetCharArrayData(bytes, length, tag);
    EXPECT_EQ(events.Take(), raised);
  }
  tag->EasyIndex(std::string(TarnOrbixDiagConfig::kCounts));
  data.SetLongData(99, 23, tag);
  EXPECT_EQ(ErrorOf([&] { data.SetLongData(1, 24, tag); }), 9);
  EXPECT_EQ(data.CellErrorNumber(3), 7);
  EXPECT_EQ(data.CellOverloadStatus(3), 0);
  EXPECT_EQ(data.NumberActiveCells(), 2);
  EXPECT_EQ(data.CellCounts(data.MaxNumCells()), 99);
  data.NoDataError(true);
  EXPECT_EQ(data.CellCountsArray(), (CellLongs::Array{}));
  EXPECT_EQ(data.NumberActiveCells(), 0);
}

}  // namespace
}  // namespace tarn
