// What holds for every protocol on a serial line.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "protocols/generic_frame.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

struct SerialDialect {
  const char* protocol;
  int type;
  std::string message;
  std::string reading;  ///< what it shows, found by hand
};
const std::vector<SerialDialect> kSerialDialects = {
    {"TarnContinuousProtocol", 1, "\x02+0 001234000100\r", "133.4|10.0|123.4 kg N"},
    {"TarnContinuousProtocol", 4, "\x02+( 001234\r", "*******|*******|123.4 lb M"},
    {"MiraProtocol", 6, "S D     123.4 kg\r\n", "*******|*******|123.4 kg M"},
    {"MiraProtocol", 7, "S D     123.4 kg\r\n", "*******|*******|123.4 kg M"},
    {"GenericProtocol", 24, "\r 123.4  mkg     \x03", "*******|*******|123.4 kg ME"},
    {"GenericProtocol", 25, "   123.4 kg  g\r\n", "*******|*******|123.4 kg ME"},
    {"GenericProtocol", 26, "\x02M    123.4 kg        \r\n", "*******|*******|123.4 kg ME"},
    {"GenericProtocol", 28, "   123.4 kg    \r\n", "*******|*******|123.4 kg E"},
};

/// A running scale on a serial line with the protocol under test, and what it shows and sends.
class SerialProtocols : public ScaleFixture {
 protected:
  void Start(const SerialDialect& dialect) {
    scale = NewSerialScale(dialect.protocol);
    scale->Protocol()->pType(ProtocolType{dialect.type});
    serial->IsBidirectional(true);
    scale->UpdateRate(0);  // the protocol's own time-out, no updates
    scale->RunScale();
    const auto record = scale->WeightData();
    onWeight_ = record->NewWeight.Subscribe([this, raw = record.get()] {
      ++newWeights;
      trace_ += "[" + ReadingOf(*raw) + "] ";
    });
    Trace();
    newWeights = 0;
  }

  /// gross|tare|net units, then flags: motion, range, zero, net mode, error.
  static std::string ReadingOf(const tarn::WeightData& w) {
    std::string text =
        w.GrossWeight() + "|" + w.TareWeight() + "|" + w.NetWeight() + " " + w.Units() + " ";
    if (w.Motion()) text += 'M';
    if (w.OutOfRange()) text += 'R';
    if (w.AtZero()) text += 'Z';
    if (w.InNetMode()) text += 'N';
    if (w.NoDataError()) text += 'E';
    return text;
  }
  std::string Reading() const { return ReadingOf(*scale->WeightData()); }
  /// The readings since the last call.
  std::string Trace() { return std::exchange(trace_, {}); }
  void Deliver(std::string_view bytes) { Port().Deliver(bytes); }
  /// So long that the scale's time-out has passed once.
  void KeepSilent() { host.loop.Advance(scale->ActivityTimer()->TimeoutTime()); }

  std::shared_ptr<TarnScale> scale;
  int newWeights = 0;

 private:
  std::string trace_;
  Subscription onWeight_;
};

TEST_F(SerialProtocols, CutAnywhereAMessageIsReadOnce) {
  for (const SerialDialect& dialect : kSerialDialects) {
    Start(dialect);
    std::string golden;
    for (int i = 0; i < 3; ++i) {  // the first ones find another record than all that follow
      Deliver(dialect.message);
      golden = Trace();
    }
    EXPECT_NE(golden.find("[" + dialect.reading + "]"), std::string::npos) << golden;
    for (std::size_t cut = 1; cut < dialect.message.size(); ++cut) {
      Deliver(dialect.message.substr(0, cut));
      host.loop.Advance(15);
      Deliver(dialect.message.substr(cut));
      ASSERT_EQ(Trace(), golden) << dialect.type << " cut at " << cut;
      scale->ActivityTimer()->TimeoutTime(2000);  // its time-outs publish the reading once more
    }
  }
}

TEST_F(SerialProtocols, OneThatWasReplacedLeavesTheLineToItsSuccessor) {
  for (const SerialDialect& dialect : kSerialDialects) {
    Start(dialect);
    const auto former = scale->Protocol();
    scale->Protocol(NewObject<_Protocol>(*site, dialect.protocol));
    scale->Protocol()->pType(ProtocolType{dialect.type});
    scale->RunScale();
    const auto& record = *scale->WeightData();
    std::string weight;
    const auto seen =
        scale->WeightData()->NewWeight.Subscribe([&] { weight += record.NetWeight(); });
    former->WeightData(nullptr);
    Deliver(dialect.message);
    EXPECT_NE(weight.find("123.4"), std::string::npos) << dialect.type;
    EXPECT_EQ(former->Connection(), nullptr);
  }
}

