#include "shareddata/summit_protocol.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "shareddata/tag_messages.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
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

TEST_F(SummitRounds, ARequestIsMadeOfTheNodeAndTheVariable) {
  Make(ProtocolType::ScaleDiagDataType);
  scale->RunScale();
  EXPECT_TRUE(Socket().sent.empty());
  EXPECT_EQ((std::vector<std::string>(Socket().calls.end() - 5, Socket().calls.end())),
            (std::vector<std::string>{"Transport 1", "LocalPort 1701", "RemoteHost 127.0.0.2",
                                      "RemotePort 1701", "Bind 1701"}));
  host.loop.Advance(200);
  std::string expected("\0\x64\x01\x10/w1/w0001\0/k1/cs121\0\x20\0\x01\0\0", 29);
  expected.resize(239);
  ASSERT_EQ(Socket().sent.size(), 1U);
  EXPECT_EQ(Socket().sent[0], expected);
}

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

// --- What clients' objects and handlers may do --------------------------------------------------

/// A round with triggers and an array, one that ends with the errors of the rounds before it, and
/// one without a reply: every call that the engine makes of clients' objects and handlers.
class SummitCalls : public SummitRounds {
 protected:
  /// The `at`th call does the deed; false where there were fewer. Nobody but the engine holds the
  /// configuration, and nobody but the scale the data object and the engine.
  bool Play(const std::function<void()>& deed, int at) {
    MakeSmall();
    config->tags[1]->TriggerRequired(true);
    config->tags[2]->TagType(SDTagType::SDLongArrayType);
    config->tags[2]->TagDataLen(8);
    config->resets = {"r_001", "r_002"};
    config->triggers = {"u_001"};
    config->trigger = ClientConfig::Tag("u_001", SDTagType::SDBitType, 1);
    calls = after = 0;
    const auto called = [this, &deed, at] {
      if (++calls > at) ++after;
      if (calls == at) deed();
    };
    config->called = data->called = called;
    const auto status = scale->NewStatus.Subscribe(called);
    watched = engine;
    subscriptions.clear();
    config.reset();
    data.reset();
    engine.reset();
    Start();
    for (const std::string& reply :
         {ReplyOf("u_001", 1, "\x01"), Long("aaaaa", 1), Long("bb", 1),
          ReplyOf("ccccc", 1, "12345678"), ReplyOf("x", 7, ""), Long("aaaaa", 1)}) {
      Socket().Deliver(reply);
      host.loop.Advance(600);
    }
    host.loop.Advance(2000);
    Answer(3000);
    return calls >= at;
  }
  /// Answers whatever is asked; how often that was.
  std::size_t Answer(double milliseconds) {
    terminal.Requests();
    const std::size_t before = Socket().sent.size();
    for (double end = host.loop.Now() + milliseconds; host.loop.Now() < end;) {
      host.loop.Advance(200);
      terminal.variables = {{"aaaaa", "1234"}, {"bb", "1234"}, {"ccccc", "12345678"}};
      terminal.Serve();
    }
    return Socket().sent.size() - before;
  }

  std::weak_ptr<SummitProtocol> watched;
  int calls = 0;
  int after = 0;
};

TEST_F(SummitCalls, MayEndEverything) {
  const auto protocol = [this] { return watched.lock(); };
  // The calls that may follow; the lamp of a loss is one.
  enum { kEnds = 1, kStops = 20, kGoesOn = 1000 };
  const auto foreign = NewScale(2);
  const struct {
    const char* name;
    std::function<void()> deed;
    int then;
  } cases[] = {
      {"throw", [] { throw std::runtime_error("the client failed"); }, kGoesOn},
      {"wait", [this] { host.loop.RunUntil([] { return false; }, 3000); }, kGoesOn},
      {"run", [this] { scale->RunScale(); }, kGoesOn},
      {"another data object",
       [this] { scale->SummitData(NewObject<_SummitData>(*site, "SummitData")); }, kGoesOn},
      {"no data object", [this] { scale->SummitData(nullptr); }, kGoesOn},
      {"stop", [this] { scale->StopScale(); }, kStops},
      {"disable", [this] { scale->Disabled(true); }, kStops},
      {"no configuration", [&] { protocol()->Configuration(nullptr); }, kStops},
      {"no scale", [&] { protocol()->myScale(nullptr); }, kEnds},
      {"another scale", [&] { protocol()->myScale(foreign); }, kEnds},
      {"no connection", [&] { protocol()->Connection(nullptr); }, kEnds},
      {"another connection",
       [this] { scale->Connection(NewObject<_Connection>(*site, "NoConnection")); }, kEnds},
      {"disconnect", [&] { protocol()->Disconnect(); }, kEnds},
      {"another protocol", [this] { scale->Protocol(NewObject<_Protocol>(*site, "NoProtocol")); },
       kEnds},
      {"let go of the scale", [this] { scale.reset(); }, kStops},
  };
  for (const auto& one : cases) {
    int at = 1;
    while (Play(one.deed, at)) {
      SCOPED_TRACE(std::string(one.name) + " at call " + std::to_string(at++));
      EXPECT_EQ(scale && Answer(3000) > 0, one.then == kGoesOn);
      EXPECT_LE(after, one.then);
      if (scale) scale->StopScale();
      scale.reset();
      EXPECT_TRUE(watched.expired());
      if (HasFailure()) return;
    }
    EXPECT_GT(at, 40) << one.name;
  }
}

