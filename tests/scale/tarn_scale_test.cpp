#include "scale/tarn_scale.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

/// Writes down what the scale asks of its connection, among the events.
class SpyConnection final : public tarn::Connection {
 public:
  explicit SpyConnection(EventRecorder& log, std::string name = "Line")
      : log_(log), name_(std::move(name)) {}
  void Connect() override {
    log_.Note(name_ + ".Connect");
    if (fail) throw AutomationError(ErrorNumber::InvalidPort, "no such port");
    if (during) during();
  }
  void Disconnect() override { log_.Note(name_ + ".Disconnect"); }
  bool fail = false;
  std::function<void()> during;

 private:
  EventRecorder& log_;
  std::string name_;
};

class SpyProtocol final : public tarn::Protocol {
 public:
  explicit SpyProtocol(EventRecorder& log) : log_(log) {}
  using tarn::Protocol::Connection;
  using tarn::Protocol::myScale;
  using tarn::Protocol::PrintData;
  using tarn::Protocol::TarnRecordTemplateData;
  using tarn::Protocol::WeightData;
  void myScale(const std::shared_ptr<TarnScale>& scale) override {
    tarn::Protocol::myScale(scale);
    log_.Note("myScale");
  }
  void Connection(std::shared_ptr<_Connection>) override { log_.Note("Connection"); }
  void WeightData(std::shared_ptr<tarn::WeightData>) override { log_.Note("WeightData"); }
  void PrintData(std::shared_ptr<tarn::PrintData>) override { log_.Note("PrintData"); }
  void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData>) override {
    log_.Note("TemplateData");
  }
  void Connect() override { Command("Protocol.Connect"); }
  void Disconnect() override { Command("Protocol.Disconnect"); }
  void Z() override { Command("Z"); }
  void T() override { Command("T"); }
  void C() override { Command("C"); }
  void P() override { Command("P"); }
  void SetTare(double& value) override { Command("SetTare" + std::to_string(value++)); }
  std::function<void()> during;

 private:
  void Command(const std::string& name) {
    log_.Note(name);
    if (during) during();
    done_ = name;  // it is still there, whoever let go of it meanwhile
  }
  EventRecorder& log_;
  std::string done_;
};

const std::string kBind = "myScale Connection WeightData PrintData TemplateData";

class TarnScaleTest : public ScaleFixture {
 protected:
  TarnScaleTest() { MakeScale(); }
  void MakeScale() {
    connection = std::make_shared<SpyConnection>(log);
    protocol = std::make_shared<SpyProtocol>(log);
    scale = NewScale();
    scale->Connection(connection);
    scale->Protocol(protocol);
    scale->Disabled(false);
    log.Take();
    log.Watch(*scale);
  }
  void Reading(const char* net, bool motion) {
    const auto record = scale->WeightData();
    record->GrossWeight(std::string("1") + net);
    record->TareWeight("0.5");
    record->NetWeight(net);
    record->Motion(motion);
    record->Units("kg");
    record->OutOfRange(false);
  }
  /// What is logged while time passes.
  std::string After(double milliseconds) {
    host.loop.Advance(milliseconds);
    return log.Take();
  }

  EventRecorder log;
  std::shared_ptr<SpyConnection> connection;
  std::shared_ptr<SpyProtocol> protocol;
  std::shared_ptr<TarnScale> scale;
};

