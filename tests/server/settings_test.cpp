// Every class that a settings file may name: what it saves, in which order, and which defaults it
// leaves out; and which writes of clients mark the configuration as changed.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "protocols/kes_demand_template_protocol.hpp"
#include "server/class_registry.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_orbix_diag_config.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

/// What an object saves: each row is one write, of a value that is not its default.
using Rows = std::vector<std::function<void(PropertyBag&)>>;

Rows::value_type Flag(const char* key, bool value) {
  return [=](PropertyBag& bag) { bag.WriteBoolean(key, value, !value); };
}
Rows::value_type Integer(const char* key, std::int16_t value) {
  return [=](PropertyBag& bag) { bag.WriteInteger(key, value, 0); };
}
Rows::value_type Long(const char* key, std::int32_t value) {
  return [=](PropertyBag& bag) { bag.WriteLong(key, value, value + 1); };
}
Rows::value_type Text(const char* key, const char* value) {
  return [=](PropertyBag& bag) { bag.WriteText(key, value, "another"); };
}
Rows::value_type Object(const char* key, const char* name, Rows rows = {}) {
  struct Saved final : Persistable {
    std::string name;
    Rows rows;
    std::string_view ClassName() const override { return name; }
    void WriteProperties(PropertyBag& bag) const override {
      for (const auto& row : rows) row(bag);
    }
  };
  const auto saved = std::make_shared<Saved>();
  saved->name = name;
  saved->rows = std::move(rows);
  return [=](PropertyBag& bag) { WriteObject(bag, key, *saved); };
}

std::string ContentsOf(const Rows& rows) {
  PropertyBag bag;
  for (const auto& row : rows) row(bag);
  return bag.Contents();
}

std::string ContentsOf(const Persistable& object) {
  PropertyBag bag;
  object.WriteProperties(bag);
  return bag.Contents();
}

const Rows kTag = {Text("EasyIndex", "Speed"),   Flag("Writable", true), Flag("Polled", true),
                   Integer("TagDataLen", 4),     Long("TagType", 7),     Text("TagName", "abc1"),
                   Flag("TriggerRequired", true)};
const Rows kTemplate = {Integer("NumFields", 3),   Text("Delimiter", "\xC2\xA7"),
                        Text("StartString", "\2"), Text("Terminator", "\r\n"),
                        Long("Timeout", 0),        Text("DemandOutput", ""),
                        Text("FieldName1", "Id"),  Text("FieldName20", "")};

/// Classes that are not here save nothing.
const std::map<std::string_view, Rows> kSettings = {
    {"TarnScale",
     {Text("AliasName", "Br\xC3\xBC\x63ke"),
      Object("Connection", "SerialConnection", {Integer("ComPort", 7)}),
      Object("Protocol", "TarnContinuousProtocol", {Long("Ptype", 4)}), Flag("Disabled", false),
      Flag("ActivityLED", true), Flag("ErrorLED", true), Long("ActivityTimeoutTime", 1234),
      [](PropertyBag& bag) { bag.WriteDouble("UpdRate", 2.5, 0); },
      Object("SummitData", "TarnKesBasicData"), Flag("CorrectReadings", true),
      [](PropertyBag& bag) { bag.WriteDouble("DetectMinimum", 0.5, 0); }, Long("DetectStable", 0),
      Long("DetectDigits", 5), [](PropertyBag& bag) { bag.WriteDouble("DetectRearm", 0.1, 0); }}},
    {"ArcNetConnection", {Text("Cluster", "c"), Text("KestrelNum", "7")}},
    {"EthernetConnection",
     {Text("IPAddress", "terminal-7.plant"), Flag("IsBidirectional", true),
      Flag("AutoReconnect", true), Flag("CheckSender", true)}},
    {"SerialConnection",
     {Integer("ComPort", 300), Long("BaudRate", 9), Long("Parity", 0), Long("DataBits", 0),
      Long("StopBits", 0), Flag("IsBidirectional", true), Flag("AutoReconnect", true)}},
    {"KesSDProtocol", {Text("ScaleNum", "c"), Integer("Ptype", 15)}},
    {"TarnContinuousProtocol", {Long("Ptype", 4)}},
    {"MiraProtocol", {Long("Ptype", 7)}},
    {"GenericProtocol", {Long("Ptype", 99)}},
    {"DemandTemplateProtocol",
     {Long("Ptype", 5), Object("TemplateConfig", "TarnRecordTemplateConfig", kTemplate)}},
    {"KesDemandTemplateProtocol",
     {Long("Ptype", 5), Object("TemplateConfig", "TarnRecordTemplateConfig", kTemplate),
      Text("ScaleNum", "B")}},
    {"TarnRecordTemplateConfig", kTemplate},
    {"SDTagInfo", kTag},
    {"SummitProtocol",
     {Long("Ptype", 23), Object("Configuration", "TarnKesBasicConfig",
                                {Object("Variable1", "SDTagInfo", kTag),
                                 Object("Variable2", "SDTagInfo", {Text("TagName", "abc2")})})}},
    {"TarnKesBasicConfig", {Object("Variable1", "SDTagInfo", kTag)}},
    {"TarnOrbixDiagConfig",
     {Text("CountsVariable", "counts"), Text("ErrorNumbersVariable", "errors"),
      Text("OverloadStatusVariable", "over"), Text("ScanTableVariable", "scan"),
      Long("CountsType", 13)}}};

