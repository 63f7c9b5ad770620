#include "protocols/tarn_continuous_protocol.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocols/no_protocol.hpp"
#include "tests/support/protocol_fixture.hpp"

namespace tarn {
namespace {

/// A frame behind its STX: status characters, weight digits, tare digits (none for a short one),
/// CR.
std::string Frame(int a, int b, int c, const std::string& weight, const std::string& tare) {
  return std::string{static_cast<char>(a), static_cast<char>(b), static_cast<char>(c)} + weight +
         tare + "\r";
}
std::string Wire(const std::string& frame) {
  return "\x02" + frame;
}

constexpr int kKg = 0x30;        // status B: kilograms
constexpr int kOnePlace = 0x2B;  // status A: decimal code 3
constexpr int kC = 0x20;

class ContinuousProtocol : public ProtocolFixture {
 protected:
  ContinuousProtocol() { Start(ProtocolType::TarnContinuousStandard); }

  void Start(ProtocolType type) {
    recorder = std::make_unique<EventRecorder>();
    ProtocolFixture::Start("TarnContinuousProtocol", type);
    recorder->Watch(*scale);
  }

  std::unique_ptr<EventRecorder> recorder;
};

TEST_F(ContinuousProtocol, ConnectPreparesThePortAndTheScale) {
  EXPECT_EQ(Port().ReceiveThreshold(), 16);
  EXPECT_EQ(Port().EndCharacter(), '\r');
  EXPECT_EQ(scale->UpdateRate(), 0);
  EXPECT_EQ(scale->ActivityTimeoutTime(), 500);
  EXPECT_EQ(Port().written, "");
  scale->StopScale();
  scale->Protocol()->pType(ProtocolType::TarnContinuousShortSetpoint);
  scale->RunScale();
  EXPECT_EQ(Port().ReceiveThreshold(), 10);
}

TEST_F(ContinuousProtocol, StartingARunningScaleOnceMoreDisturbsNothing) {
  EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 0);
  EXPECT_TRUE(Port().PortOpen());
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "000000")));
  EXPECT_EQ(newWeights, 1);
  serial->ComPort(2);  // another port needs a stop first
  EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), 8000);
  EXPECT_TRUE(Port().PortOpen());
}

TEST_F(ContinuousProtocol, ReadsStandardFrames) {
  const struct {
    const char* name;
    std::string frame;
    const char* reading;
  } cases[] = {
      {"one place", Frame(kOnePlace, kKg, kC, "001234", "000100"), "133.4|10.0|123.4 kg N"},
      {"pounds", Frame(kOnePlace, 0x20, kC, "001234", "000000"), "123.4|0.0|123.4 lb "},
      {"code 0 adds no zeros", Frame(0x28, kKg, kC, "000012", "000003"), "015|003|012 kg N"},
      {"code 1", Frame(0x29, kKg, kC, "000001", "000000"), "01|00|01 kg "},
      {"code 2", Frame(0x2A, kKg, kC, "999999", "000001"), "1000000|1|999999 kg N"},
      {"code 4", Frame(0x2C, kKg, kC, "001234", "000034"), "12.68|0.34|12.34 kg N"},
      {"code 5", Frame(0x2D, kKg, kC, "001234", "000034"), "1.268|0.034|1.234 kg N"},
      {"code 6", Frame(0x2E, kKg, kC, "001234", "000034"), "0.1268|0.0034|0.1234 kg N"},
      {"code 7", Frame(0x2F, kKg, kC, "001234", "000034"), "0.01268|0.00034|0.01234 kg N"},
      {"code 7 loses the tare's leading digit", Frame(0x2F, kKg, kC, "000000", "100034"),
       "1.00034|0.00034|0.00000 kg ZN"},
      {"code 7, negative: the tare reads negative", Frame(0x2F, 0x32, kC, "000050", "000100"),
       "0.00050|-0.00100|-0.00050 kg N"},
      {"negative", Frame(0x2A, 0x32, kC, "000050", "000100"), "50|100|-50 kg N"},
      {"a negative gross skips a digit between its ends",
       Frame(kOnePlace, 0x32, kC, "012345", "000000"), "-123.5|0.0|-1234.5 kg "},
      {"negative zero", Frame(kOnePlace, 0x32, kC, "000000", "000000"), "0.0|0.0|0.0 kg Z"},
      {"motion", Frame(kOnePlace, kKg | 8, kC, "001234", "000000"), "123.4|0.0|123.4 kg M"},
      {"out of range keeps the tare", Frame(kOnePlace, kKg | 4, kC, "001234", "000100"),
       "*******|10.0|******* kg RN"},
      {"blanks read as digits that are not there", Frame(kOnePlace, kKg, kC, "  1 23", "      "),
       "12.3|0.0|12.3 kg "},
      {"letters end the number", Frame(kOnePlace, kKg, kC, "12X456", "ABCDEF"), "1.2|0.0|1.2 kg "},
      {"grams", Frame(kOnePlace, kKg, 0x21, "000010", "000000"), "1.0|0.0|1.0 g "},
      {"tonnes", Frame(kOnePlace, kKg, 0x22, "000010", "000000"), "1.0|0.0|1.0 t "},
      {"ounces", Frame(kOnePlace, kKg, 0x23, "000010", "000000"), "1.0|0.0|1.0 oz "},
      {"troy ounces", Frame(kOnePlace, kKg, 0x24, "000010", "000000"), "1.0|0.0|1.0 ozt "},
      {"pennyweights", Frame(kOnePlace, kKg, 0x25, "000010", "000000"), "1.0|0.0|1.0 dwt "},
      {"short tons", Frame(kOnePlace, kKg, 0x26, "000010", "000000"), "1.0|0.0|1.0 ton "},
      {"other units", Frame(kOnePlace, kKg, 0x27, "000010", "000000"), "1.0|0.0|1.0 -- "},
  };
  for (const auto& c : cases) {
    newWeights = 0;
    Deliver(Wire(c.frame));
    EXPECT_EQ(Reading(), c.reading) << c.name;
    EXPECT_EQ(newWeights, 1) << c.name;
  }
}