TEST_F(TarnScaleTest, StartsAndStopsInOrder) {
  // The connection that was just given is the one that is closed, not the one before.
  connection = std::make_shared<SpyConnection>(log, "New");
  scale->Connection(connection);
  EXPECT_EQ(log.Take(), "StatusChange NewWeight New.Disconnect " + kBind);
  EXPECT_TRUE(scale->RunScale());
  EXPECT_EQ(log.Take(), "myScale Protocol.Connect New.Connect");
  EXPECT_TRUE(scale->UpdateTimer()->Enabled());
  EXPECT_EQ(scale->ActivityTimer()->TimeoutTime(), 800);
  scale->UpdateRate(5);
  EXPECT_EQ(scale->UpdateTimer()->Interval(), 100) << "a running timer keeps its interval";
  EXPECT_EQ(After(350), "UpdateWeight UpdateWeight UpdateWeight");
  const auto client = scale->WeightData()->StatusChange.Subscribe(
      [&] { EXPECT_TRUE(scale->ActivityTimer()->TimedOut() && !scale->UpdateTimer()->Enabled()); });
  scale->StopScale();
  EXPECT_EQ(log.Take(), "StatusChange NewWeight New.Disconnect");  // not the protocol's
  EXPECT_EQ(After(2000), "");

  connection->fail = true;
  EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 8002);
  EXPECT_TRUE(scale->ActivityTimer()->TimedOut() && !scale->UpdateTimer()->Enabled());
  log.Take();

  const auto flag = scale->NewStatus.Subscribe([&] { EXPECT_FALSE(scale->Disabled()); });
  scale->UpdateTimer()->Interval(100);
  scale->UpdateTimer()->Enabled(true);
  scale->Disabled(true);  // the lamps before the flag
  EXPECT_EQ(log.Take(), "NewStatus New.Disconnect");
  EXPECT_FALSE(scale->RunScale());
  EXPECT_EQ(log.Take(), "StatusChange NewWeight");
  EXPECT_EQ(scale->UpdateTimer()->Interval(), 0);
  EXPECT_FALSE(scale->UpdateTimer()->Enabled());
}

TEST_F(TarnScaleTest, MayLackAConnectionButNoProtocol) {
  EXPECT_EQ(ErrorOf([&] { scale->Protocol(nullptr); }), 91);
  EXPECT_EQ(log.Take(), "");
  EXPECT_EQ(scale->Protocol(), protocol);
  scale->Connection(nullptr);
  scale->Disabled(true);
  scale->Disabled(false);
  EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 91);
  EXPECT_EQ(ErrorOf([&] { scale->Z(); }), 91);
  scale->StopScale();
}

TEST_F(TarnScaleTest, TheUpdateRateSetsTheIntervalAndTheWatchdog) {
  // A rate, its interval, and the time-out after RunScale with 777 written before.
  const std::tuple<double, std::int32_t, std::int32_t> cases[] = {
      {3, 333, 1332}, {10, 100, 500}, {0, 0, 777}, {-1, 0, 777}, {400, 2, 500}, {0.5, 2000, 8000}};
  for (const auto& [rate, interval, timeout] : cases) {
    scale->UpdateRate(rate);
    EXPECT_EQ(scale->UpdateInterval(), interval) << rate;
    scale->ActivityTimeoutTime(777);
    scale->RunScale();
    EXPECT_EQ(scale->ActivityTimeoutTime(), timeout) << rate;
    EXPECT_EQ(scale->UpdateTimer()->Interval(), interval) << rate;
  }
  EXPECT_EQ(ErrorOf([&] { scale->UpdateRate(1e-9); }), 6);
}

