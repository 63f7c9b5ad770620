#include "scale/tarn_scale.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

/// Writes down what the scale asks of its connection and protocol.
using Calls = std::vector<std::string>;

class SpyConnection final : public tarn::Connection {
 public:
  explicit SpyConnection(Calls& calls) : calls_(calls) {}
  void Connect() override {
    calls_.push_back("Connection.Connect");
    if (fail) throw AutomationError(ErrorNumber::InvalidPort, "no such port");
  }
  void Disconnect() override { calls_.push_back("Connection.Disconnect"); }
  bool fail = false;

 private:
  Calls& calls_;
};

class SpyProtocol final : public tarn::Protocol {
 public:
  explicit SpyProtocol(Calls& calls) : calls_(calls) {}
  void myScale(const std::shared_ptr<TarnScale>& scale) override {
    calls_.push_back("myScale");
    tarn::Protocol::myScale(scale);
  }
  using tarn::Protocol::myScale;
  void Connection(std::shared_ptr<_Connection>) override { calls_.push_back("Connection"); }
  void WeightData(std::shared_ptr<tarn::WeightData>) override { calls_.push_back("WeightData"); }
  void PrintData(std::shared_ptr<tarn::PrintData>) override { calls_.push_back("PrintData"); }
  void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData>) override {
    calls_.push_back("TarnRecordTemplateData");
  }
  using tarn::Protocol::Connection;
  using tarn::Protocol::PrintData;
  using tarn::Protocol::TarnRecordTemplateData;
  using tarn::Protocol::WeightData;
  void Connect() override { calls_.push_back("Protocol.Connect"); }
  void Disconnect() override { calls_.push_back("Protocol.Disconnect"); }
  void Z() override { calls_.push_back("Z"); }
  void T() override { calls_.push_back("T"); }
  void C() override { calls_.push_back("C"); }
  void P() override { calls_.push_back("P"); }
  void SetTare(double& value) override { calls_.push_back("SetTare " + std::to_string(value)); }

 private:
  Calls& calls_;
};

class TarnScaleTest : public ScaleFixture {
 protected:
  TarnScaleTest() {
    connection = std::make_shared<SpyConnection>(calls);
    protocol = std::make_shared<SpyProtocol>(calls);
    scale = NewScale();
    scale->Connection(connection);
    scale->Protocol(protocol);
    scale->Disabled(false);
    calls.clear();
    recorder.Watch(*scale);
  }
  Calls TakeCalls() { return std::exchange(calls, {}); }
  void Reading(const char* net, bool motion) {
    const auto record = scale->WeightData();
    record->GrossWeight(net);
    record->TareWeight("0.5");
    record->NetWeight(net);
    record->Motion(motion);
    record->Units("kg");
    record->OutOfRange(false);
  }

  Calls calls;
  Calls newCalls;
  std::shared_ptr<SpyConnection> connection;
  std::shared_ptr<SpyProtocol> protocol;
  std::shared_ptr<TarnScale> scale;
  EventRecorder recorder;
};

TEST_F(TarnScaleTest, ANewScaleHasTheDefaults) {
  const auto fresh = NewScale();
  EXPECT_EQ(fresh->AliasName(), "Scale x");
  EXPECT_TRUE(fresh->Disabled());
  EXPECT_EQ(fresh->UpdateRate(), 10);
  EXPECT_EQ(fresh->UpdateInterval(), 100);
  EXPECT_EQ(fresh->ActivityTimeoutTime(), 0);
  EXPECT_EQ(fresh->Connection()->ClassName(), "NoConnection");
  EXPECT_EQ(fresh->Protocol()->ClassName(), "NoProtocol");
  EXPECT_EQ(fresh->SummitData()->ClassName(), "SummitData");
  EXPECT_EQ(fresh->Protocol()->myScale(), fresh);
  EXPECT_EQ(fresh->Protocol()->WeightData(), fresh->WeightData());
  EXPECT_FALSE(fresh->watchdog());
}