TEST_F(ContinuousProtocol, ReadsShortFrames) {
  Start(ProtocolType::TarnContinuousShort);
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "")));
  EXPECT_EQ(Reading(), "*******|*******|123.4 kg ");
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "000100")));  // a standard frame is too long
  EXPECT_EQ(newWeights, 1);
}

TEST_F(ContinuousProtocol, TextsFollowTheUsersDecimalSeparator) {
  host.locale.decimal = ",";
  host.locale.group = ".";
  Start(ProtocolType::TarnContinuousStandard);
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "000100")));
  EXPECT_EQ(Reading(), "133,4|10,0|123,4 kg N");
  EXPECT_EQ(scale->WeightData()->NetWeightValue(), 123.4);
}

TEST_F(ContinuousProtocol, EventsComeInTheOrderOfTheSetters) {
  recorder->Take();
  Deliver(Wire(Frame(kOnePlace, kKg | 8, kC, "001234", "000100")));
  // motion, units, range, net mode, then the commit; the frame lights the lamp without an event
  EXPECT_EQ(recorder->Take(), "StatusChange StatusChange StatusChange StatusChange NewWeight");
  EXPECT_TRUE(scale->ActivityLED());
  EXPECT_FALSE(scale->watchdog());
  Deliver(Wire(Frame(kOnePlace, kKg | 8, kC, "001234", "000100")));
  EXPECT_EQ(recorder->Take(), "NewWeight");
}

TEST_F(ContinuousProtocol, APrintRequestInAFrameIsServedByTheSameReading) {
  const std::string stable = Wire(Frame(kOnePlace, kKg, kC | 8, "001234", "000000"));
  Deliver(stable);
  EXPECT_EQ(scale->PrintData()->NetWeight(), "123.4");
  int prints = 0;
  const auto count = scale->PrintData()->NewWeight.Subscribe([&] { ++prints; });
  Deliver(stable + stable + stable);  // a bit that is held asks with every frame
  EXPECT_EQ(prints, 3);
  Deliver(Wire(Frame(kOnePlace, kKg | 8, kC | 8, "002222", "000000")));
  EXPECT_EQ(prints, 3);
  EXPECT_TRUE(scale->PRState());
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "002345", "000000")));
  EXPECT_EQ(prints, 4);
  EXPECT_EQ(scale->PrintData()->NetWeight(), "234.5");
}