TEST_F(SerialProtocols, OnlyASerialConnectionIsTaken) {
  for (const SerialDialect& dialect : kSerialDialects) {
    Start(dialect);
    const auto protocol = scale->Protocol();
    protocol->Connection(NewObject<_Connection>(*site, "NoConnection"));
    EXPECT_EQ(protocol->Connection(), serial);  // ignored
    Deliver(dialect.message);
    EXPECT_GT(newWeights, 0) << dialect.type;
    protocol->Connection(nullptr);
    EXPECT_EQ(protocol->Connection(), nullptr);
    newWeights = 0;
    Deliver(dialect.message);
    EXPECT_EQ(newWeights, 0) << dialect.type;
    EXPECT_EQ(ErrorOf([&] { protocol->Connect(); }), 91);
    // What sends nothing needs no line.
    const bool sends = dialect.type != 7 && dialect.type < 24;
    EXPECT_EQ(ErrorOf([&] { protocol->Z(); }), sends ? 91 : 0) << dialect.type;
  }
}

TEST_F(SerialProtocols, AHandlerThatFailsEndsTheMessageWithNoData) {
  for (const SerialDialect& dialect : kSerialDialects) {
    for (const bool inStatus : {true, false}) {
      Start(dialect);
      auto& event = inStatus ? scale->WeightData()->StatusChange : scale->WeightData()->NewWeight;
      bool failed = false;
      const auto subscription = event.Subscribe([&] {
        if (!std::exchange(failed, true)) throw std::runtime_error("the handler failed");
      });
      Deliver(dialect.message);
      EXPECT_TRUE(scale->WeightData()->NoDataError()) << dialect.type;
      EXPECT_FALSE(scale->watchdog());
      Trace();
      Deliver(dialect.message);
      EXPECT_NE(Trace().find("123.4"), std::string::npos) << dialect.type;
    }
  }
}

TEST_F(SerialProtocols, AFailingLogEndsAtTheProtocolAndIsTracedOnce) {
  Start(kSerialDialects[0]);
  std::string printing = kSerialDialects[0].message;
  printing[3] |= 8;
  site->Log().Enabled(true);  // but there is no stream
  for (int i = 0; i < 5; ++i) {
    host.loop.Post([&] { Deliver(printing); });
    host.loop.RunPending();
  }
  EXPECT_TRUE(scale->PRState());
  EXPECT_TRUE(scale->WeightData()->NoDataError());
  EXPECT_EQ(host.traces.size(), 1U);
  site->Log().Enabled(false);
  Deliver(kSerialDialects[0].message);
  EXPECT_EQ(scale->WeightData()->NetWeight(), "123.4");
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
  EXPECT_EQ(host.traces,
            (std::vector<std::string>{
                "Scale 1 (Scale x): The port 1 (COM1) went away: unplugged",
                "Scale 1 (Scale x): it was not asked for its weight: The port 1 is not open"}));
  host.traces.clear();
  scale->RunScale();
  scale->Disabled(true);
  host.loop.Advance(4'000'000);  // a trace that repeats shows again by then
  EXPECT_TRUE(host.traces.empty());
}

/// A line that takes nothing any more: no failure disturbs the tick that all scales share, and what
/// was not sent does not count as sent.
TEST_F(SerialProtocols, ALineThatTakesNothingIsTracedAndShowsNoData) {
  Start(kSerialDialects[3]);
  const auto other = NewScale(2);
  int ticks = 0;
  other->ActivityTimer()->TimeoutTime(60'000);
  const auto count = other->ActivityTimer()->TimedOutEvent.Subscribe([&] { ++ticks; });
  Port().stalled = true;
  Port().Output(std::string(SerialPort::kMaxQueuedOutput, 'x'));
  Deliver(kSerialDialects[3].message);
  EXPECT_EQ(Reading(), "Error|Error|Error kg RE");
  scale->Z();
  KeepSilent();
  KeepSilent();
  Port().Unplug();
  host.loop.Advance(60'000);
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(host.traces,
            (std::vector<std::string>{
                "Scale 1 (Scale x): it was not asked for its weight: The port 1 (COM1) does not "
                "send: its output queue is full",
                "Scale 1 (Scale x): The port 1 (COM1) went away: unplugged",
                "Scale 1 (Scale x): it was not asked for its weight: The port 1 is not open"}));
  scale->StopScale();
  scale->RunScale();
  Port().stalled = false;
  Deliver(kSerialDialects[3].message);
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