TEST_F(TarnScaleTest, BindingStopsFirstAndHandsTheReferencesInOrder) {
  scale->Protocol(protocol);
  EXPECT_EQ(TakeCalls(), (Calls{"Connection.Disconnect", "myScale", "Connection", "WeightData",
                                "PrintData", "TarnRecordTemplateData"}));
  // The connection that was just given is the one that is closed, not the one before.
  scale->Connection(std::make_shared<SpyConnection>(newCalls));
  EXPECT_EQ(newCalls, Calls{"Connection.Disconnect"});
  EXPECT_EQ(calls.front(), "myScale");
}

TEST_F(TarnScaleTest, RunningConnectsTheProtocolFirst) {
  EXPECT_TRUE(scale->RunScale());
  EXPECT_EQ(TakeCalls(), (Calls{"myScale", "Protocol.Connect", "Connection.Connect"}));
  EXPECT_TRUE(scale->UpdateTimer()->Enabled());
  EXPECT_EQ(scale->UpdateTimer()->Interval(), 100);
  EXPECT_EQ(scale->ActivityTimeoutTime(), 500);
  EXPECT_EQ(scale->ActivityTimer()->TimeoutTime(), 800);
  host.loop.Advance(350);
  EXPECT_EQ(recorder.Take(), "UpdateWeight UpdateWeight UpdateWeight");
  scale->StopScale();
  EXPECT_EQ(TakeCalls(), Calls{"Connection.Disconnect"});  // the protocol is not told
  EXPECT_EQ(recorder.Take(), "StatusChange NewWeight");
  EXPECT_TRUE(scale->ActivityTimer()->TimedOut());
  host.loop.Advance(2000);
  EXPECT_EQ(recorder.Take(), "");
}

TEST_F(TarnScaleTest, ADisabledScaleConnectsNothing) {
  scale->Disabled(true);
  EXPECT_EQ(TakeCalls(), Calls{"Connection.Disconnect"});
  EXPECT_EQ(recorder.Take(), "NewStatus");
  EXPECT_FALSE(scale->RunScale());
  EXPECT_EQ(TakeCalls(), Calls{});
  EXPECT_EQ(recorder.Take(), "StatusChange NewWeight");
  EXPECT_FALSE(scale->UpdateTimer()->Enabled());
}

TEST_F(TarnScaleTest, TheUpdateRateSetsTheIntervalAndTheWatchdog) {
  const struct {
    double rate;
    std::int32_t interval;
    std::int32_t timeout;  ///< after RunScale with 777 written before
  } cases[] = {{3, 333, 1332}, {10, 100, 500}, {0, 0, 777},
               {-1, 0, 777},   {400, 2, 500},  {0.5, 2000, 8000}};
  for (const auto& c : cases) {
    scale->UpdateRate(c.rate);
    EXPECT_EQ(scale->UpdateInterval(), c.interval) << c.rate;
    scale->ActivityTimeoutTime(777);
    scale->RunScale();
    EXPECT_EQ(scale->ActivityTimeoutTime(), c.timeout) << c.rate;
    EXPECT_EQ(scale->UpdateTimer()->Interval(), c.interval) << c.rate;
  }
  EXPECT_EQ(ErrorOf([&] { scale->UpdateRate(1e-9); }), 6);
}

TEST_F(TarnScaleTest, FailingToConnectReachesTheCallerAndArmsNothing) {
  connection->fail = true;
  EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 8002);
  EXPECT_TRUE(scale->ActivityTimer()->TimedOut());
  EXPECT_FALSE(scale->UpdateTimer()->Enabled());
}

TEST_F(TarnScaleTest, OnlySlotsOneToThirtyTwoHaveATimer) {
  for (const std::int16_t number : std::initializer_list<std::int16_t>{0, 33, -1}) {
    scale->ScaleNumber(number);
    EXPECT_EQ(scale->UpdateTimer(), nullptr);
    EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 91);
    scale->StopScale();
  }
  scale->ScaleNumber(32);
  EXPECT_EQ(scale->UpdateTimer(), site->UpdateTimer(32));
}

