// What holds for every protocol on a serial line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "protocols/generic_frame.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

struct SerialDialect {
  const char* protocol;
  int type;
  std::string message;  ///< 123.4 net
};
const std::vector<SerialDialect> kSerialDialects = {
    {"TarnContinuousProtocol", 1, "\x02+0 001234000100\r"},
    {"MiraProtocol", 6, "S D     123.4 kg\r\n"},
    {"MiraProtocol", 7, "S D     123.4 kg\r\n"},
    {"GenericProtocol", 28, "   123.4 kg    \r\n"},
};

const std::string kNotAsked = "Scale 1 (Scale x): it was not asked for its weight: ";

class SerialProtocols : public ScaleFixture {
 protected:
  void Start(const SerialDialect& dialect) {
    scale = NewSerialScale(dialect.protocol);
    scale->Protocol()->pType(ProtocolType{dialect.type});
    serial->IsBidirectional(true);
    scale->UpdateRate(0);  // the protocol's own time-out, no updates
    scale->RunScale();
  }

  std::shared_ptr<TarnScale> scale;
};

TEST_F(SerialProtocols, TheLineBelongsToTheProtocolThatIsBoundToIt) {
  for (const SerialDialect& dialect : kSerialDialects) {
    SCOPED_TRACE(dialect.type);
    Start(dialect);
    const auto former = scale->Protocol();
    former->Connection(NewObject<_Connection>(*site, "NoConnection"));
    EXPECT_EQ(former->Connection(), serial) << "only a serial connection is taken";
    Port().Deliver(dialect.message);
    EXPECT_EQ(scale->WeightData()->NoDataError(), dialect.type == 28);
    former->Connection(nullptr);
    EXPECT_EQ(ErrorOf([&] { former->Connect(); }), 91);
    // What sends nothing needs no line.
    EXPECT_EQ(ErrorOf([&] { former->Z(); }), dialect.type == 1 || dialect.type == 6 ? 91 : 0);
    former->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, dialect.protocol));
    EXPECT_EQ(former->Connection(), nullptr);
  }
}

TEST_F(SerialProtocols, APolledScaleThatCannotBeAskedCostsNoOtherSubscriber) {
  Start(kSerialDialects.back());
  scale->UpdateRate(4);
  scale->RunScale();
  int updates = 0;
  const auto watch = scale->UpdateWeight.Subscribe([&] { ++updates; });
  scale->Protocol()->myScale(scale);
  Port().Unplug();
  host.loop.Advance(1000);
  EXPECT_EQ(updates, 4);
  EXPECT_EQ(host.traces.back(), kNotAsked + "The port 1 is not open");
  host.traces.clear();
  scale->RunScale();
  scale->Disabled(true);
  host.loop.Advance(4'000'000);  // a trace that repeats shows again by then
  EXPECT_TRUE(host.traces.empty());
}

/// A line that takes nothing any more: no failure disturbs the tick that all scales share, and what
/// was not sent does not count as sent.
TEST_F(SerialProtocols, ALineThatTakesNothingIsTracedAndShowsNoData) {
  const SerialDialect& dialect = kSerialDialects[2];
  Start(dialect);
  const auto other = NewScale(2);
  int ticks = 0;
  other->ActivityTimer()->TimeoutTime(60'000);
  const auto count = other->ActivityTimer()->TimedOutEvent.Subscribe([&] { ++ticks; });
  Port().stalled = true;
  Port().Output(std::string(SerialPort::kMaxQueuedOutput, 'x'));
  Port().Deliver(dialect.message);
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  scale->Z();
  host.loop.Advance(2 * scale->ActivityTimer()->TimeoutTime());
  Port().Unplug();
  host.loop.Advance(60'000);
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(host.traces,
            (std::vector<std::string>{
                kNotAsked + "The port 1 (COM1) does not send: its output queue is full",
                "Scale 1 (Scale x): The port 1 (COM1) went away: unplugged",
                kNotAsked + "The port 1 is not open"}));
  scale->StopScale();
  scale->RunScale();
  Port().stalled = false;
  Port().Deliver(dialect.message);
  EXPECT_EQ(scale->WeightData()->NetWeight(), "123.4");
}

TEST(GenericFrames, EachKindOfTestLooksAtOneCharacter) {
  const struct {
    GPTestType kind;
    std::uint8_t value;
    bool result;
  } cases[] = {{GPTestType::GP_No, 'b', false},   {GPTestType::GP_AND, 0x03, true},
               {GPTestType::GP_AND, 0x01, false}, {GPTestType::GP_EQ, 'b', true},
               {GPTestType::GP_EQ, 'a', false},   {GPTestType::GP_NE, 'b', false},
               {GPTestType::GP_NE, 'a', true},    {GPTestType{9}, 'b', false}};
  for (const auto& c : cases) EXPECT_EQ((GPTest{1, c.kind, c.value}.IsTrue("abc")), c.result);
}

}  // namespace
}  // namespace tarn