TEST_F(SummitRounds, AFailingClientObjectDoesNotStopTheRounds) {
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

  scale->watchdog(true);
  const auto thrower = scale->NewStatus.Subscribe([] { throw std::runtime_error("handler"); });
  for (const char* name : {"aaaaa", "bb", "ccccc"}) Deliver(Long(name, 1));
  EXPECT_FALSE(scale->watchdog());
  EXPECT_EQ(After(400), "?aaaaa");
}

// --- Every type -------------------------------------------------------------------------------

TEST_F(SummitRounds, EveryTypeIsDecodedInItsOwnWay) {
  using enum SDTagType;
  const std::string seven = Wire<std::int32_t>(7) + Wire<std::int32_t>(-8);
  const struct {
    SDTagType type;
    std::int16_t length;
    std::string wire;
    std::string polled;  // what the data object is told
    TagValue single;     // what ConvertReadData leaves in the tag
  } cases[] = {
      {NoTagType, 4, seven, "", "old"},
      {SDBitType, 1, "\x01", "bit(1) ", true},
      {SDBitType, 1, "\x02", "bit(0) ", false},
      {SDCharType, 1, "P", "byte(80) ", "old"},
      {SDByteType, 1, "\xFF", "byte(255) ", std::uint8_t{255}},
      {SDUShortType, 2, Wire<std::int16_t>(-2), "int(0:-2) ", std::int16_t{-2}},
      {SDLongType, 4, seven, "long(0:7) ", std::int32_t{7}},
      {SDULongType, 4, std::string("12\0\0", 4), "", "12"},
      {SDFloatType, 4, Wire(1.5F), "float(0:1.500000) ", 1.5F},
      {SDDoubleType, 8, Wire(-0.25), "double(0:-0.250000) ", -0.25},
      {SDStringType, 5, std::string("a\xE9\0bc", 5), "text(0:aé) ", "aé"},
      {SDCharArrayType, 4, std::string("a\0bc", 4), "bytes(4:97.0.0.0.) ", "old"},
      {SDByteArrayType, 4, std::string("a\0bc", 4), "bytes(4:97.0.98.99.) ", "old"},
      {SDLongArrayType, 9, seven + "x", "long(0:7) long(1:-8) ", "old"},
      {SDLongCharArrayType, 27, "12           -3\0          x", "long(0:12) long(1:-3) ", "old"},
      {SDLongArrayType, -5, seven, "", "old"},
      {SDLongType, 3, seven, "FAIL", std::int32_t{0}},
      {SDLongCharArrayType, 26, "12           x            ", "long(0:12) FAIL", "old"},
      {SDTagType{99}, 4, seven, "", "old"},
      {SDTagType{-1}, 4, seven, "", "old"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(static_cast<int>(one.type));
    KesMessage message(host.locale);
    const std::string reply = ReplyOf("x", 1, one.wire);
    message.LoadReply(reply, static_cast<std::int32_t>(reply.size()));
    const auto tag = ClientConfig::Tag("x", one.type, one.length);
    tag->TagData("old");
    ClientData told;
    KesMessage again = message;
    if (!DeliverPolledData(message, tag, told, [] { return true; })) told.told += "FAIL";
    EXPECT_EQ(told.told, one.polled);
    ConvertReadData(*tag, again);
    EXPECT_EQ(tag->TagData(), one.single);
  }
}

// --- Settings ---------------------------------------------------------------------------------

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

TEST_F(SummitRounds, SettingsComeBackFromAFile) {
  Make(ProtocolType::KesBasicDataType);
  const auto declared = std::dynamic_pointer_cast<TarnKesBasicConfig>(engine->Configuration());
  declared->AddVariable("Speed", "abc1", SDTagType::SDFloatType, 4, true, true);
  declared->AddVariable("Name", "abc2", SDTagType::SDStringType, 20, false, false);
  PropertyBag bag;
  bag.WriteObject("Scale1", *scale);
  const auto copy = ReadObject<TarnScale>(PropertyBag::FromContents(bag.Contents()), "Scale1",
                                          *site, "TarnScale");
  const auto protocol = std::dynamic_pointer_cast<SummitProtocol>(copy->Protocol());
  ASSERT_TRUE(protocol);
  EXPECT_EQ(protocol->pType(), ProtocolType::KesBasicDataType);
  EXPECT_EQ(copy->GetAxDataObj("TarnKesBasicData"), copy->SummitData());
  EXPECT_EQ(protocol->Configuration()->GetTagInfoCount(), 1);
  const auto name = protocol->Configuration()->GetTagInfoByKey("name");
  ASSERT_TRUE(name);
  EXPECT_EQ(name->TagName(), "abc2");
  EXPECT_EQ(name->TagType(), SDTagType::SDStringType);
  EXPECT_EQ(name->TagDataLen(), 20);
  EXPECT_TRUE(protocol->Configuration()->GetTagInfoByIndex(1)->Writable());

  // A client's own objects leave a default behind and are named.
  MakeSmall();
  PropertyBag other;
  other.WriteObject("Scale1", *scale);
  EXPECT_EQ(other.ClientMade(),
            (std::vector<std::string>{"Scale1.Protocol.Configuration", "Scale1.SummitData"}));
}

}  // namespace
}  // namespace tarn
