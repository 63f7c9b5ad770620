// The simulated scales of the command/response and the fixed-layout dialects.
#include <gtest/gtest.h>

#include <string>

#include "protocols/generic_frame.hpp"
#include "tests/tools/simulated_line.hpp"
#include "tools/tarnsim/fixed_terminal.hpp"
#include "tools/tarnsim/mira_terminal.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

const Graduation kHundredKilograms = MakeGraduation(100, 0.01, {});

/// On a fast line: an answer is there a tick after its command.
template <class SomeTerminal>
struct Bench : TerminalBench<SomeTerminal> {
  Bench(const typename SomeTerminal::Options& options, const std::string& script,
        const FaultOptions& faults = {})
      : TerminalBench<SomeTerminal>(options, kHundredKilograms, script, faults, "115200,n,8,1") {}

  std::string Run(double milliseconds) { return this->SentUntil(this->now + milliseconds); }
  std::string Ask(const std::string& command) {
    this->line->Received.Raise(command + "\r\n");
    return Run(50);
  }
};

TEST(FixedFrame, IsReadByTheDefinitionOfItsType) {
  const struct {
    const char* layout;
    int type;
    const char* weight;
    const char* negative;  ///< where the sign belongs to the weight field it is read twice
    const char* units;
    bool showsRange;
  } cases[] = {{"cardinal", 24, "12.50", "-- 1.05", "kg", true},
               {"fairbanks", 25, "12.50", "-1.05", "kg", false},
               {"gse550", 26, "12.50", "-1.05", "kg", true},
               {"wi120", 28, "12.50", "-- 1.05", "kg", false}};
  for (const auto& c : cases) {
    GenericFrameDef definition;
    definition.Load(ProtocolType{c.type});
    const FixedFrameOptions options{FixedLayoutOf(c.layout), Units::Kilogram, kHundredKilograms};
    const auto parsed = [&](const Reading& reading) {
      const std::string frame = BuildFixedFrame(options, reading);
      EXPECT_EQ(frame.size(), static_cast<std::size_t>(definition.RecordLength)) << c.layout;
      EXPECT_EQ(frame.back(), static_cast<char>(definition.EndChar)) << c.layout;
      GenericReading result = ParseGenericFrame(definition, frame);
      EXPECT_EQ(result.Units.value_or(c.units), c.units);
      result.Units.reset();
      return result;
    };
    const GenericReading rest = parsed({.gross = 1250});
    EXPECT_EQ(rest.Weight, c.weight) << c.layout;
    EXPECT_EQ(rest.OutOfRange, false);
    EXPECT_EQ(rest.Motion.value_or(false), false);
    EXPECT_EQ(parsed({.gross = 0, .tare = 105}).Weight, c.negative) << c.layout;
    EXPECT_EQ(parsed({.gross = 10009}).Weight, "100.09") << c.layout;
    EXPECT_EQ(parsed({.motion = true}).Motion.value_or(true), true);
    for (const Reading& out : {Reading{.overRange = true}, Reading{.underRange = true}}) {
      EXPECT_EQ(parsed(out).OutOfRange, c.showsRange) << c.layout;
    }
  }
  EXPECT_THROW(FixedLayoutOf("morse"), UsageError);
}

TEST(FixedFrame, StandsAsItsMakerLaysItOut) {
  const auto frame = [](FixedLayout layout, const Reading& reading) {
    return BuildFixedFrame({layout, Units::Pound, kHundredKilograms}, reading);
  };
  EXPECT_EQ(frame(FixedLayout::Cardinal, {.gross = 1250, .motion = true}),
            "\r 12.50  mlb     \x03");
  EXPECT_EQ(frame(FixedLayout::RiceLake, {.gross = -5, .underRange = true}), "\x02-  0.05L  I\r\n");
  EXPECT_EQ(frame(FixedLayout::Wi120, {.gross = 0, .tare = 10000}), "  ------ lb    \r\n");
}

TEST(FixedTerminal, SendsByItselfOrOnceForEachEnquiry) {
  Bench<FixedTerminal> streaming(
      {.frame = {FixedLayout::Fairbanks, Units::Kilogram, kHundredKilograms}}, "");
  EXPECT_EQ(streaming.Run(1000).size(), 10 * 16U);
  Bench<FixedTerminal> polled({.frame = {FixedLayout::Wi120, Units::Kilogram, kHundredKilograms}},
                              "load 12.5");
  EXPECT_EQ(polled.Run(5000), "");
  EXPECT_EQ(polled.Ask("x\x05"), "   12.50 kg    \r\n");
  polled.line->Received.Raise("\x05\x05");  // before it has answered
  EXPECT_EQ(polled.Run(1000), "   12.50 kg    \r\n");
}

