#include "protocols/mira_protocol.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/protocol_fixture.hpp"

namespace tarn {
namespace {

/// What the record tells, by one letter each; "-" is nothing.
const std::map<char, std::string> kTraces = {
    {'-', ""},
    {'a', "s [||  R] "},                       // a time-out before any weight
    {'b', "s [Error|Error|Error  RE] "},       // no data before any weight
    {'c', "s [Error|Error|Error  R] "},        // a time-out after that
    {'f', "s s [*******|*******|1.5 kg ] "},   // the first weight: units and range change
    {'F', "s s [*******|*******|1.5 kg E] "},  // the flag stays until the next time-out
    {'w', "[*******|*******|1.5 kg ] "},
    {'W', "[*******|*******|1.5 kg E] "},
    {'s', "s "},
    {'e', "s [Error|Error|Error kg RE] "},
    {'k', "s s [*******|*******|1.5 k E] "},
};

/// Steps "what>sent=trace". What: w is a weight, !X what a client or the clock does, $ bytes as
/// they stand, everything else a line. Sent: lines that end with "|".
struct Dialogue {
  int type;
  std::vector<std::string> steps;
};

class MiraTest : public ProtocolFixture {
 protected:
  void Start(int type) { ProtocolFixture::Start("MiraProtocol", ProtocolType{type}); }

  void Do(const std::string& what) {
    double tare = 2.5;
    const std::map<std::string, std::function<void()>> deeds = {
        {"!silence", [&] { KeepSilent(); }},  {"!Z", [&] { scale->Z(); }},
        {"!T", [&] { scale->T(); }},          {"!C", [&] { scale->C(); }},
        {"!P", [&] { scale->P(); }},          {"!TA", [&] { scale->SetTare(tare); }},
        {"w", [&] { Do("S S      1.5 kg"); }}};
    const auto deed = deeds.find(what);
    if (deed != deeds.end()) return deed->second();
    Deliver(what.starts_with('$') ? what.substr(1) : what + "\r\n");
  }
  std::string SentLines() { return std::regex_replace(Sent(), std::regex("\r\n"), "|"); }
  void Play(const Dialogue& dialogue) {
    Start(dialogue.type);
    for (const std::string& step : dialogue.steps) {
      const auto to = step.find('>');
      const auto is = step.rfind('=');
      Do(step.substr(0, to));
      EXPECT_EQ(SentLines(), step.substr(to + 1, is - to - 1)) << step;
      std::string trace;
      for (const char code : step.substr(is + 1)) trace += kTraces.at(code);
      EXPECT_EQ(Trace(), trace) << step;
    }
    EXPECT_TRUE(host.traces.empty());
  }
};

TEST_F(MiraTest, SpeaksAsItsScalesExpect) {
  const Dialogue dialogues[] = {
      // asks when the timer runs out, then lets the scale repeat
      {6, {"!silence>SI|=a", "w>SIR|=f", "w>=w", "!silence>=sw", "!silence>SI|=e", "w>SIR|=sW"}},
      // polls, one question a weight
      {7, {"!silence>SI|=a", "w>SI|=f", "w>SI|=w", "!silence>=sw", "!silence>SI|=e", "w>SI|=sW"}},
      // a command ends the repeating, follows each weight until its own reply, and is replaced
      {6,
       {"w>=f", "!Z>SI|=-", "w>Z|=w", "w>Z|=w", "Z A>SIR|=-", "w>=w", "!T>SI|=-", "!C>SI|=-",
        "w>@|=w", "I4 A \"0123456\">SIR|=-"}},
      // a command takes the place of a question
      {7,
       {"!silence>SI|=a", "w>SI|=f", "!TA>=-", "w>TA 2.5 kg|=w", "TA +>SI|=-", "!T>=-", "w>T|=w",
        "T S 1.5 kg>SI|=-", "!P>=-"}},
      // a busy scale is commanded twice more, then nothing waits
      {6,
       {"w>=f", "!Z>SI|=-", "w>Z|=w", "Z I>Z|=-", "Z I>Z|=-", "Z I>=e", "Z I>=e", "T I>=e",
        "TA I>=e", "!C>SI|=-", "I4 I>@|=-", "I4 I>@|=-", "I4 I>=e", "I4>=e"}},
      // a busy scale is asked twice more; a command counts from the moment it was sent
      {6,
       {"S I>=b", "!silence>=c", "!silence>SI|=b", "S I>SI|=-", "S I>SI|=-", "S I>=b", "w>=F",
        "!T>SI|=-", "S I>SI|=-", "w>T|=W", "T I>T|=-", "T I>T|=-", "T I>=e"}},
      // the timer takes the place of a command that waited
      {7, {"!Z>=-", "!silence>SI|=a", "w>SI|=f"}},
      // lines that are none; a LF alone; two characters at the end count as CR LF
      {6,
       {"w>=f", "ES>=e", "EL>=e", ">=e", " S S 1.5 kg>=e", "S\tS 1.5 kg>=e", "SS 1.5 kg>=e",
        "s S 1.5 kg>=e", "$\n>=e", "$S S 1.5 kg\n>=k"}},
      // a line of 29, of 30 and of far more characters
      {6,
       {"$S S 1.5 kg 012345678901234567>=-", "$\r\n>=f", "$S S 1.5 kg 0123456789012345678>=-",
        "$\r>=e", "$\n>=e", "$" + std::string(62, 'x') + ">=ee"}},
      // noise in front, between and behind
      {6, {"$\x80\xFF S S 1.5 kg\r\nS S 1.5 kg\r\nS S 1.5 kg\r\nS S>=bFW", "$ 1.5 kg\r\n>=W"}},
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