TEST_F(ContinuousProtocol, FindsTheFramesOnADisturbedLine) {
  const std::string good = Wire(Frame(kOnePlace, kKg, kC, "000111", "000000"));
  const std::string next = Wire(Frame(kOnePlace, kKg, kC, "000222", "000000"));
  const struct {
    const char* name;
    std::string bytes;
    int readings;
    const char* net;
  } cases[] = {
      {"two frames in one piece", good + next, 2, "22.2"},
      {"checksum characters", good + "\x55" + next + "\x56", 2, "22.2"},
      {"a checksum that is a CR", good + "\r" + next, 2, "22.2"},
      {"a checksum that is an STX", good + "\x02" + next, 2, "22.2"},
      {"noise in front", "xyz" + good, 1, "11.1"},
      {"an interrupted frame", good.substr(0, 9) + next, 1, "22.2"},
      {"one character short", good.substr(0, 8) + good.substr(9) + next, 1, "22.2"},
      {"one character more", good.substr(0, 8) + "0" + good.substr(8) + next, 1, "22.2"},
      {"a frame without STX counts by its length", good.substr(1) + "\r", 1, "11.1"},
      {"a CR too early", good.substr(0, 6) + "\r" + good.substr(6) + next, 1, "22.2"},
      {"noise without any frame", std::string(300, 'x') + "\r", 0, "9.9"},
      {"frames behind noise", std::string(250, 'x') + good + next, 2, "22.2"},
  };
  for (const auto& c : cases) {
    Port().ClearInput();
    Deliver(Wire(Frame(kOnePlace, kKg, kC, "000099", "000000")));
    newWeights = 0;
    Deliver(c.bytes);
    EXPECT_EQ(newWeights, c.readings) << c.name;
    EXPECT_EQ(scale->WeightData()->NetWeight(), c.net) << c.name;
  }
}

TEST_F(ContinuousProtocol, AFrameThatFailsInTheMiddleShowsNoData) {
  // A number too large for 32 bits behind an exponent; the net text is not reached.
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "000000")));
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "9E9999", "000000")));
  EXPECT_EQ(Reading(), "Error|Error|Error kg RE");
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "999E04", "000000")));
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  // The tare fails behind a net that was published already.
  std::string netWhenFailed;
  const auto watch = scale->WeightData()->NewWeight.Subscribe(
      [&] { netWhenFailed = scale->WeightData()->NetWeight(); });
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "9E9999")));
  EXPECT_EQ(netWhenFailed, "Error");
  EXPECT_FALSE(scale->watchdog());
  // Gross over 32 bits: both summands fit.
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "20E+08", "20E+08")));
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_TRUE(host.traces.empty());
}

TEST_F(ContinuousProtocol, CommandsAreSentAsTheyStand) {
  double tare = 12.5;
  scale->C();
  scale->T();
  scale->P();
  scale->Z();
  scale->SetTare(tare);
  EXPECT_EQ(Port().written, "CTPZ12.5T");
  EXPECT_EQ(tare, 12.5);
}

TEST_F(ContinuousProtocol, AFailingLogEndsAtTheProtocolAndIsTracedOnce) {
  site->Log().Enabled(true);  // but there is no stream
  for (int i = 0; i < 5; ++i) {
    host.loop.Post([&] { Deliver(Wire(Frame(kOnePlace, kKg, kC | 8, "001234", "000000"))); });
    host.loop.RunPending();
  }
  EXPECT_FALSE(scale->PRState());
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_EQ(host.traces.size(), 1U);
  site->Log().Enabled(false);
  Deliver(Wire(Frame(kOnePlace, kKg, kC, "001234", "000000")));
  EXPECT_EQ(scale->WeightData()->NetWeight(), "123.4");
}

TEST(NoProtocol, KeepsWhatItIsGivenAndDoesNothing) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto protocol = NewObject<_Protocol>(*site, "NoProtocol");
  const auto connection = std::make_shared<Connection>();
  protocol->Connection(connection);
  protocol->pType(ProtocolType::GSE550);
  double tare = 2.5;
  protocol->Connect();
  protocol->SetTare(tare);
  EXPECT_EQ(protocol->Connection(), connection);
  EXPECT_EQ(tare, 2.5);
  EXPECT_EQ(protocol->TypeToClass(ProtocolType::GSE550), ProtocolClass::Generic);
  PropertyBag bag;
  bag.WriteObject("Protocol", *protocol);
  EXPECT_EQ(ReadObject<_Protocol>(bag, "Protocol", *site, "Protocol")->pType(),
            ProtocolType::GSE550);
}

}  // namespace
}  // namespace tarn
