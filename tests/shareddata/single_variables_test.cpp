#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "tests/support/summit_fixture.hpp"

namespace tarn {
namespace {

using enum SDAccessStatus;
using enum SDTagType;

/// The BASIC exchange with one polled long "P", and variables of every kind beside it.
class SingleVariables : public SummitFixture {
 protected:
  void SetUp() override {
    Make(ProtocolType::KesBasicDataType);
    config = std::dynamic_pointer_cast<TarnKesBasicConfig>(engine->Configuration());
    data = Data<TarnKesBasicData>();
    config->AddVariable("P", "poll", SDLongType, 4, false, true);
    config->AddVariable("L", "long", SDLongType, 4, true, false);
    config->AddVariable("S", "str", SDStringType, 40, true, false);
    config->AddVariable("U", "ulong", SDULongType, 12, true, false);
    config->AddVariable("A", "arr", SDLongArrayType, 40, true, false);
    config->AddVariable("KBCommand", "cmd", SDByteType, 1, true, false);
    config->AddVariable("KBStatus", "stat", SDUShortType, 2, false, true);
    scale->RunScale();
    scale->ActivityTimer()->TimeoutTime(0);
    host.loop.Advance(200);
    TakeLog();
  }
  /// Answers single reads from inside the wait.
  void AnswerLater(const std::string& bytes) {
    host.loop.Post([this, bytes] { Socket().Deliver(bytes); });
  }

