// Simulated terminals on their lines: what the server on the other end would not notice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/serial_settings.hpp"
#include "tools/tarnsim/continuous_terminal.hpp"
#include "tools/tarnsim/mira_terminal.hpp"
#include "tools/tarnsim/paced_line.hpp"

namespace tarn::sim {
namespace {

using testing::StartsWith;

/// 100 kg by 0.01 kg, so that 12.5 kg are 1250 display digits.
inline const Graduation kHundredKilograms = MakeGraduation(100, 0.01, {});

class SimulatedLine final : public TerminalLine {
 public:
  void Attach() override { attached = true; }
  void Detach() override { attached = false; }
  bool IsAttached() const override { return attached; }
  std::size_t Write(std::string_view bytes) override {
    pieces.emplace_back(bytes);
    return bytes.size();
  }

  std::string Written() const {
    std::string all;
    for (const std::string& piece : pieces) all += piece;
    return all;
  }

  bool attached = true;
  std::vector<std::string> pieces;
};

/// On a fast line, an answer is there one tick after its command.
struct Surroundings {
  std::string script{};
  FaultOptions faults{};
  std::string settings = "115200,n,8,1";
};

/// A terminal on such a line, with a clock that the test turns.
template <class SomeTerminal>
struct Bench {
  explicit Bench(const typename SomeTerminal::Options& options, const Surroundings& around = {})
      : line(new SimulatedLine),
        terminal(options,
                 std::make_unique<Indicator>(Indicator::Options{kHundredKilograms},
                                             ParseLoadScript(around.script), LoadModel::Options{}),
                 std::make_unique<PacedLine>(std::unique_ptr<TerminalLine>(line),
                                             ParseSerialSettings(around.settings).CharacterTime(),
                                             Pace::Pieces, FaultInjector(around.faults, 7, 1))) {}

  /// Returns what is sent from now until then.
  std::string SentUntil(double until) {
    line->pieces.clear();
    for (; now + 10 <= until; now += 10) terminal.Tick(now + 10);
    return line->Written();
  }
  std::string Ask(const std::string& command) {
    line->Received.Raise(command);
    return SentUntil(now + 50);
  }

  SimulatedLine* line;
  SomeTerminal terminal;
  double now = 0;
};

/// Frames of 17 characters; each takes 19.5 ms at 9600 bits per second.
const ContinuousLayout kFrames{.checksum = false, .graduation = kHundredKilograms};

TEST(ContinuousTerminal, SaturatesTheLineAndSendsLittleOfWhatItMissedWhenHeldUp) {
  Bench<ContinuousTerminal> bench({.layout = kFrames, .framePeriod = 0},
                                  {.settings = "115200,e,7,2"});
  EXPECT_NEAR(static_cast<double>(bench.SentUntil(1000).size()), 115'200.0 / 11, 1);
  EXPECT_EQ(bench.line->pieces.size(), 100U) << "one write a tick";
  bench.line->pieces.clear();
  bench.terminal.Tick(3'600'000);
  EXPECT_NEAR(static_cast<double>(bench.line->Written().size()), 1000, 100)
      << "what the line carries in a tenth of a second";
  Bench<ContinuousTerminal> silent({.layout = kFrames, .framePeriod = 0},
                                   {.faults = {.silence = 1}});
  int frames = 0;
  const auto count = silent.terminal.FrameSent.Subscribe([&](std::string_view) { ++frames; });
  EXPECT_EQ(silent.SentUntil(1000), "");
  EXPECT_NEAR(frames, 115'200 / 10 / 17, 2) << "it does not spin";
}

TEST(ContinuousTerminal, VanishesBySchedule) {
  // One frame is on its way when the line goes.
  Bench<ContinuousTerminal> gone({.layout = kFrames, .firstFrame = 85},
                                 {.faults = {.vanished = {2000, 500}}, .settings = "9600,e,7,2"});
  gone.SentUntil(2010);
  EXPECT_FALSE(gone.line->attached);
  EXPECT_EQ(gone.SentUntil(2490), "");
  EXPECT_THAT(gone.SentUntil(2700), StartsWith("\x02")) << "a whole frame";
}

/// A text with ";" for the end of each line.
std::string Lines(std::string_view text) {
  std::string lines;
  for (const char c : text) lines += c == ';' ? std::string("\r\n") : std::string(1, c);
  return lines;
}

TEST(MiraTerminal, AnswersEachCommand) {
  const char* const inMotion = "load 12.5; wait 2900ms; load 20; wait 1s";
  const struct {
    const char* load;
    const char* commands;
    const char* answers;
  } cases[] = {{"load 0", "T;;\n", "T S       0.00 kg;"},
               {"load 1.5", "TA 1 kg;Z;", "TA A       1.00 kg;Z A;"},  // zero clears the tare
               {"load 12.5", "SI;Z;", "S S      12.50 kg;Z +;"},
               {"load 12.5", "T;SI;", "T S      12.50 kg;S S       0.00 kg;"},
               {"load 12.5", "TA 2,5;SI;TA 200 kg;TA -1 kg;",
                "TA A       2.50 kg;S S      10.00 kg;TA +;TA -;"},
               {"load 12.5", "@;TA 1 lb;TA;SX;SI 3;", "I4 A \"0012345678\";EL;EL;ES;ES;"},
               {"load 101", "SI;T;", "S +;T +;"},
               {"load -1", "SI;T;", "S -;T -;"},
               {"load -12.5", "Z;", "Z -;"},
               {inMotion, "T;Z;", "T I;Z I;"}};
  for (const auto& c : cases) {
    Bench<MiraTerminal> bench({.graduation = kHundredKilograms}, {c.load});
    EXPECT_EQ(bench.SentUntil(2950), "");
    EXPECT_EQ(bench.Ask(Lines(c.commands)), Lines(c.answers)) << c.load << " " << c.commands;
    if (c.load != inMotion) continue;
    EXPECT_THAT(bench.Ask("SI\r\n"), StartsWith("S D "));
  }
  Bench<MiraTerminal> busy({.graduation = kHundredKilograms, .busy = 1}, {.script = "load 12.5"});
  busy.SentUntil(3000);
  EXPECT_EQ(busy.Ask(Lines("SI;SIR;Z;T;TA 1;@;")), Lines("S I;S I;Z I;T I;TA I;I4 I;"));
}

}  // namespace
}  // namespace tarn::sim