TEST_F(TarnScaleTest, OnlySlotsOneToThirtyTwoHaveATimer) {
  for (const std::int16_t number : {std::int16_t{0}, std::int16_t{33}}) {
    scale->ScaleNumber(number);
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
  log.Take();
  const auto timeOut = [this] {
    EXPECT_EQ(After(800), "StatusChange NewWeight NewStatus");
    EXPECT_EQ(scale->WeightData()->NoDataError(), scale->ErrorLED());
    return scale->ErrorLED();
  };
  EXPECT_FALSE(timeOut()) << "nothing was expected yet";
  EXPECT_TRUE(scale->watchdog());
  EXPECT_TRUE(timeOut());
  EXPECT_FALSE(scale->ActivityLED());
  scale->watchdog(false);  // a message came
  EXPECT_FALSE(timeOut());
  scale->Disabled(true);  // not armed again from then on
  log.Take();
  EXPECT_EQ(After(5000), "");
}

TEST_F(TarnScaleTest, AFailingHandlerCostsNoWatchdogAndLeavesNoLineOpen) {
  const auto other = NewScale(2);
  other->Disabled(false);
  for (const auto& one : {scale, other}) {
    one->UpdateRate(0);
    one->ActivityTimeoutTime(400);
    one->RunScale();
  }
  const auto fail = scale->WeightData()->NewWeight.Subscribe(
      [] { throw AutomationError(ErrorNumber::DiskFull, "no room for the log"); });
  for (int i = 0; i < 3; ++i) {
    After(1200);
    EXPECT_TRUE(scale->ErrorLED() && other->ErrorLED()) << i;
    for (const auto& one : {scale, other}) one->ErrorLED(false);
  }
  EXPECT_EQ(host.traces, std::vector<std::string>{"error 61: no room for the log"});
  log.Take();
  EXPECT_EQ(ErrorOf([&] { scale->StopScale(); }), 61);
  EXPECT_EQ(log.Take(), "StatusChange NewWeight Line.Disconnect");
}

TEST_F(TarnScaleTest, CommandsNeedABidirectionalConnection) {
  double tare = 12.5;
  for (const bool both : {false, true}) {
    connection->IsBidirectional(both);
    scale->Z();
    scale->T();
    scale->C();
    scale->SetTare(tare);
    scale->P();
    EXPECT_EQ(log.Take(), both ? "Z T C SetTare12.500000 P" : "");
    EXPECT_TRUE(scale->PRState()) << "without a link the print captures the next reading";
  }
  EXPECT_EQ(tare, 13.5);

  // A terminal that prints its own records is not asked over a one-way link.
  const auto fresh = NewScale(2);
  fresh->Protocol()->pType(ProtocolType::DemandTemplateType);
  fresh->P();
  EXPECT_FALSE(fresh->PRState());
}

TEST_F(TarnScaleTest, APrintTakesTheFirstStableReadingOrTheOneThatIsThere) {
  const auto printed = [&] {
    const auto p = scale->PrintData();
    return p->GrossWeight() + "|" + p->TareWeight() + "|" + p->NetWeight() + " " + p->Units() +
           " " + std::to_string(p->GrossWeightValue()) + std::to_string(p->TareWeightValue()) +
           std::to_string(p->NetWeightValue());
  };
  const std::string blank = "||  0.0000000.0000000.000000";
  scale->printRequest();
  Reading("2.5", true);
  EXPECT_EQ(printed(), blank);
  log.Take();
  Reading("4.5", false);
  EXPECT_EQ(log.Take(), "StatusChange Print NewWeight");  // the scale's own handler is first
  EXPECT_FALSE(scale->PRState());
  EXPECT_EQ(printed(), "14.5|0.5|4.5 kg 14.5000000.5000004.500000");

  Reading("5.5", true);
  scale->printRequest();
  scale->printRequest(true);
  EXPECT_EQ(printed(), "15.5|0.5|5.5 kg 15.5000000.5000005.500000");
  EXPECT_TRUE(scale->PRState()) << "the request that waits goes on waiting";
  const auto fail = scale->PrintData()->NewWeight.Subscribe(
      [] { throw AutomationError(ErrorNumber::DiskFull, "no room for the log"); });
  EXPECT_EQ(ErrorOf([&] { scale->StopScale(); }), 61);  // serves it with blank weights
  EXPECT_TRUE(scale->PRState()) << "the print failed";
  EXPECT_EQ(printed(), blank);
}

TEST_F(TarnScaleTest, EachPropertyRaisesWhatItShould) {
  const std::string bound = "StatusChange NewWeight Line.Disconnect " + kBind;
  const std::tuple<std::function<void()>, std::string, const char*> cases[] = {
      {[&] { scale->AliasName("Line 1"); }, "Configuration", "AliasName "},
      {[&] { scale->ActivityLED(true); }, "", "ActivityLED "},
      {[&] { scale->ErrorLED(true); }, "NewStatus", "ErrorLED "},
      {[&] { scale->ErrorLED(true); }, "NewStatus", "ErrorLED "},  // unchanged
      {[&] { scale->Disabled(true); }, "NewStatus Line.Disconnect",
       "ActivityLED ErrorLED Disabled "},
      {[&] { scale->UpdateRate(5); }, "", ""},
      {[&] { scale->ActivityTimeoutTime(5); }, "", ""},
      {[&] { scale->Protocol(protocol); }, bound, "Protocol "},
      {[&] { scale->Connection(connection); }, bound, "Connection "},
      {[&] { scale->SummitData(std::make_shared<tarn::SummitData>()); }, "Configuration", ""},
      {[&] { protocol->pType(ProtocolType{4}); }, "", "Ptype "},
      // What was replaced no longer speaks for the scale.
      {[&] { scale->Protocol(std::make_shared<tarn::Protocol>()); },
       "Connection myScale StatusChange NewWeight Line.Disconnect", "Protocol "},
      {[&] { protocol->pType(ProtocolType{5}); }, "", ""},
  };
  std::string changed;
  const auto subscription = scale->PropertyChanged.Subscribe(
      [&](std::string_view name) { changed += std::string(name) + " "; });
  for (const auto& [write, events, marks] : cases) {
    write();
    const std::string raised = log.Take();
    EXPECT_EQ(raised + " marks " + std::exchange(changed, {}), events + " marks " + marks);
  }
}

TEST_F(TarnScaleTest, DataObjectsAreFoundByNameWithoutRegardToCase) {
  EXPECT_EQ(scale->GetAxDataObj("weightdata"), scale->WeightData());
  EXPECT_EQ(scale->GetAxDataObj("PRINTDATA"), scale->PrintData());
  EXPECT_EQ(scale->GetAxDataObj("TarnRecordTemplateData"), scale->TarnRecordTemplateData());
  for (const char* none : {"SummitData", ""}) EXPECT_EQ(scale->GetAxDataObj(none), nullptr);
}

/// Whichever of the two the former scale replaces first, and whatever becomes of it then.
TEST_F(TarnScaleTest, WhatMovedToAnotherScaleIsLeftAlone) {
  const auto replaceConnection = [&] { scale->Connection(std::make_shared<tarn::Connection>()); };
  const auto replaceProtocol = [&] {
    scale->Protocol(std::make_shared<tarn::Protocol>());
    EXPECT_NE(scale->Protocol()->Connection(), connection) << "it would read what is not its";
  };
  const std::function<void()> ways[] = {[&] { replaceProtocol(), replaceConnection(); },
                                        [&] { replaceConnection(), replaceProtocol(); },
                                        [&] { scale->Disabled(true); }, [&] { scale->Detach(); },
                                        [&] { scale.reset(); }};
  for (const auto& end : ways) {
    MakeScale();
    const auto next = NewScale(2);
    next->Connection(connection);
    next->Protocol(protocol);
    next->Disabled(false);
    next->RunScale();
    log = {};
    end();
    EXPECT_EQ(log.Take(), "");
    EXPECT_EQ(protocol->myScale(), next);
    next->StopScale();
    EXPECT_EQ(log.Take(), "Line.Disconnect");
  }
}

TEST_F(TarnScaleTest, ItsTimeOutAndItsCommandsMayReplaceOrReleaseIt) {
  const auto timer = scale->UpdateTimer();
  scale->RunScale();
  const Subscription drop = scale->WeightData()->NewWeight.Subscribe([&] { scale.reset(); });
  const std::weak_ptr<TarnScale> watch = scale;
  host.loop.Advance(2000);
  EXPECT_TRUE(watch.expired());
  EXPECT_TRUE(log.Take().ends_with("StatusChange NewWeight Line.Disconnect"));
  EXPECT_FALSE(timer->Enabled());
  EXPECT_TRUE(host.traces.empty());

  MakeScale();
  connection->IsBidirectional(true);
  protocol->during = [&] {
    protocol.reset();
    scale->Protocol(std::make_shared<tarn::Protocol>());
    scale.reset();
  };
  scale->Z();
  EXPECT_EQ(scale, nullptr);
}

TEST_F(TarnScaleTest, AScaleThatLeftItsTableIsQuietForWhoeverHoldsIt) {
  Subscription once;
  const auto leave = [&] { scale->Detach(); };
  const auto run = [&] { scale->RunScale(); };
  const std::function<void()> ways[] = {
      [&] { run(), leave(); },
      [&] {  // at its time-out
        run();
        host.loop.Advance(700);
        once = scale->NewStatus.Subscribe(leave);
        host.loop.Advance(100);
      },
      [&] {
        protocol->during = leave;
        EXPECT_EQ(ErrorOf(run), 91);
      },
      [&] {
        connection->during = leave;
        EXPECT_EQ(ErrorOf(run), 91);
      },
  };
  for (const auto& way : ways) {
    MakeScale();
    way();
    EXPECT_TRUE(log.Take().ends_with("Line.Disconnect"));
    scale->ScaleNumber(1);
    EXPECT_EQ(scale->UpdateTimer(), nullptr);
    EXPECT_EQ(ErrorOf(run), 91);
    EXPECT_EQ(After(5000), "");
    EXPECT_FALSE(site->UpdateTimer(1)->Enabled());
  }
}

}  // namespace
}  // namespace tarn
