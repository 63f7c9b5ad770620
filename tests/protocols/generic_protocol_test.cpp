#include "protocols/generic_protocol.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/protocol_fixture.hpp"

namespace tarn {
namespace {

/// What a frame that tells nothing leaves behind, and every other one as well.
const std::string kNoData = "s [Error|Error|Error  RE] ";
const std::string kNoDataKg = "s [Error|Error|Error kg RE] ";
const std::string kNoDataLb = "s [Error|Error|Error lb RE] ";

std::string Net(const std::string& weight, const std::string& units,
                const std::string& flags = "") {
  return "s s [*******|*******|" + weight + " " + units + " " + flags + "] s [Error|Error|Error " +
         units + " RE] ";
}
const std::string kOverRange = "[*******||*******  RZ] ";

class GenericTest : public ProtocolFixture {
 protected:
  void Start(int type) { ProtocolFixture::Start("GenericProtocol", ProtocolType{type}); }
  const GenericFrameDef& FrameDef() const {
    return std::dynamic_pointer_cast<GenericProtocol>(scale->Protocol())->FrameDef();
  }
};

TEST_F(GenericTest, ReadsTheFramesOfEachType) {
  const struct {
    const char* name;
    int type;
    std::string bytes;
    std::string trace;
  } cases[] = {
      // C w W W W W W . . S u u . . . . . E
      {"24", 24, "\r 123.4  xkg     \x03", Net("123.4", "kg")},
      {"24 in motion", 24, "\r  12.5  mlb     \x03",
       "s s s [*******|*******|12.5 lb M] " + kNoDataLb},
      {"24 negative: the sign counts twice", 24, "\r-123.4  xkg     \x03",
       "s s s [*******|*******|--123.4 kg Z] " + kNoDataKg},
      {"24 over capacity", 24, "\r 123.4  ckg     \x03", "s " + kOverRange + kNoData},
      {"24 in error", 24, "\r 123.4  ekg     \x03", "s " + kOverRange + kNoData},
      {"24 short, but with all its fields", 24, "\r 123.4  xkg\x03", Net("123.4", "kg")},
      {"24 too short", 24, "\r 123.4  x\x03", kNoData},
      {"24 as long as may be", 24, "\r 123.4  xkg      \x03", Net("123.4", "kg")},
      {"24 too long", 24, "\r 123.4  xkg       \x03", kNoData + kNoData},
      {"24 begun twice", 24, "\r 99\r 123.4  xkg     \x03", Net("123.4", "kg")},
      {"24 behind noise", 24, std::string(18, 'x') + "\r 123.4  xkg     \x03", Net("123.4", "kg")},
      {"24 behind more noise", 24, std::string(19, 'x') + "\r 123.4  xkg     \x03",
       kNoData + "s s [*******|*******|123.4 kg E] " + kNoDataKg},
      {"24 between noise", 24, "\r 123.4  xkg     \x03xy\x03\r 123.4  xkg     \x03",
       Net("123.4", "kg") + kNoDataKg + "s [*******|*******|123.4 kg E] " + kNoDataKg},
      // . W W W W W W W . u u . . S . E
      {"25", 25, "   123.4 kg  x\r\n", Net("123.4", "kg")},
      {"25 negative", 25, "  -123.4 kg  x\r\n", Net("-123.4", "kg")},
      {"25 in motion", 25, "   123.4 kg  g\r\n", "s s s [*******|*******|123.4 kg M] " + kNoDataKg},
      {"25 with the mark that nobody looks at", 25, "   123.4 kg  n\r\n", Net("123.4", "kg")},
      {"25 without start character: noise counts", 25, "x   123.4 kg  x\r\n", Net("123.", " k")},
      {"25 too long", 25, "xxx   123.4 kg  x\r\n", kNoData + kNoData},
      // C S . W W W W W W W W . u u . . . . . . . . E
      {"26", 26, "\x02x    123.4 kg        \r\n", Net("123.4", "kg")},
      {"26 in motion", 26, "\x02M    123.4 kg       \r\n",
       "s s s [*******|*******|123.4 kg M] " + kNoDataKg},
      {"26 out of range", 26, "\x02O    123.4 kg       \r\n", "s " + kOverRange + kNoData},
      // C w W W W W W W u . . S . E
      {"27 ends at its units, behind the motion", 27, "\x02 0123.4K  M\r\n", "s " + kNoData},
      {"27 out of range", 27, "\x02 0123.4K  O\r\n", "s " + kOverRange + kNoData},
      {"27 invalid", 27, "\x02 0123.4K  I\r\n", "s " + kOverRange + kNoData},
      // . . w W W W W W . u u . . . . . E
      {"28", 28, "   123.4 kg    \r\n", Net("123.4", "kg")},
      {"28 negative", 28, "  -123.4 kg    \r\n",
       "s s s [*******|*******|--123.4 kg Z] " + kNoDataKg},
      {"no type", 0, std::string("123456") + '\0' + "1234567" + '\0', kNoData + kNoData},
  };
  for (const auto& c : cases) {
    Start(c.type);
    Deliver(c.bytes);
    EXPECT_EQ(Trace(), c.trace) << c.name;
    EXPECT_TRUE(scale->WeightData()->NoDataError()) << c.name;
  }
}

TEST_F(GenericTest, TheDecimalPointFollowsTheUser) {
  host.locale.decimal = ",";
  Start(25);
  double value = 0;
  const auto watch = scale->WeightData()->NewWeight.Subscribe(
      [&] { value += scale->WeightData()->NetWeightValue(); });
  Deliver("   123.4 \xB5g  x\r\n");
  EXPECT_EQ(Trace(), Net("123,4", "\xC2\xB5g"));
  EXPECT_EQ(value, 123.4);
}

TEST_F(GenericTest, ATypeKeepsWhatItDoesNotList) {
  Start(24);
  const auto protocol = scale->Protocol();
  protocol->pType(ProtocolType{25});
  EXPECT_EQ(FrameDef().StartChar, 13);
  EXPECT_EQ(FrameDef().RecordLength, 16);
  EXPECT_EQ(FrameDef().RangeTest2.Value, 'e');
  Deliver(" -123.45 kg   \n");  // the sign of 24
  EXPECT_EQ(Trace(), "s s s [*******|*******|--123.45 kg Z] " + kNoDataKg);
  Deliver(" -123.45 ct   \n");  // its range
  EXPECT_EQ(Trace(), "s [*******|Error|******* kg RZE] " + kNoDataKg);
  Deliver(" -123.45 kg   \r\n");  // and its start character: the CR begins a frame anew
  EXPECT_EQ(Trace(), kNoDataKg);
  protocol->pType(ProtocolType{28});
  protocol->pType(ProtocolType{3});
  EXPECT_EQ(FrameDef().PollString, "\x05");
  EXPECT_EQ(FrameDef().SignTest.Position, 2);
  EXPECT_EQ(FrameDef().EndChar, '\n');
  protocol->InitProperties();
  EXPECT_EQ(FrameDef().PollString, "");
  EXPECT_EQ(FrameDef().RecordLength, 30);
  EXPECT_EQ(FrameDef().UnitsLen, 2);
  EXPECT_EQ(FrameDef().WeightLen, 7);
}

TEST_F(GenericTest, EachKindOfTestLooksAtOneCharacter) {
  const struct {
    GPTestType kind;
    std::uint8_t value;
    bool result;
  } cases[] = {{GPTestType::GP_No, 'b', false},   {GPTestType::GP_AND, 0x02, true},
               {GPTestType::GP_AND, 0x01, false}, {GPTestType::GP_EQ, 'b', true},
               {GPTestType::GP_EQ, 'a', false},   {GPTestType::GP_NE, 'b', false},
               {GPTestType::GP_NE, 'a', true},    {GPTestType{9}, 'b', false}};
  for (const auto& c : cases) EXPECT_EQ((GPTest{1, c.kind, c.value}.IsTrue("abc")), c.result);
}

TEST_F(GenericTest, APolledScaleIsAskedAtEachUpdate) {
  Start(28);
  EXPECT_EQ(scale->ActivityTimeoutTime(), 2000);
  EXPECT_EQ(Port().ReceiveThreshold(), 1);
  scale->UpdateRate(4);
  scale->RunScale();
  EXPECT_EQ(Sent(), "");
  host.loop.Advance(1000);
  EXPECT_EQ(Sent(), "\x05\x05\x05\x05");
  double tare = 1;
  scale->C();
  scale->T();
  scale->Z();
  scale->P();
  scale->SetTare(tare);
  EXPECT_EQ(Sent(), "");
  // Others who follow the updates hear of them, whatever becomes of the line.
  int updates = 0;
  const auto watch = scale->UpdateWeight.Subscribe([&] { ++updates; });
  scale->Protocol()->myScale(scale);
  Port().Unplug();
  host.loop.Advance(1000);
  EXPECT_EQ(updates, 4);
  EXPECT_EQ(host.traces,
            std::vector<std::string>{"Scale x was not asked for its weight: The port is not open"});
  host.traces.clear();
  scale->RunScale();
  scale->Disabled(true);
  host.loop.Advance(4'000'000);  // a trace that repeats shows again by then
  EXPECT_TRUE(host.traces.empty());
  Start(26);  // sends by itself
  scale->UpdateRate(4);
  scale->RunScale();
  host.loop.Advance(5000);
  EXPECT_EQ(Sent(), "");
}

}  // namespace
}  // namespace tarn