TEST(MiraTerminal, AnswersEachCommand) {
  const struct {
    const char* load;
    const char* command;
    const char* answer;
  } cases[] = {
      {"load 12.5", "SI", "S S      12.50 kg\r\n"},
      {"load 12.5; wait 2900ms; load 20; wait 1s", "SI", "S D "},
      {"load 101", "SI", "S +\r\n"},
      {"load -1", "SI", "S -\r\n"},
      {"load 101", "T", "T +\r\n"},
      {"load -1", "T", "T -\r\n"},
      {"load 0", "T", "T S       0.00 kg\r\n"},
      {"load 12.5", "T", "T S      12.50 kg\r\n"},
      {"load 12.5; wait 2900ms; load 20; wait 1s", "T", "T I\r\n"},
      {"load 12.5; wait 2900ms; load 20; wait 1s", "Z", "Z I\r\n"},
      {"load 1.5", "Z", "Z A\r\n"},
      {"load 12.5", "Z", "Z +\r\n"},
      {"load -12.5", "Z", "Z -\r\n"},
      {"load 12.5", "TA 2.5 kg", "TA A       2.50 kg\r\n"},
      {"load 12.5", "TA 2,5", "TA A       2.50 kg\r\n"},
      {"load 12.5", "TA 200 kg", "TA +\r\n"},
      {"load 12.5", "TA -1 kg", "TA -\r\n"},
      {"load 12.5", "TA 1 lb", "EL\r\n"},
      {"load 12.5", "TA", "EL\r\n"},
      {"load 12.5", "@", "I4 A \"0012345678\"\r\n"},
      {"load 12.5", "SX", "ES\r\n"},
      {"load 12.5", "SI 3", "ES\r\n"},
      {"load 12.5", "\n\r\n", ""},
  };
  for (const auto& c : cases) {
    Bench<MiraTerminal> bench({.graduation = kHundredKilograms}, c.load);
    EXPECT_EQ(bench.Run(2950), "");
    const std::string answer = bench.Ask(c.command);
    const bool inMotion = answer.starts_with("S D");  // the weight is any
    EXPECT_EQ(inMotion ? answer.substr(0, 4) : answer, c.answer) << c.load << " " << c.command;
  }
}

TEST(MiraTerminal, RepeatsItsWeightUntilTheNextCommand) {
  Bench<MiraTerminal> bench({.graduation = kHundredKilograms, .decimalPoint = ','}, "load 12.5");
  bench.Run(5000);
  const std::string weight = "S S      12,50 kg\r\n";
  bench.line->Received.Raise("SIR\r\n");
  EXPECT_EQ(bench.Run(1050).size(), 11 * weight.size());
  EXPECT_EQ(bench.Ask("Z"), "Z +\r\n");
  EXPECT_EQ(bench.Run(1000), "");
  bench.line->Received.Raise("T\r\nSI\r\nSI\r\n");  // answered in turn
  EXPECT_EQ(bench.Run(100), "T S      12,50 kg\r\nS S       0,00 kg\r\nS S       0,00 kg\r\n");
}

TEST(MiraTerminal, IsBusyOrMishearsByChance) {
  Bench<MiraTerminal> busy({.graduation = kHundredKilograms, .busy = 1}, "load 12.5");
  busy.Run(3000);
  std::string answers;
  for (const char* command : {"SI", "SIR", "Z", "T", "TA 1", "@"}) answers += busy.Ask(command);
  EXPECT_EQ(answers, "S I\r\nS I\r\nZ I\r\nT I\r\nTA I\r\nI4 I\r\n");
  Bench<MiraTerminal> deaf({.graduation = kHundredKilograms, .errors = 1}, "load 12.5");
  EXPECT_EQ(deaf.Ask("T"), "ET\r\n");
  Bench<MiraTerminal> silent({.graduation = kHundredKilograms}, "", {.silence = 1});
  silent.line->Received.Raise("SIR\r\n" + std::string(100'000, 'x') + "\r\n");
  EXPECT_EQ(silent.Run(1000), "");
}

}  // namespace
}  // namespace tarn::sim