TEST_F(TarnScaleTest, TheWatchdogReportsSilenceAtTheSecondTimeOut) {
  scale->RunScale();
  scale->UpdateTimer()->Enabled(false);
  scale->ActivityLED(true);
  recorder.Take();
  host.loop.Advance(800);  // the first time-out: nothing was expected yet
  EXPECT_EQ(recorder.Take(), "StatusChange NewWeight NewStatus");
  EXPECT_FALSE(scale->WeightData()->NoDataError());
  EXPECT_FALSE(scale->ErrorLED());
  EXPECT_TRUE(scale->watchdog());

  host.loop.Advance(800);
  EXPECT_EQ(recorder.Take(), "StatusChange NewWeight NewStatus");
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_TRUE(scale->ErrorLED());
  EXPECT_FALSE(scale->ActivityLED());

  scale->watchdog(false);  // a message came
  host.loop.Advance(800);
  EXPECT_FALSE(scale->WeightData()->NoDataError());
  EXPECT_FALSE(scale->ErrorLED());

  scale->Disabled(true);  // not re-armed from then on
  recorder.Take();
  host.loop.Advance(5000);
  EXPECT_EQ(recorder.Take(), "");
}

TEST_F(TarnScaleTest, CommandsNeedABidirectionalConnection) {
  double tare = 12.5;
  const auto all = [&] {
    scale->Z();
    scale->T();
    scale->C();
    scale->SetTare(tare);
    scale->P();
  };
  all();
  EXPECT_EQ(TakeCalls(), Calls{});
  EXPECT_TRUE(scale->PRState());  // the print captures the next reading instead
  connection->IsBidirectional(true);
  all();
  EXPECT_EQ(TakeCalls(), (Calls{"Z", "T", "C", "SetTare 12.500000", "P"}));

  // A terminal that prints its own records is not asked over a one-way link.
  const auto fresh = NewScale(2);
  fresh->Protocol()->pType(ProtocolType::DemandTemplateType);
  fresh->P();
  EXPECT_FALSE(fresh->PRState());
}

TEST_F(TarnScaleTest, APrintRequestWaitsForTheFirstStableReading) {
  scale->printRequest();
  Reading("12.5", true);
  Reading("13.5", true);
  EXPECT_TRUE(scale->PRState());
  EXPECT_EQ(scale->PrintData()->NetWeight(), "");
  recorder.Take();
  Reading("14.5", false);
  EXPECT_EQ(recorder.Take(), "StatusChange Print NewWeight");  // the scale's own handler is first
  EXPECT_FALSE(scale->PRState());
  EXPECT_EQ(scale->PrintData()->NetWeight(), "14.5");
  EXPECT_EQ(scale->PrintData()->TareWeightValue(), 0.5);
  EXPECT_EQ(scale->PrintData()->Units(), "kg");

  Reading("15.5", true);
  scale->printRequest(true);
  EXPECT_EQ(scale->PrintData()->NetWeightValue(), 15.5);
  EXPECT_FALSE(scale->PRState());
}

TEST_F(TarnScaleTest, StoppingServesAPendingPrintWithBlankWeights) {
  Reading("12.5", true);
  scale->printRequest();
  scale->StopScale();
  EXPECT_FALSE(scale->PRState());
  EXPECT_EQ(scale->PrintData()->NetWeight(), "");
}