/// What is saved all the same: objects, and a letter that is kept in lower case, deliberately.
const Rows kPlainTemplate = {Object("TemplateConfig", "TarnRecordTemplateConfig")};
const std::map<std::string_view, Rows> kSavedDefaults = {
    {"TarnScale",
     {Object("Connection", "NoConnection"), Object("Protocol", "NoProtocol"),
      Object("SummitData", "SummitData")}},
    {"KesSDProtocol", {Text("ScaleNum", "a")}},
    {"DemandTemplateProtocol", kPlainTemplate},
    {"KesDemandTemplateProtocol", kPlainTemplate},
    {"SummitProtocol", {Object("Configuration", "SummitConfig")}}};
/// Where a new object has others than one of a file without its settings.
const std::map<std::string_view, Rows> kSavedWhenNew = {
    {"KesSDProtocol", {Text("ScaleNum", "")}},
    {"KesDemandTemplateProtocol",
     {Object("TemplateConfig", "TarnRecordTemplateConfig", {Text("DemandOutput", "\b")})}}};

/// What setters mark while an object is read by them.
const std::map<std::string_view, std::string> kMarks = {
    {"ArcNetConnection", "KestrelNum Cluster "},
    {"EthernetConnection", "IPAddress IsBidirectional AutoReconnect CheckSender "},
    {"SerialConnection",
     "ComPort BaudRate Parity DataBits StopBits IsBidirectional AutoReconnect Device "},
    {"KesSDProtocol", "Ptype ScaleNum "},
    {"KesDemandTemplateProtocol", "Ptype ScaleNum "}};

Rows RowsOf(const std::map<std::string_view, Rows>& table, std::string_view name) {
  const auto found = table.find(name);
  return found == table.end() ? Rows{} : found->second;
}

using Settings = ScaleFixture;

TEST_F(Settings, ComeBackInTheirOrderAndLeaveOutTheirDefaults) {
  for (const ClassRow& row : RegisteredClasses()) {
    const std::string_view name = row.name;
    SCOPED_TRACE(name);
    const auto create = [&] { return CreateClass(name, site); };
    const auto fresh = create();
    EXPECT_EQ(fresh->ClassName(), name);
    fresh->InitProperties();
    const bool special = kSavedWhenNew.contains(name);
    EXPECT_EQ(ContentsOf(*fresh),
              ContentsOf(RowsOf(special ? kSavedWhenNew : kSavedDefaults, name)));
    const auto bare = create();
    bare->ReadProperties(PropertyBag());
    EXPECT_EQ(ContentsOf(*bare), ContentsOf(RowsOf(kSavedDefaults, name)));

    const Rows rows = RowsOf(kSettings, name);
    if (rows.empty()) continue;
    const auto restored = create();
    std::string marks;
    const auto mark = restored->PropertyChanged.Subscribe(
        [&](std::string_view property) { marks += std::string(property) + " "; });
    restored->ReadProperties(PropertyBag::FromContents(ContentsOf(rows)));
    EXPECT_EQ(ContentsOf(*restored), ContentsOf(rows));
    if (!kMarks.contains(name)) continue;
    EXPECT_EQ(marks, kMarks.at(name));
  }
  EXPECT_EQ(ErrorOf([&] { CreateClass("tarnscale", site); }), 429);
}

