// The condition of a reading: what it says of each fault, and when it says so.
#include "scale/reading_condition.hpp"

#include <gmock/gmock.h>

#include "connections/ethernet_connection.hpp"
#include "connections/line_settings_hint.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {
namespace {

using testing::HasSubstr;

const std::string kStandard = "\x02\x24\x30 001234000000\r";
const std::string kShort = "\x02\x24\x30 001234\r";

class ReadingConditionTest : public ScaleFixture {
 protected:
  void Start(std::string_view protocol, ProtocolType type) {
    scale = NewSerialScale(protocol);
    scale->Protocol()->pType(type);
    Watch();
    scale->RunScale();
    host.loop.RunPending();
    changes.clear();
  }
  void Watch() {
    condition = scale->Condition();
    onChanged = condition->Changed.Subscribe([this] {
      const Condition now = Now();
      changes.push_back(std::string(QualityName(now.quality)) + " " +
                        std::string(ReasonName(now.reason)));
    });
  }
  void Deliver(std::string_view bytes) {
    Port().Deliver(bytes);
    host.loop.RunPending();
  }
  Condition Now() const { return condition->Present(); }
  std::vector<std::string> Changes() { return std::exchange(changes, {}); }
  LineCounters Counters() { return condition->Counters(true); }

  std::shared_ptr<TarnScale> scale;
  std::shared_ptr<ReadingCondition> condition;
  std::vector<std::string> changes;
  Subscription onChanged;
};

using Changed = std::vector<std::string>;

TEST_F(ReadingConditionTest, AReadingGoesStaleAfterTheTimeOutAndItsAgeCountsFromItsLastByte) {
  Start("TarnContinuousProtocol", ProtocolType::TarnContinuousStandard);
  EXPECT_EQ(Now().reason, ConditionReason::Waiting);
  EXPECT_FALSE(Now().age);
  Deliver(kStandard);
  host.loop.Advance(500);
  EXPECT_EQ(Changes(), Changed{"good None"});
  EXPECT_DOUBLE_EQ(Now().age.value(), 500);
  host.loop.Advance(1);
  EXPECT_EQ(Now().quality, Quality::Stale) << "at once where somebody asks";
  host.loop.Advance(11'700);
  EXPECT_EQ(Now().words, "no byte for 12 s: cable, terminal off, or wrong port");
  scale->StopScale();
  host.loop.RunPending();
  scale->Disabled(true);
  host.loop.Advance(200);
  EXPECT_EQ(Changes(), (Changed{"stale NoByte", "off Stopped", "off Disabled"}));
  scale.reset();  // a client may hold the condition longer
  host.loop.Advance(1000);
  EXPECT_EQ(Counters().frames, 1U);
}

TEST_F(ReadingConditionTest, WithoutATimeOutTheUsualIntervalDecidesAndAPauseIsNone) {
  Start("TarnContinuousProtocol", ProtocolType::TarnContinuousStandard);
  scale->ActivityTimeoutTime(0);
  const auto limit = [this] {
    Deliver(kStandard);
    int seconds = 0;
    for (; Now().quality == Quality::Good && seconds < 100; ++seconds) host.loop.Advance(1000);
    return seconds;
  };
  Deliver(kStandard);
  EXPECT_EQ(limit(), 3) << "2 s at least";
  for (int i = 0; i < 40; ++i) {
    Deliver(kStandard);
    host.loop.Advance(5000);
  }
  EXPECT_NEAR(Now().readingsPerSecond, 0.2, 0.05);
  EXPECT_NEAR(limit(), 15, 2);
  host.loop.Advance(3'600'000);
  EXPECT_NEAR(limit(), 15, 2);
}

TEST_F(ReadingConditionTest, BytesWithoutFramesSayWhatTheyLookLike) {
  std::string even = kStandard;
  for (char& c : even) {
    const bool odd = __builtin_popcount(static_cast<unsigned char>(c)) % 2 == 1;
    if (odd) c = static_cast<char>(c | 0x80);
  }
  const struct {
    ProtocolType type;
    bool parity;
    std::string bytes;
    const char* words;
  } cases[] = {
      {ProtocolType::TarnContinuousStandard, true, kShort, "looks like a short layout"},
      {ProtocolType::TarnContinuousShort, true, kStandard, "looks like the standard layout"},
      {ProtocolType::TarnContinuousStandard, false, even.substr(0, 9) + even.substr(10),
       "looks like 9600 7E"},
      {ProtocolType::TarnContinuousStandard, true, "\x7F\x11\x1E\x05", "another speed than 9600"},
      {ProtocolType::TarnContinuousStandard, true, "hello", "check the line settings"},
  };
  for (const auto& c : cases) {
    Start("TarnContinuousProtocol", c.type);
    serial->Parity(c.parity ? CommParity::Even : CommParity::NoParity);
    serial->DataBits(c.parity ? CommDataBits::Seven : CommDataBits::Eight);
    for (int i = 0; i < 30; ++i) {
      Deliver(c.bytes);
      host.loop.Advance(50);
    }
    EXPECT_EQ(Now().quality, Quality::Stale) << c.words;
    EXPECT_THAT(Now().words, HasSubstr("bytes arrive but no frame: "));
    EXPECT_THAT(Now().words, HasSubstr(c.words));
    scale->StopScale();
  }
}

TEST_F(ReadingConditionTest, ErrorsOfThePortSayMoreThanTheBytes) {
  LineRecord line(host.loop);
  const auto hint = [&line] { return LineSettingsHint(line, "9600,n,8,1"); };
  line.Entered(std::string(20, 'a'), 0);
  EXPECT_EQ(hint(), "");
  line.Count({.parity = 1});
  EXPECT_THAT(hint(), HasSubstr("parity errors"));
  line.Count({.framing = 2});
  EXPECT_THAT(hint(), HasSubstr("framing errors: another speed"));
  ++line.total.frames;
  line.Count({});
  EXPECT_EQ(hint(), "");
}

TEST_F(ReadingConditionTest, ABrokenPortIsAnErrorAtOnceAndSaysWhenItIsTriedAgain) {
  Start("TarnContinuousProtocol", ProtocolType::TarnContinuousStandard);
  Deliver(kStandard);
  Port().Unplug();
  host.loop.Advance(200);
  EXPECT_EQ(Changes(), (Changed{"good None", "error PortGone"}));
  EXPECT_EQ(Now().words, "port gone, start the scale again to try");
  serial->AutoReconnect(true);
  Port().failOpen = AutomationError(ErrorNumber::InvalidPort, "no device");
  host.loop.Advance(7500);  // tried at 1, 3 and 7 s
  EXPECT_EQ(Now().words, "port gone, tried again in 8 s");
  EXPECT_THAT(scale->Condition()->Line()->LastError(), HasSubstr("no device"));
  Port().failOpen = AutomationError(ErrorNumber::PortInUse, "held");
  host.loop.Advance(8000);
  Port().failOpen.reset();
  host.loop.Advance(16'000);
  Deliver(kStandard);
  EXPECT_EQ(Changes(), (Changed{"error PortBusy", "stale NoByte", "good None"}));
  EXPECT_EQ(Counters().reopenings, 1U);
}

TEST_F(ReadingConditionTest, AScaleThatDoesNotStartSaysWhy) {
  const std::pair<ErrorNumber, const char*> cases[] = {
      {ErrorNumber::PortInUse, "error PortBusy"},
      {ErrorNumber::InvalidPort, "error PortMissing"},
      {ErrorNumber::PermissionDenied, "error NoPermission"},
      {ErrorNumber::InvalidPropertyValue, "error BadSettings"},
      {ErrorNumber::DeviceInputOutput, "error NotStarted"},
  };
  for (const auto& [number, change] : cases) {
    scale = NewSerialScale("TarnContinuousProtocol");
    Port().failOpen = AutomationError(number, "refused");
    Watch();
    EXPECT_EQ(ErrorOf([&] { scale->RunScale(); }), static_cast<int>(number));
    host.loop.Advance(200);
    EXPECT_EQ(Changes().back(), change);
  }
  EXPECT_THAT(Now().words, HasSubstr("refused"));
}

TEST_F(ReadingConditionTest, NetworkFaultsHaveTheirReasons) {
  scale = NewScale();
  const auto ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
  scale->Connection(ethernet);
  ethernet->IPAddress("scale-1");
  scale->Protocol(NewObject<_Protocol>(*site, "KesDemandTemplateProtocol"));
  scale->Disabled(false);
  Watch();
  auto& socket = dynamic_cast<FakeSocket&>(*site->Winsock(1));
  ethernet->AutoReconnect(true);
  scale->RunScale();
  host.loop.Advance(200);
  EXPECT_EQ(Changes().back(), "error NameUnknown");
  socket.names["scale-1"] = 0x7F000001;
  host.loop.Advance(1000);
  EXPECT_THAT(Now().words, HasSubstr("tried now"));
  socket.Accept();
  host.loop.Advance(200);
  EXPECT_EQ(Changes(), Changed{"good None"}) << "a terminal that prints by hand may be silent";
  host.loop.Advance(100'000);
  socket.HangUp();
  host.loop.Advance(200);
  EXPECT_EQ(Changes(), Changed{"error ConnectionLost"});

  scale->Protocol(NewObject<_Protocol>(*site, "KesSDProtocol"));
  scale->RunScale();
  host.loop.RunPending();
  Changes();
  host.loop.Advance(200);
  socket.Fail(10054, "unreachable");
  host.loop.Advance(600);
  EXPECT_EQ(Changes().back(), "stale Refused") << "a datagram found nobody";
  socket.Deliver("x");
  EXPECT_NE(Now().reason, ConditionReason::Refused);
}

TEST_F(ReadingConditionTest, CountersCountWhereTheThingHappens) {
  Start("TarnContinuousProtocol", ProtocolType::TarnContinuousStandard);
  serial->IsBidirectional(true);
  Deliver(kStandard + "\r" + kShort + kStandard + "\r");  // checksums that look like an end
  scale->Z();
  EXPECT_EQ(Counters().frames, 2U);
  EXPECT_EQ(Counters().rejectedLength, 1U);
  EXPECT_EQ(Counters().bytesIn, 2 * kStandard.size() + kShort.size() + 2);
  EXPECT_EQ(Counters().bytesOut, 1U);
  EXPECT_EQ(Counters().commandsSent, 1U);
  Deliver("\x02\x24\x30 0012349E99  \r");
  EXPECT_EQ(Counters().rejectedParse, 1U);
  EXPECT_EQ(Now().reason, ConditionReason::NotUnderstood);
  condition->ResetCounters();
  EXPECT_EQ(Counters().frames, 0U);
  EXPECT_EQ(condition->Counters(false).frames, 3U);

  Start("MiraProtocol", ProtocolType::Mira_Level_0_SIR);
  serial->IsBidirectional(true);
  scale->T();
  Deliver("S S 1.0 kg\r\nT S 1.0 kg\r\n" + std::string(40, 'x'));
  EXPECT_EQ(Counters().commandsAnswered, 1U);
  EXPECT_EQ(Counters().rejectedOverflow, 1U);
  Deliver("\r\nES\r\n");
  EXPECT_EQ(Now().reason, ConditionReason::TerminalError);
  Deliver("S S 1.0 kg\r\n");
  EXPECT_EQ(Now().quality, Quality::Good);

  Start("DemandTemplateProtocol", ProtocolType::DemandTemplateType);
  Deliver("A17");
  host.loop.Advance(60'000);
  EXPECT_EQ(Counters().rejectedTimeout, 1U);
  EXPECT_EQ(Changes(), Changed{"error RecordIncomplete"}) << "until the next record";
}

}  // namespace
}  // namespace tarn