  std::shared_ptr<TarnKesBasicConfig> config;
  std::shared_ptr<TarnKesBasicData> data;
};

TEST_F(SingleVariables, AReadEndsCleanlyHoweverItEnds) {
  const auto deliver = [this](const char* name, std::uint8_t sequence, const std::string& bytes) {
    Socket().Deliver(ReplyOf(name, sequence, bytes));
  };
  const auto answer = [&] { deliver("long", 2, Wire<std::int32_t>(42)); };
  const std::tuple<const char*, std::function<void()>, SDAccessStatus> cases[] = {
      {"answered", answer, RW_SUCCESS},
      {"silence", [] {}, READ_FAILURE},
      {"no data", [&] { deliver("long", 2, ""); }, READ_FAILURE},
      {"another variable", [&] { deliver("str", 2, "abcd"); }, READ_FAILURE},
      {"a polling reply", [&] { deliver("long", 1, "abcd"); }, READ_FAILURE},
      {"a second read fails at once, the first goes on",
       [&] {
         TagValue other;
         EXPECT_EQ(data->SDRead("S", other), READ_FAILURE);
         answer();
       },
       RW_SUCCESS},
      {"the scale stops", [&] { scale->StopScale(); }, READ_FAILURE},
      {"the scale starts anew", [&] { scale->RunScale(); }, READ_FAILURE},
      {"disconnected", [&] { engine->Disconnect(); }, READ_FAILURE},
      {"replaced, and answered then",
       [&] {
         scale->Protocol(NewObject<_Protocol>(*site, "NoProtocol"));
         answer();
         engine.reset();
       },
       READ_FAILURE},
      {"the scale goes",
       [&] {
         subscriptions.clear();
         engine.reset();
         scale.reset();
       },
       READ_FAILURE},
  };
  for (const auto& [name, meanwhile, status] : cases) {
    SCOPED_TRACE(name);
    Make(ProtocolType::NoProtType);
    engine->Configuration(config);
    scale->SummitData(data);
    scale->RunScale();
    host.loop.Advance(200);
    host.loop.Post(meanwhile);
    TagValue value = "as it was";
    const double before = host.loop.Now();
    EXPECT_EQ(data->SDRead("l", value), status);
    EXPECT_EQ(value, status == RW_SUCCESS ? TagValue(std::int32_t{42}) : TagValue("as it was"));
    const bool silence = name == std::string("silence");  // four ticks after the last
    EXPECT_TRUE(silence ? host.loop.Now() - before == 800 : host.loop.Now() - before <= 800);
    if (scale) scale->StopScale();
  }
}

TEST_F(SingleVariables, ReadsAndWritesAnswerWithTheirStatus) {
  TagValue value;
  EXPECT_EQ(data->SDRead("none", value), INVALID_TAG);
  EXPECT_EQ(data->SDRead("A", value), WRONG_DATA_TYPE);
  const std::tuple<SDTagType, std::string, TagValue> reads[] = {
      {SDBitType, "\x01", true},
      {SDBitType, "\x02", false},
      {SDByteType, "\xFF", std::uint8_t{255}},
      {SDUShortType, Wire<std::int16_t>(-2), std::int16_t{-2}},
      {SDLongType, Wire<std::int32_t>(7), std::int32_t{7}},
      {SDULongType, std::string("12\0\0", 4), "12"},
      {SDFloatType, Wire(1.5F), 1.5F},
      {SDDoubleType, Wire(-0.25), -0.25},
      {SDStringType, std::string("a\xE9\0bc", 5), "aé"}};
  for (const auto& [type, wire, read] : reads) {
    const auto length = static_cast<std::int16_t>(wire.size());
    const auto tag = config->AddVariable("x", "any", type, length, true, false);
    AnswerLater(ReplyOf("any", 2, wire));
    EXPECT_EQ(data->SDRead("X", value), RW_SUCCESS);
    EXPECT_EQ(value, read);
    EXPECT_EQ(tag->TagData(), read);
    config->RemoveVariable("x");
  }
  config->AddVariable("x", "any", SDCharType, 1, true, false);
  EXPECT_EQ(data->SDRead("x", value), WRONG_DATA_TYPE);
  terminal.Requests();

  host.locale.decimal = ",";
  for (const auto type : {SDBitType, SDUShortType, SDFloatType, SDDoubleType}) {
    config->AddVariable(std::to_string(static_cast<int>(type)), "any", type, 8, true, false);
  }
  const struct {
    const char* key;
    TagValue value;
    SDAccessStatus status;
    const char* sent;
  } cases[] = {
      {"none", 1, INVALID_TAG, ""},
      {"P", 1, WRITE_NOT_ALLOWED, ""},
      {"A", 1, WRONG_DATA_TYPE, ""},
      {"L", "x", WRONG_DATA_TYPE, ""},
      {"L", 1e10, WRONG_DATA_TYPE, ""},
      {"L", "258", RW_SUCCESS, "!3:long=2.1.0.0"},
      {"S", 1.5, RW_SUCCESS, "!3:str=49.44.53"},
      {"S", std::string(211, 'x'), WRITE_FAILURE, ""},
      {"U", "é", RW_SUCCESS, "!3:ulong=233"},
      {"KBCommand", std::int16_t{256}, WRONG_DATA_TYPE, ""},
      {"1", true, RW_SUCCESS, "!3:any=1"},
      {"4", -2, RW_SUCCESS, "!3:any=254.255"},
      {"7", "1,5", RW_SUCCESS, "!3:any=0.0.192.63"},
      {"8", 1.5, RW_SUCCESS, "!3:any=0.0.0.0.0.0.248.63"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(data->SDWrite(one.key, one.value), one.status) << one.key;
    EXPECT_EQ(terminal.Requests(), one.sent);
  }
  EXPECT_EQ(data->SDWrite("S", std::string(210, 'x')), RW_SUCCESS) << "the longest";
  terminal.Requests();
  EXPECT_EQ(data->KBCommand(std::int16_t{3}), RW_SUCCESS);
  EXPECT_EQ(terminal.Requests(), "!3:cmd=3");
  Socket().failSend = AutomationError(ErrorNumber::DeviceInputOutput, "full");
  EXPECT_EQ(data->SDWrite("L", 1), WRITE_FAILURE);
  EXPECT_EQ(data->SDRead("L", value), READ_FAILURE);
  Socket().failSend.reset();
  scale->StopScale();
  EXPECT_EQ(data->SDWrite("L", 1), WRITE_FAILURE);
  EXPECT_EQ(TarnKesBasicData(*site).SDRead("L", value), READ_FAILURE);
}

TEST_F(SingleVariables, AHandlerMayReadInTheMiddleOfARound) {
  terminal.variables = {{"poll", Wire<std::int32_t>(5)}, {"stat", Wire<std::int16_t>(7)}};
  TagValue value;
  const auto handler = data->NewDataReady.Subscribe([&] {
    AnswerLater(ReplyOf("poll", 1, Wire<std::int32_t>(6)) +
                ReplyOf("long", 2, Wire<std::int32_t>(8)));
    EXPECT_EQ(data->SDRead("L", value), RW_SUCCESS);
  });
  terminal.Serve();
  EXPECT_EQ(value, TagValue(std::int32_t{8}));
  EXPECT_EQ(data->LongValue(1), 5);
  EXPECT_EQ(data->KBStatus(), TagValue(std::int16_t{7}));
  EXPECT_EQ(After(400), "Lamps(A) New ?stat ?2:long ?poll");
}

TEST_F(SingleVariables, PolledValuesStandInArraysAndChangesAreTold) {
  const std::tuple<const char*, SDTagType, std::string> polled[] = {
      {"bit", SDBitType, "\x01"},
      {"float", SDFloatType, std::string("\0\0\xC0\x7F", 4)},  // not a number
      {"double", SDDoubleType, Wire(2.5)},
      {"chars", SDCharArrayType, std::string("ab\0\0", 4)},
      {"text", SDStringType, std::string("cd\0\0", 4)},
      {"bytes", SDByteArrayType, "\x03\x04"},
      {"longs", SDLongArrayType, "12345678"}};
  auto& variables = terminal.variables;
  for (const auto& [name, type, wire] : polled) {
    config->AddVariable(name, name, type, static_cast<std::int16_t>(wire.size()), false, true);
    variables[name] = wire;
  }
  config->RemoveVariable("P");
  variables["stat"] = Wire<std::int16_t>(7);
  std::string told;
  const auto handler =
      data->KBEvent.Subscribe([&](const std::string& index) { told += index + " "; });
  const auto ready = data->NewDataReady.Subscribe([&] { told += "| "; });
  const auto round = [&] {
    host.loop.Advance(400);
    terminal.Serve();
    return std::exchange(told, {});
  };
  EXPECT_EQ(round(), "KBStatus bit float double chars text bytes longs | ");
  EXPECT_EQ(data->BitValueArray(), std::vector<bool>{true});
  EXPECT_EQ(data->IntValue(1), 7);
  EXPECT_EQ(data->DoubleValue(1), 2.5);
  EXPECT_EQ(data->StringValueArray(), (std::vector<std::string>{"ab", "cd"}));
  EXPECT_EQ(data->ByteValueArray(), (std::vector<std::uint8_t>{3, 4}));
  EXPECT_EQ(data->LongValue(2), 0x38373635);
  for (const std::int16_t index : {std::int16_t{0}, std::int16_t{3}}) {
    EXPECT_EQ(ErrorOf([&] { data->LongValue(index); }), 9);
  }
  EXPECT_EQ(config->SDVariables()->Item("bytes")->TagData(),
            TagValue(std::vector<std::uint8_t>{3, 4}));
  EXPECT_EQ(round(), "| ");
  variables["longs"][7] = 'x';
  variables["bytes"] = "\x03\x05";
  EXPECT_EQ(round(), "bytes longs | ");
  data->CommLossError(true);
  EXPECT_EQ(data->ByteValueArray(), (std::vector<std::uint8_t>{0, 0}));
}

TEST_F(SingleVariables, ADeclarationIsChecked) {
  const std::tuple<std::string, const char*, SDTagType, std::int16_t, int> cases[] = {
      {"", "abc", SDBitType, 1, 380},        {"x", "", SDBitType, 1, 380},
      {"x", "1234567", SDBitType, 1, 380},   {"x", "abc", NoTagType, 1, 380},
      {"x", "abc", SDTagType{14}, 1, 380},   {"x", "abc", SDLongType, 3, 380},
      {"x", "abc", SDStringType, 1401, 380}, {"l", "abc", SDLongType, 4, 457}};
  for (const auto& [index, name, type, length, error] : cases) {
    EXPECT_EQ(ErrorOf([&, &i = index, &n = name, t = type, l = length] {
                config->AddVariable(i, n, t, l, false, false);
              }),
              error);
  }
  EXPECT_EQ(ErrorOf([&] { config->RemoveVariable("x"); }), 9);
  const auto add = [&](const std::string& index) {
    return ErrorOf([&] { config->AddVariable(index, "abc", SDLongType, 4, false, false); });
  };
  for (int i = config->SDVariables()->Count(); i < TarnKesBasicConfig::kMostVariables; ++i) {
    EXPECT_EQ(add(std::to_string(i)), 0);
  }
  EXPECT_EQ(add("x"), 6);
}

TEST_F(SingleVariables, TagsThatAClientHasSpoiledAreReadBackAndRefused) {
  const auto tags = config->SDVariables();
  tags->Item("S")->EasyIndex("l");
  tags->Item("L")->TagDataLen(3);
  TagValue value;
  EXPECT_EQ(data->SDRead("L", value), WRONG_DATA_TYPE);
  PropertyBag bag;
  WriteObject(bag, "Configuration", *config);
  const auto copy = ReadObject<TarnKesBasicConfig>(bag, "Configuration", *site, "");
  EXPECT_EQ(copy->SDVariables()->Count(), tags->Count());
  EXPECT_EQ(copy->GetTagInfoByKey("L")->TagName(), "long");
}

}  // namespace
}  // namespace tarn
