#include "shareddata/summit_protocol.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"
#include "tests/support/client_summit.hpp"
#include "tests/support/summit_fixture.hpp"

namespace tarn {
namespace {

class SummitRounds : public SummitFixture {
 protected:
  /// Three polled longs a, b, c of a client's configuration.
  void MakeSmall() {
    Make(ProtocolType::NoProtType);
    config = std::make_shared<ClientConfig>();
    for (const char* name : {"aaaaa", "bb", "ccccc"}) {
      config->tags.push_back(ClientConfig::Tag(name, SDTagType::SDLongType, 4));
    }
    data = std::make_shared<ClientData>();
    engine->Configuration(config);
    scale->SummitData(data);
  }
  /// Until the first request; the scale's own watchdog does not look on.
  void Start() {
    scale->RunScale();
    scale->ActivityTimer()->TimeoutTime(0);
    host.loop.Advance(200);
  }
  std::string Told() { return std::exchange(data->told, {}) + TakeLog(); }
  std::string Long(const char* name, std::int32_t value, std::uint8_t sequence = 1) {
    return ReplyOf(name, sequence, Wire(value));
  }

  std::shared_ptr<ClientConfig> config;
  std::shared_ptr<ClientData> data;
};

// --- Whole rounds -----------------------------------------------------------------------------

TEST_F(SummitRounds, ScaleDiagnosticsAreFiledRoundAfterRound) {
  Make(ProtocolType::ScaleDiagDataType);
  std::string order;
  for (const char n : {'1', '2', '3', '4'}) {
    order += std::string("?cs") + n + "21 ?ce" + n + "02 ";
    terminal.variables[std::string("cs") + n + "21"] = n == '2' ? "N" : "P";
    terminal.variables[std::string("ce") + n + "02"] = std::string(1, n);
  }
  const auto each = [&](const std::string& prefix, const std::string& suffix, const auto& value) {
    for (int n = 1; n <= 4; ++n) {
      const std::string name = prefix + std::to_string(n) + suffix;
      order += "?" + name + " ";
      terminal.variables[name] = value(n);
    }
  };
  each("ce", "20", [](int n) { return Wire<std::int32_t>(100 * n); });
  each("ws", "08", [](int n) { return Wire(n + 0.5); });
  each("ce", "21", [](int n) { return Wire<std::int32_t>(-n); });
  each("ce", "22", [](int n) { return Wire(n * 1000.25); });
  each("ce", "23", [](int n) { return Wire<std::int32_t>(n); });
  each("ce", "24", [](int n) { return Wire(n / 8.0); });
  order += "?s_205 ?s_20d ?s_275 ?s_285 ";
  for (const char* name : {"s_205", "s_275", "s_285"}) terminal.variables[name] = "\x01";
  terminal.variables["s_20d"] = "\x02";
  each("ws", "13", [](int n) { return ("E" + std::to_string(n) + "\xE9").append(38, '\0'); });
  for (const char* suffix : {"14", "20", "21", "22", "23", "24"}) {
    each("ws", suffix, [&](int n) { return Wire(static_cast<float>(n) + 11.5F); });
  }
  order.pop_back();

  host.locale.decimal = ",";
  scale->RunScale();
  const std::string ended = "Lamps(A) New ";
  EXPECT_EQ((std::vector<std::string>(Socket().calls.end() - 5, Socket().calls.end())),
            (std::vector<std::string>{"Transport 1", "LocalPort 1701", "RemoteHost 127.0.0.2",
                                      "RemotePort 1701", "Bind 1701"}));
  EXPECT_EQ(After(200), "?cs121");
  terminal.Serve();
  EXPECT_EQ("?cs121 " + TakeLog().substr(ended.size()), order);
  const auto filed = Data<TarnScaleDiagData>();
  ASSERT_EQ(scale->GetAxDataObj("tarnscalediagdata"), filed);
  using Longs = TarnScaleDiagData::Longs::Array;
  using Texts = TarnScaleDiagData::Texts::Array;
  EXPECT_EQ(filed->ScaleCalZeroCountsArray(), (Longs{100, 200, 300, 400}));
  EXPECT_EQ(filed->ScaleCurrentZeroCountsArray(), (Longs{2, 2, 4, 4}));
  EXPECT_EQ(filed->ScaleCurrentCountsArray(), (Longs{}));
  EXPECT_EQ(filed->ScaleCalHighCountsArray(), (Longs{-1, -2, -3, -4}));
  EXPECT_EQ(filed->ScaleCalHighWeightArray(), (Texts{"1000,25", "2000,5", "3000,75", "4001"}));
  EXPECT_EQ(filed->ScaleCalMidCountsArray(), (Longs{1, 2, 3, 4}));
  EXPECT_EQ(filed->ScaleCalMidWeight(3), "0,375");
  EXPECT_EQ(filed->ScaleCriticalErrorArray(),
            (TarnScaleDiagData::Booleans::Array{true, false, true, true}));
  EXPECT_EQ(filed->LastScaleErrorArray(), (Texts{"E1é", "E2é", "E3é", "E4é"}));
  for (const auto& counters :
       {filed->ScaleErrorCounterArray(), filed->WeighmentCounterArray(),
        filed->ScaleOverloadCounterArray(), filed->ScaleImpactCounterArray(),
        filed->ScaleZeroCounterArray(), filed->ScaleZeroFailCounterArray()}) {
    EXPECT_EQ(counters, (Longs{12, 14, 14, 16}));
  }
  EXPECT_EQ(filed->ScaleKind(2), 'N');
  EXPECT_EQ(filed->KindByte(2), 0);
  EXPECT_EQ(filed->KindByte(3), '3');
  EXPECT_EQ(filed->PresentScales(), 3);

  // The pace of the rounds: the update interval, or a second.
  EXPECT_EQ(After(400), "?cs121");
  scale->StopScale();
  scale->UpdateRate(0);
  scale->ActivityTimeoutTime(5000);
  Start();
  terminal.Serve();
  TakeLog();
  EXPECT_EQ(After(900), "");
  EXPECT_EQ(After(400), "?cs121");
}

TEST_F(SummitRounds, FailurePredictionResetsItsTriggersOnce) {
  Make(ProtocolType::PredictFailureDataType);
  auto& variables = terminal.variables;
  std::string texts;
  for (int cell = 1; cell <= 24; ++cell) {
    std::string number = std::to_string(cell * 7);
    texts += number.append(13 - number.size(), ' ');
  }
  texts += std::string(8, ' ');
  std::string drift("\0\1\2", 3);
  variables["bd018"] = drift.append(22, '\0');
  variables["pcl06"] = variables["pcl07"] = texts;
  variables["bd021"] = std::string("\1\2\0\5", 4).append(21, '\0');
  for (const char* name : {"s_263", "s_26b", "s_27b", "s_28b"}) variables[name] = "\x01";
  for (int n = 1; n <= 4; ++n) {
    for (int suffix = 25; suffix <= 27; ++suffix) {
      variables["ws" + std::to_string(n) + std::to_string(suffix)] =
          std::string(1, static_cast<char>(suffix + n));
    }
  }
  scale->RunScale();
  EXPECT_EQ(After(200), "!t_69f=1 !t_6af=1 !t_62f=1 !t_63f=1 ?bd018");
  terminal.Serve();
  EXPECT_EQ(TakeLog(),
            "Config Lamps(A) New ?pcl06 ?pcl07 ?bd021 ?s_263 ?s_26b ?s_27b ?s_28b ?ws125 ?ws225 "
            "?ws325 ?ws425 ?ws126 ?ws226 ?ws326 ?ws426 ?ws127 ?ws227 ?ws327 ?ws427");
  const auto filed = Data<TarnPredictFailureData>();
  EXPECT_EQ(filed->NumberActiveCells(), 3);
  EXPECT_EQ(filed->ScanTableCellAddress(4), 5);
  EXPECT_EQ(filed->CellZeroDriftStatus(3), 2);
  EXPECT_EQ(filed->CellSymFailCounter(24), 168);
  EXPECT_EQ(filed->CellZeroDriftCounter(1), 7);
  EXPECT_TRUE(filed->EstimatingWeightStatus(4));
  EXPECT_EQ(filed->SymmetryFailure(1), 26);
  EXPECT_EQ(filed->BadCell(2), 28);
  EXPECT_EQ(filed->ReplacementCell(4), 31);
  EXPECT_EQ(After(400), "?bd018");  // no triggers this time

  // A field that is no number ends its array; the round fails and the data are cleared.
  variables["pcl07"].replace(13, 13, "no number    ");
  terminal.Serve();
  EXPECT_EQ(TakeLog(), "New ?pcl06 ?pcl07");
  EXPECT_EQ(filed->CellSymFailCounter(24), 0);
  EXPECT_TRUE(filed->NoDataError());
  variables["pcl07"] = texts;
  After(400);
  terminal.Serve();
  EXPECT_FALSE(filed->NoDataError());
  EXPECT_EQ(filed->CellSymFailCounter(24), 168);
}

// --- Lost, late, doubled, foreign -------------------------------------------------------------

TEST_F(SummitRounds, AStoppedScaleReportsTheLossOnceAndAnOpenedOneGoesOn) {
  MakeSmall();
  Start();
  scale->StopScale();
  Told();
  host.loop.Advance(5000);
  EXPECT_EQ(Told(), "Lost Lamps(E) ");
  scale->Connection()->Connect();
  EXPECT_EQ(After(400), "?aaaaa");

  // A protocol that another has replaced leaves the socket alone, whoever holds it.
  const auto former = engine;
  MakeSmall();
  Start();
  former->myScale(scale);
  data->told.clear();
  Deliver(Long("aaaaa", 1));
  EXPECT_EQ(data->told, "long(0:1) ");

  // One that has left its server says nothing any more, and over another connection nobody asks.
  scale->Detach();
  Told();
  EXPECT_EQ(After(5000), "");
  EXPECT_EQ(data->told, "");
  MakeSmall();
  scale->Connection(NewObject<_Connection>(*site, "NoConnection"));
  Told();
  scale->RunScale();
  host.loop.Advance(5000);
  EXPECT_EQ(data->told + terminal.Requests(), "");
}

TEST_F(SummitRounds, AConfigurationMayHaveAsManyTagsAsItsCountHolds) {
  struct Endless final : SummitConfig {
    TagInfo GetTagInfoByIndex(std::int16_t i) const override {
      return i > 0 ? ClientConfig::Tag("x", SDTagType::SDBitType, 1) : nullptr;
    }
    std::int16_t GetTagInfoCount() const override { return 32767; }
  };
  MakeSmall();
  engine->Configuration(std::make_shared<Endless>());
  Start();
  std::string twice = ReplyOf("x", 1, "\x01");
  twice += twice;
  for (int tag = 0; tag < 32767; ++tag) {
    Socket().sent.clear();
    Socket().Deliver(twice);  // one of them belongs
    EXPECT_LE(Socket().sent.size(), 1U);
  }
  EXPECT_TRUE(data->told.ends_with("bit(1) Updated ")) << data->told.size();
}

// --- Triggers ---------------------------------------------------------------------------------

TEST_F(SummitRounds, TriggersFrameARound) {
  MakeSmall();
  config->triggers = {"u_001", "u_002", "u_03", "u_004"};
  config->tags[1]->TriggerRequired(true);
  Start();
  EXPECT_EQ(Told(), "Reset !u_001=1 !u_002=1 ?u_001 ?u_002 ?aaaaa");
  Socket().Deliver(ReplyOf("u_001", 1, "\x01"));  // not filed under the tag that waits
  EXPECT_EQ(Told(), "");
  config->trigger = ClientConfig::Tag("u_002", SDTagType::SDBitType, 1);
  for (const char* told : {"bit(1) ", ""}) {
    Socket().Deliver(ReplyOf("u_002", 1, "\x01"));
    EXPECT_EQ(Told(), told);
  }
  Socket().Deliver(Long("aaaaa", 1));
  EXPECT_EQ(Told(), "long(0:1) ");
  EXPECT_EQ(After(200), "?u_001 ?u_002");
  EXPECT_EQ(After(200), "?u_001 ?u_002 ?bb");  // the third read: patience is over
  Socket().Deliver(Long("bb", 2));
  Socket().Deliver(Long("ccccc", 3));
  EXPECT_EQ(Told(), "long(0:2) long(0:3) Updated Lamps(A) ?ccccc");
  data->complete = true;
  host.loop.Advance(400);
  Socket().Deliver(Long("aaaaa", 1));
  EXPECT_EQ(Told(), "Reset long(0:1) !u_001=1 !u_002=1 ?u_001 ?u_002 ?aaaaa ?bb");
}

TEST_F(SummitRounds, AFailingClientObjectIsReportedAndTracedOnce) {
  MakeSmall();
  Start();
  const auto fail = [] { throw std::runtime_error("the client failed"); };
  data->called = fail;
  Told();
  Socket().Deliver(Long("aaaaa", 1));
  EXPECT_EQ(Told(), "long(0:1) NoData ");
  data->called = nullptr;
  config->called = fail;
  EXPECT_EQ(After(400), "");
  config->called = nullptr;
  scale->watchdog(true);
  const auto thrower = scale->NewStatus.Subscribe(fail);
  EXPECT_EQ(After(400), "?aaaaa");
  for (const char* name : {"aaaaa", "bb", "ccccc"}) Deliver(Long(name, 1));
  EXPECT_FALSE(scale->watchdog());
  EXPECT_EQ(host.traces.size(), 1U);
}

TEST_F(SummitRounds, AMatchingPairComesWhereNoneWasGiven) {
  using enum ProtocolType;
  const auto pair = [this] {
    return std::string(engine->Configuration()->ClassName()) + " " +
           std::string(scale->SummitData()->ClassName());
  };
  Make(NoProtType);
  EXPECT_EQ(pair(), "SummitConfig SummitData");
  const std::pair<ProtocolType, const char*> types[] = {
      {OrbixDiagDataType, "TarnOrbixDiagConfig TarnOrbixDiagData"},
      {PredictFailureDataType, "TarnPredictFailureConfig TarnPredictFailureData"},
      {ScaleDiagDataType, "TarnScaleDiagConfig TarnScaleDiagData"},
      {KesBasicDataType, "TarnKesBasicConfig TarnKesBasicData"},
      {KesSharedDataType, "TarnKesBasicConfig TarnKesBasicData"}};
  for (const auto& [type, expected] : types) {
    engine->pType(type);
    EXPECT_EQ(pair(), expected);
    EXPECT_EQ(scale->GetAxDataObj(expected + std::string(expected).find(' ') + 1),
              scale->SummitData());
  }
  // What was given stays.
  MakeSmall();
  engine->pType(ScaleDiagDataType);
  EXPECT_EQ(scale->SummitData(), data);
  EXPECT_EQ(engine->Configuration(), config);

  // A protocol that is bound later brings the pair when it runs.
  const auto late = NewObject<SummitProtocol>(*site, "SummitProtocol");
  late->pType(OrbixDiagDataType);
  scale->SummitData(NewObject<_SummitData>(*site, "SummitData"));
  scale->Protocol(late);
  scale->RunScale();
  EXPECT_EQ(scale->SummitData()->ClassName(), "TarnOrbixDiagData");
  EXPECT_EQ(scale->WeightData()->GrossWeight(), "N/A");
}

TEST_F(SummitRounds, AClientsOwnObjectsAreNamedAndLeaveADefaultBehind) {
  MakeSmall();
  PropertyBag bag;
  WriteObject(bag, "Scale1", *scale);
  EXPECT_EQ(bag.ClientMade(),
            (std::vector<std::string>{"Scale1.Protocol.Configuration", "Scale1.SummitData"}));
}

}  // namespace
}  // namespace tarn
