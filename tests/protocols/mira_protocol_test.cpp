#include "protocols/mira_protocol.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/protocol_fixture.hpp"

namespace tarn {
namespace {

/// What happens: a line without its CR LF, "!" and what a client or the clock does, "=" and bytes.
struct Step {
  std::string in;
  std::string sent;  ///< "|" for CR LF
  std::string trace;
};
struct Dialogue {
  const char* name;
  int type;
  std::vector<Step> steps;
};

const std::string kFiled = "[*******|*******|1.5 kg ] ";
const std::string kStillError = "[*******|*******|1.5 kg E] ";  // until the next time-out
const std::string kError = "s [Error|Error|Error kg RE] ";
const std::string kFirst = "s s " + kFiled;  // units and range change
const Step kWeight{"S S      1.5 kg", "", kFiled};

class MiraTest : public ProtocolFixture {
 protected:
  void Start(int type) { ProtocolFixture::Start("MiraProtocol", ProtocolType{type}); }

  void Do(const std::string& what) {
    double tare = 2.5;
    if (what == "!silence")
      KeepSilent();
    else if (what == "!Z")
      scale->Z();
    else if (what == "!T")
      scale->T();
    else if (what == "!C")
      scale->C();
    else if (what == "!P")
      scale->P();
    else if (what == "!TA")
      scale->SetTare(tare);
    else if (what[0] == '=')
      Deliver(what.substr(1));
    else
      Deliver(what + "\r\n");
  }
  std::string SentLines() {
    std::string sent = Sent();
    for (auto at = sent.find("\r\n"); at != std::string::npos; at = sent.find("\r\n")) {
      sent.replace(at, 2, "|");
    }
    return sent;
  }
  void Play(const Dialogue& dialogue) {
    Start(dialogue.type);
    for (std::size_t i = 0; i < dialogue.steps.size(); ++i) {
      const Step& step = dialogue.steps[i];
      Do(step.in);
      EXPECT_EQ(SentLines(), step.sent) << dialogue.name << ", step " << i << " " << step.in;
      EXPECT_EQ(Trace(), step.trace) << dialogue.name << ", step " << i << " " << step.in;
    }
    EXPECT_TRUE(host.traces.empty()) << dialogue.name;
  }
};

TEST_F(MiraTest, SpeaksAsItsScalesExpect) {
  const std::string alive = "s [*******|*******|1.5 kg ] ";  // a time-out while all is well
  const Dialogue dialogues[] = {
      {"asks when the timer runs out, then lets the scale repeat",
       6,
       {{"!silence", "SI|", "s [||  R] "},
        {"S S      1.5 kg", "SIR|", kFirst},
        kWeight,
        {"!silence", "", alive},
        {"!silence", "SI|", kError},
        {"S S      1.5 kg", "SIR|", "s " + kStillError}}},
      {"polls, one question a weight",
       7,
       {{"!silence", "SI|", "s [||  R] "},
        {"S S      1.5 kg", "SI|", kFirst},
        {"S S      1.5 kg", "SI|", kFiled},
        {"!silence", "", alive},
        {"!silence", "SI|", kError},
        {"S S      1.5 kg", "SI|", "s " + kStillError}}},
      {"a command ends the repeating and follows the next weight",
       6,
       {{"S S      1.5 kg", "", kFirst},
        {"!Z", "SI|", ""},
        {"S S      1.5 kg", "Z|", kFiled},
        {"S S      1.5 kg", "Z|", kFiled},  // it stays until its own reply
        {"Z A", "SIR|", ""},
        kWeight,
        {"!T", "SI|", ""},
        {"!C", "SI|", ""},  // a new one replaces the one that waits
        {"S S      1.5 kg", "@|", kFiled},
        {"I4 A \"0123456\"", "SIR|", ""}}},
      {"a command takes the place of a question",
       7,
       {{"!silence", "SI|", "s [||  R] "},
        {"S S      1.5 kg", "SI|", kFirst},
        {"!TA", "", ""},
        {"S S      1.5 kg", "TA 2.5 kg|", kFiled},
        {"TA +", "SI|", ""},
        {"!T", "", ""},
        {"S S      1.5 kg", "T|", kFiled},
        {"T S 1.5 kg", "SI|", ""},
        {"!P", "", ""}}},
      {"a busy scale is commanded twice more",
       6,
       {{"S S      1.5 kg", "", kFirst},
        {"!Z", "SI|", ""},
        {"S S      1.5 kg", "Z|", kFiled},
        {"Z I", "Z|", ""},
        {"Z I", "Z|", ""},
        {"Z I", "", kError},
        {"Z I", "", kError},  // nothing waits any more
        {"T I", "", kError},
        {"TA I", "", kError},
        {"!C", "SI|", ""},
        {"I4 I", "@|", ""},
        {"I4 I", "@|", ""},
        {"I4 I", "", kError},
        {"I4", "", kError}}},
      {"a busy scale is asked twice more",
       6,
       {{"S I", "", "s [Error|Error|Error  RE] "},
        {"!silence", "", "s [Error|Error|Error  R] "},
        {"!silence", "SI|", "s [Error|Error|Error  RE] "},
        {"S I", "SI|", ""},
        {"S I", "SI|", ""},
        {"S I", "", "s [Error|Error|Error  RE] "},
        {"S S      1.5 kg", "", "s s " + kStillError},  // nothing waits: nothing is asked
        {"!T", "SI|", ""},
        {"S I", "SI|", ""},
        {"S S      1.5 kg", "T|", kStillError},
        {"T I", "T|", ""},  // counted anew from the moment it was sent
        {"T I", "T|", ""},
        {"T I", "", kError}}},
      {"the timer takes the place of a command that waited",
       7,
       {{"!Z", "", ""}, {"!silence", "SI|", "s [||  R] "}, {"S S      1.5 kg", "SI|", kFirst}}},
      {"lines that are none",
       6,
       {{"S S      1.5 kg", "", kFirst},
        {"ES", "", kError},
        {"EL", "", kError},
        {"", "", kError},
        {" S S 1.5 kg", "", kError},
        {"S\tS 1.5 kg", "", kError},
        {"SS 1.5 kg", "", kError},
        {"s S 1.5 kg", "", kError},
        {"=\n", "", kError},                                        // a LF alone
        {"=S S 1.5 kg\n", "", "s s [*******|*******|1.5 k E] "}}},  // two characters count as CR LF
      {"a line that does not end",
       6,
       {{"=S S 1.5 kg 012345678901234567", "", ""},  // 29
        {"=\r\n", "", kFirst},
        {"=S S 1.5 kg 0123456789012345678", "", ""},  // 30
        {"=\r", "", kError},
        {"=\n", "", kError},
        {"=" + std::string(62, 'x'), "", kError + kError}}},
      {"noise in front, between and behind",
       6,
       {{"=\x80\xFF S S 1.5 kg\r\nS S 1.5 kg\r\nS S 1.5 kg\r\nS S", "",
         "s [Error|Error|Error  RE] s s " + kStillError + kStillError},
        {"= 1.5 kg\r\n", "", kStillError}}},
  };
  for (const Dialogue& dialogue : dialogues) Play(dialogue);
}

TEST_F(MiraTest, FilesWhatAReplyTells) {
  const struct {
    const char* line;
    const char* separator;
    std::string trace;
  } cases[] = {
      {"S D 12.340 g", ".", "s s s [*******|*******|12.340 g M] "},
      {"S S 0.000 kg", ".", "s s s [*******|*******|0.000 kg Z] "},
      {"S S -1.25 kg", ".", "s s [*******|*******|-1.25 kg ] "},
      {"S S 1.234 kg", ",", "s s [*******|*******|1,234 kg ] "},
      {"S S 1,234 kg", ",", "s s [*******|*******|1,234 kg ] "},
      {"S S 1,234 kg", ".", "s s s [*******|*******|1,234 kg Z] "},  // no number here: value 0
      {"S  S     1.5   kg   more", ".", "s s [*******|*******|1.5 kg ] "},
      {"S S 1.5 \xB5g", ".", "s s [*******|*******|1.5 \xC2\xB5g ] "},
      {"S +", ".", "s [*******||*******  RZ] "},
      {"S -", ".", "s [*******||*******  RZ] "},
      {"S", ".", "s s [*******|*******|  Z] "},
  };
  for (const auto& c : cases) {
    host.locale.decimal = c.separator;
    Start(6);
    Do(c.line);
    EXPECT_EQ(Trace(), c.trace) << c.line;
    EXPECT_TRUE(scale->ActivityLED());
    EXPECT_FALSE(scale->watchdog());
  }
  host.locale.decimal = ",";
  Start(7);
  Do("S S 1,5 \xB5g");
  EXPECT_EQ(scale->WeightData()->NetWeightValue(), 1.5);
  Do("!TA");
  Do("S +");  // the weights keep their values
  EXPECT_EQ(scale->WeightData()->NetWeightValue(), 1.5);
  EXPECT_EQ(SentLines(), "SI|TA 2,5 \xB5g|");
}

TEST_F(MiraTest, ConnectBeginsAnewAndSendsNothing) {
  Start(6);
  EXPECT_EQ(scale->ActivityTimeoutTime(), 2000);
  EXPECT_EQ(Port().ReceiveThreshold(), 1);
  Do("!Z");
  Do("=S S 99");
  scale->StopScale();
  scale->RunScale();
  Sent();
  Do("S S 1.5 kg");
  EXPECT_EQ(SentLines(), "");
  EXPECT_EQ(scale->WeightData()->NetWeight(), "1.5");
  scale->Disabled(true);
  scale->ActivityTimer()->TimeoutTime(200);
  Do("!silence");
  EXPECT_EQ(SentLines(), "");
}

/// A line that takes nothing any more: no failure disturbs the tick that all scales share, and what
/// was not sent does not count as sent.
TEST_F(MiraTest, ALineThatTakesNothingIsTracedAndShowsNoData) {
  Start(7);
  const auto other = NewScale(2);
  int ticks = 0;
  other->ActivityTimer()->TimeoutTime(60'000);
  const auto count = other->ActivityTimer()->TimedOutEvent.Subscribe([&] { ++ticks; });
  Port().stalled = true;
  Port().Output(std::string(SerialPort::kMaxQueuedOutput, 'x'));
  Do("S S 1.5 kg");
  EXPECT_EQ(Reading(), "Error|Error|Error kg RE");
  Do("!Z");
  KeepSilent();
  KeepSilent();
  Port().Unplug();
  host.loop.Advance(60'000);
  EXPECT_EQ(ticks, 1);
  EXPECT_EQ(host.traces, (std::vector<std::string>{
                             "Scale x was not asked for its weight: The output queue is full",
                             "Scale x was not asked for its weight: The port is not open"}));
  scale->StopScale();
  scale->RunScale();
  Port().stalled = false;
  Do("S S 1.5 kg");
  EXPECT_EQ(scale->WeightData()->NetWeight(), "1.5");
}

}  // namespace
}  // namespace tarn
