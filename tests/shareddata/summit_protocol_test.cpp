#include "shareddata/summit_protocol.hpp"

#include <gmock/gmock.h>

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
  std::string Long(const char* name, std::int32_t value) { return ReplyOf(name, 1, Wire(value)); }

  std::shared_ptr<ClientConfig> config;
  std::shared_ptr<ClientData> data;
};

// --- Whole rounds -----------------------------------------------------------------------------

TEST_F(SummitRounds, ScaleDiagnosticsAreFiledRoundAfterRound) {
  Make(ProtocolType::ScaleDiagDataType);
  std::string order;
  const auto add = [&](const std::string& name, const std::string& value) {
    order += (order.empty() ? "?" : " ?") + name;
    terminal.variables[name] = value;
  };
  const auto each = [&](const std::string& prefix, const std::string& suffix, const auto& value) {
    for (int n = 1; n <= 4; ++n) add(prefix + std::to_string(n) + suffix, value(n));
  };
  for (const char n : {'1', '2', '3', '4'}) {
    add(std::string("cs") + n + "21", n == '2' ? "N" : "P");
    add(std::string("ce") + n + "02", std::string(1, n));
  }
  each("ce", "20", [](int n) { return Wire<std::int32_t>(100 * n); });
  each("ws", "08", [](int n) { return Wire(n + 0.5); });
  each("ce", "21", [](int n) { return Wire<std::int32_t>(-n); });
  each("ce", "22", [](int n) { return Wire(n * 1000.25); });
  each("ce", "23", [](int n) { return Wire<std::int32_t>(n); });
  each("ce", "24", [](int n) { return Wire(n / 8.0); });
  for (const char* name : {"s_205", "s_20d", "s_275", "s_285"}) {
    add(name, name == std::string("s_20d") ? "\x02" : "\x01");
  }
  each("ws", "13", [](int n) { return ("E" + std::to_string(n) + "\xE9").append(38, '\0'); });
  float counter = 0;
  for (const char* suffix : {"14", "20", "21", "22", "23", "24"}) {
    counter += 10;
    each("ws", suffix, [&](int n) { return Wire(counter + static_cast<float>(n)); });
  }

  host.locale.decimal = ",";
  scale->RunScale();
  const std::string ended = "Lamps(A) New ";
  EXPECT_EQ(After(200), "?cs121");
  terminal.Serve();
  EXPECT_EQ("?cs121 " + TakeLog().substr(ended.size()), order);
  const auto diag = Data<TarnScaleDiagData>();
  std::string filed;
  for (const NamedValue& value : diag->NamedValues()) {
    filed += value.name + " " + value.value + "; ";
  }
  EXPECT_EQ(filed,
            "ScaleCalZeroCounts 100 200 300 400; ScaleCurrentZeroCounts 2 2 4 4; "
            "ScaleCalHighCounts -1 -2 -3 -4; ScaleCalHighWeight 1000,25 2000,5 3000,75 4001; "
            "ScaleCalMidCounts 1 2 3 4; ScaleCalMidWeight 0,125 0,25 0,375 0,5; "
            "ScaleCriticalError 1 0 1 1; LastScaleError E1é E2é E3é E4é; "
            "ScaleErrorCounter 11 12 13 14; WeighmentCounter 21 22 23 24; "
            "ScaleOverloadCounter 31 32 33 34; ScaleImpactCounter 41 42 43 44; "
            "ScaleZeroCounter 51 52 53 54; ScaleZeroFailCounter 61 62 63 64; ");
  EXPECT_EQ(diag->ScaleCurrentCountsArray(), (TarnScaleDiagData::Longs::Array{}));
  EXPECT_EQ(diag->ScaleKind(2), 'N');
  EXPECT_EQ(diag->KindByte(2), 0);
  EXPECT_EQ(diag->KindByte(3), '3');
  EXPECT_EQ(diag->PresentScales(), 3);
}

TEST_F(SummitRounds, FailurePredictionResetsItsTriggersOnce) {
  Make(ProtocolType::PredictFailureDataType);
  auto& variables = terminal.variables;
  std::string texts;
  for (int cell = 1; cell <= 24; ++cell) {
    std::string number = std::to_string(cell * 7);
    texts += number.append(13 - number.size(), ' ');
  }
  variables["bd018"] = std::string("\0\1\2", 3).append(22, '\0');
  variables["pcl06"] = variables["pcl07"] = texts.append(8, ' ');
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
  const int values[] = {filed->NumberActiveCells(),     filed->ScanTableCellAddress(4),
                        filed->CellZeroDriftStatus(3),  filed->CellSymFailCounter(24),
                        filed->CellZeroDriftCounter(1), filed->EstimatingWeightStatus(4),
                        filed->SymmetryFailure(1),      filed->BadCell(2),
                        filed->ReplacementCell(4)};
  EXPECT_THAT(values, testing::ElementsAre(3, 5, 2, 168, 7, 1, 26, 28, 31));
  EXPECT_EQ(After(400), "?bd018");  // no triggers this time

  // A field that is no number ends its array; the round fails and the data are cleared.
  variables["pcl07"].replace(13, 13, "no number    ");
  terminal.Serve();
  EXPECT_EQ(TakeLog(), "New ?pcl06 ?pcl07");
  EXPECT_EQ(filed->CellSymFailCounter(24), 0);
}

// --- Lost, late, doubled, foreign -------------------------------------------------------------

TEST_F(SummitRounds, AConfigurationMayHaveAsManyTagsAsItsCountHolds) {
  MakeSmall();
  config->tags.assign(32767, ClientConfig::Tag("x", SDTagType::SDBitType, 1));
  Start();
  const std::string reply = ReplyOf("x", 1, "\x01");
  for (int tag = 0; tag < 32767; ++tag) {
    Socket().sent.clear();
    Socket().Deliver(reply + reply);  // one of them belongs
    EXPECT_LE(Socket().sent.size(), 1U);
  }
  EXPECT_TRUE(data->told.ends_with("bit(1) Updated ")) << data->told.size();
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
  EXPECT_EQ(After(400), "?aaaaa");
  EXPECT_EQ(host.traces.size(), 1U);
}

TEST_F(SummitRounds, AMatchingPairComesWhereNoneWasGiven) {
  using enum ProtocolType;
  const std::pair<ProtocolType, const char*> types[] = {
      {NoProtType, "SummitConfig SummitData"},
      {OrbixDiagDataType, "TarnOrbixDiagConfig TarnOrbixDiagData"},
      {PredictFailureDataType, "TarnPredictFailureConfig TarnPredictFailureData"},
      {ScaleDiagDataType, "TarnScaleDiagConfig TarnScaleDiagData"},
      {KesBasicDataType, "TarnKesBasicConfig TarnKesBasicData"},
      {KesSharedDataType, "TarnKesBasicConfig TarnKesBasicData"}};
  Make(NoProtType);
  for (const auto& [type, pair] : types) {
    engine->pType(type);
    const std::string name(scale->SummitData()->ClassName());
    EXPECT_EQ(std::string(engine->Configuration()->ClassName()) + " " + name, pair);
    EXPECT_EQ(scale->GetAxDataObj(name), type == NoProtType ? nullptr : scale->SummitData());
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

}  // namespace
}  // namespace tarn