/// What the setters of the others mark shows when they are read, above.
TEST_F(Settings, WhatAClientWritesIsMarkedUnderItsName) {
  const auto shared = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
  const auto records = NewObject<KesDemandTemplateProtocol>(*site, "KesDemandTemplateProtocol");
  const auto cells = NewObject<TarnOrbixDiagConfig>(*site, "TarnOrbixDiagConfig");
  const auto basic = NewObject<TarnKesBasicConfig>(*site, "TarnKesBasicConfig");
  const auto tag = basic->AddVariable("x", "abc", SDTagType::SDLongType, 4, true, false);
  std::string marked;
  const auto mark = [&](std::string_view name) { marked += std::string(name) + " "; };
  const Subscription watches[] = {
      shared->PropertyChanged.Subscribe(mark), records->PropertyChanged.Subscribe(mark),
      cells->PropertyChanged.Subscribe(mark), basic->PropertyChanged.Subscribe(mark)};
  shared->scaleNum("");  // marks nothing
  records->TemplateConfig()->Timeout(0);
  cells->CountsVariable("counts");
  cells->ErrorNumbersVariable("errors");
  cells->OverloadStatusVariable("over");
  cells->ScanTableVariable("scan");
  cells->CountsType(SDTagType{13});
  tag->TagDataLen(8);
  basic->RemoveVariable("x");
  EXPECT_EQ(marked,
            "Timeout CountsVariable ErrorNumbersVariable OverloadStatusVariable ScanTableVariable "
            "CountsType SDVariables SDVariables ");
  EXPECT_EQ(ErrorOf([&] { shared->pType(ProtocolType{70000}); }), 6);
  EXPECT_EQ(ErrorOf([&] { cells->ScanTableVariable("toolong"); }), 380);
  EXPECT_EQ(ErrorOf([&] { cells->CountsType(SDTagType::SDLongType); }), 380);
}

/// What a file may hold beside what the server writes.
TEST_F(Settings, WildValuesAreBoundedOrRefused) {
  PropertyBag wild;
  wild.WriteInteger("NumFields", 99, 0);
  const auto bounded = NewObject<TarnRecordTemplateConfig>(*site, "TarnRecordTemplateConfig");
  EventRecorder events;
  events.Add(bounded->ConfigChanged, "Changed");
  bounded->ReadProperties(wild);
  EXPECT_EQ(events.Take() + std::to_string(bounded->NumFields()), "Changed20");

  for (const auto& [name, error] : {std::pair{"FutureConnection", 429}, {"NoProtocol", 13}}) {
    PropertyBag wrong;
    Object("Connection", name)(wrong);
    EXPECT_EQ(ErrorOf([&] { TarnScale::Create(site)->ReadProperties(wrong); }), error);
  }
  PropertyBag negative;
  Long("DetectDigits", -1)(negative);
  EXPECT_EQ(ErrorOf([&] { TarnScale::Create(site)->ReadProperties(negative); }), 380);
}

/// A restored scale has its parts bound, and opens nothing.
TEST_F(Settings, AScaleAnnouncesItselfOnceItIsRestored) {
  const auto scale = TarnScale::Create(site);
  EventRecorder log;
  log.Watch(*scale);
  scale->ReadProperties(PropertyBag::FromContents(ContentsOf(kSettings.at("TarnScale"))));
  EXPECT_EQ(log.Take(), "Configuration NewStatus NewStatus StatusChange NewWeight Configuration");
  EXPECT_EQ(scale->UpdateInterval(), 400);
  EXPECT_FALSE(scale->watchdog());
  EXPECT_EQ(scale->Protocol()->myScale(), scale);
  EXPECT_EQ(scale->Protocol()->Connection(), scale->Connection());
  EXPECT_EQ(scale->Protocol()->WeightData(), scale->WeightData());
  EXPECT_EQ(scale->GetAxDataObj("TarnKesBasicData"), scale->SummitData());
  EXPECT_FALSE(Port().PortOpen());
}

}  // namespace
}  // namespace tarn