TEST_F(TarnScaleTest, EachPropertyRaisesWhatItShould) {
  const struct {
    const char* name;
    std::function<void()> write;
    const char* events;
    const char* changed;
  } cases[] = {
      {"AliasName", [&] { scale->AliasName("Line 1"); }, "Configuration", "AliasName "},
      {"ActivityLED", [&] { scale->ActivityLED(true); }, "", "ActivityLED "},
      {"ErrorLED", [&] { scale->ErrorLED(true); }, "NewStatus", "ErrorLED "},
      {"ErrorLED unchanged", [&] { scale->ErrorLED(true); }, "NewStatus", "ErrorLED "},
      {"Disabled", [&] { scale->Disabled(true); }, "NewStatus", "ActivityLED ErrorLED Disabled "},
      {"UpdateRate", [&] { scale->UpdateRate(5); }, "", ""},
      {"ActivityTimeoutTime", [&] { scale->ActivityTimeoutTime(5); }, "", ""},
      {"Protocol", [&] { scale->Protocol(protocol); }, "StatusChange NewWeight", "Protocol "},
      {"Connection", [&] { scale->Connection(connection); }, "StatusChange NewWeight",
       "Connection "},
      {"SummitData", [&] { scale->SummitData(std::make_shared<tarn::SummitData>()); },
       "Configuration", ""},
      {"the protocol's own", [&] { protocol->pType(ProtocolType{4}); }, "", "Ptype "},
  };
  std::string changed;
  const auto subscription = scale->PropertyChanged.Subscribe(
      [&](std::string_view name) { changed += std::string(name) + " "; });
  for (const auto& c : cases) {
    recorder.Take();
    changed.clear();
    c.write();
    EXPECT_EQ(recorder.Take(), c.events) << c.name;
    EXPECT_EQ(changed, c.changed) << c.name;
  }
  // What was replaced no longer speaks for the scale.
  scale->Protocol(std::make_shared<tarn::Protocol>());
  changed.clear();
  protocol->pType(ProtocolType{5});
  EXPECT_EQ(changed, "");
}

TEST_F(TarnScaleTest, DataObjectsAreFoundByNameWithoutRegardToCase) {
  class Named final : public tarn::SummitData {
    std::string_view DataObjectName() const override { return "TarnScaleDiagData"; }
  };
  EXPECT_EQ(scale->GetAxDataObj("weightdata"), scale->WeightData());
  EXPECT_EQ(scale->GetAxDataObj("PRINTDATA"), scale->PrintData());
  EXPECT_EQ(scale->GetAxDataObj("TarnRecordTemplateData"), scale->TarnRecordTemplateData());
  EXPECT_EQ(scale->GetAxDataObj("SummitData"), nullptr);
  EXPECT_EQ(scale->GetAxDataObj(""), nullptr);
  const auto named = std::make_shared<Named>();
  scale->SummitData(named);
  EXPECT_EQ(scale->GetAxDataObj("tarnscalediagdata"), named);
  scale->SummitData(std::make_shared<tarn::SummitData>());
  EXPECT_EQ(scale->GetAxDataObj("TarnScaleDiagData"), nullptr);
}

TEST_F(TarnScaleTest, ReplacingOrReleasingTheScaleInItsOwnEventsIsSafe) {
  scale->RunScale();
  Subscription drop = scale->WeightData()->NewWeight.Subscribe([&] { scale.reset(); });
  const std::weak_ptr<TarnScale> watch = scale;
  scale->ActivityTimer()->TimeoutTime(200);
  host.loop.Advance(2000);
  EXPECT_TRUE(watch.expired());
  EXPECT_TRUE(host.traces.empty());

  auto second = NewScale(2);
  second->Disabled(false);
  Subscription replace =
      second->NewStatus.Subscribe([&] { second->Protocol(std::make_shared<tarn::Protocol>()); });
  second->ErrorLED(true);
  EXPECT_EQ(second->Protocol()->ClassName(), "Protocol");
}

TEST_F(TarnScaleTest, ADetachedScaleIsQuietForWhoeverHoldsIt) {
  scale->RunScale();
  TakeCalls();
  scale->Detach();
  EXPECT_EQ(TakeCalls(), Calls{"Connection.Disconnect"});
  EXPECT_EQ(scale->UpdateTimer(), nullptr);
  recorder.Take();
  host.loop.Advance(5000);
  EXPECT_EQ(recorder.Take(), "");
  EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 91);
  EXPECT_EQ(TakeCalls(), Calls{});
  EXPECT_FALSE(site->UpdateTimer(1)->Enabled());
}

TEST_F(TarnScaleTest, TheLastReleaseStopsTheScale) {
  const auto timer = scale->UpdateTimer();
  const auto weights = scale->WeightData();
  scale->RunScale();
  TakeCalls();
  protocol.reset();
  scale.reset();
  EXPECT_EQ(calls, Calls{"Connection.Disconnect"});
  EXPECT_FALSE(timer->Enabled());
  EXPECT_TRUE(weights->OutOfRange());
}

// --- Persistence
// ----------------------------------------------------------------------------------

class ScalePersistenceTest : public ScaleFixture {
 protected:
  std::string Keys(const PropertyBag& bag) {
    std::string keys;
    for (const char* key :
         {"AliasName", "Disabled", "ActivityLED", "ErrorLED", "ActivityTimeoutTime", "UpdRate"}) {
      if (bag.ReadText(key, "missing") != "missing") keys += std::string(key) + " ";
    }
    return keys;
  }
};

TEST_F(ScalePersistenceTest, ADefaultScaleStoresOnlyItsNestedObjects) {
  PropertyBag bag;
  NewScale()->WriteProperties(bag);
  EXPECT_EQ(Keys(bag), "");
  EXPECT_EQ(bag.FindObject("Connection")->className, "NoConnection");
  EXPECT_TRUE(bag.FindObject("Connection")->bag.IsEmpty());
  EXPECT_EQ(bag.FindObject("Protocol")->className, "NoProtocol");
  EXPECT_TRUE(bag.FindObject("Protocol")->bag.IsEmpty());
  EXPECT_EQ(bag.FindObject("SummitData")->className, "SummitData");
}

TEST_F(ScalePersistenceTest, EverySettingComesBackWithoutOpeningThePort) {
  const auto scale = NewSerialScale("TarnContinuousProtocol");
  scale->AliasName(
      "Br\xC3\xBC"
      "cke");
  serial->ComPort(7);
  serial->IsBidirectional(true);
  scale->Protocol()->pType(ProtocolType::TarnContinuousShort);
  scale->ActivityTimeoutTime(1234);
  scale->UpdateRate(2.5);
  scale->ActivityLED(true);
  scale->ErrorLED(true);
  PropertyBag bag;
  bag.WriteObject("Scale1", *scale);

  const PropertyBag read = PropertyBag::FromContents(bag.Contents());
  const auto restored = ReadObject<TarnScale>(read, "Scale1", *site, "TarnScale");
  EXPECT_EQ(restored->AliasName(),
            "Br\xC3\xBC"
            "cke");
  EXPECT_FALSE(restored->Disabled());
  EXPECT_TRUE(restored->ActivityLED());  // restored behind Disabled, which clears the lamps
  EXPECT_TRUE(restored->ErrorLED());
  EXPECT_EQ(restored->ActivityTimeoutTime(), 1234);
  EXPECT_EQ(restored->UpdateRate(), 2.5);
  EXPECT_EQ(restored->UpdateInterval(), 400);
  const auto connection = std::dynamic_pointer_cast<SerialConnection>(restored->Connection());
  ASSERT_NE(connection, nullptr);
  EXPECT_EQ(connection->ComPort(), 7);
  EXPECT_TRUE(connection->IsBidirectional());
  EXPECT_FALSE(connection->SaxPort()->PortOpen());
  EXPECT_EQ(restored->Protocol()->pType(), ProtocolType::TarnContinuousShort);
  EXPECT_EQ(restored->Protocol()->Connection(), connection);

  PropertyBag again;
  again.WriteObject("Scale1", *restored);
  EXPECT_EQ(again.Contents(), bag.Contents());
}

TEST_F(ScalePersistenceTest, MissingKeysReadAsDefaultsAndWrongClassesAreErrors) {
  const auto scale = TarnScale::Create(site);
  scale->ReadProperties(PropertyBag());
  EXPECT_EQ(scale->UpdateInterval(), 100);
  EXPECT_TRUE(scale->Disabled());
  EXPECT_EQ(scale->AliasName(), "Scale x");

  PropertyBag wrong;
  wrong.WriteObject("Connection", *scale->Protocol());
  EXPECT_EQ(ErrorOf([&] { TarnScale::Create(site)->ReadProperties(wrong); }), 13);

  class Unknown final : public tarn::Protocol {
    std::string_view ClassName() const override { return "FutureProtocol"; }
  };
  PropertyBag unknown;
  unknown.WriteObject("Protocol", Unknown());
  EXPECT_EQ(ErrorOf([&] { TarnScale::Create(site)->ReadProperties(unknown); }), 429);
}

}  // namespace
}  // namespace tarn
