// Whole simulated terminals on a line, and the simulation that runs them.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/serial_settings.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/tools/simulated_line.hpp"
#include "tools/tarnsim/continuous_terminal.hpp"
#include "tools/tarnsim/simulation.hpp"

namespace tarn::sim {
namespace {

/// A terminal without checksum, of 100 kg by 0.01 kg: frames of 17 characters that end at CR.
ContinuousTerminal::Options Standard(double framePeriod = 100, double firstFrame = 0) {
  ContinuousTerminal::Options options;
  options.layout.checksum = false;
  options.layout.graduation = MakeGraduation(100, 0.01, {});
  options.framePeriod = framePeriod;
  options.firstFrame = firstFrame;
  return options;
}

struct Bench : TerminalBench<ContinuousTerminal> {
  explicit Bench(const ContinuousTerminal::Options& options = Standard(),
                 const std::string& script = {}, const FaultOptions& faults = {},
                 const std::string& settings = "9600,e,7,2", Pace pace = Pace::Pieces)
      : TerminalBench(options, options.layout.graduation, script, faults, settings, pace) {}

  std::vector<std::string> Frames() const {
    std::vector<std::string> frames;
    std::istringstream all(line->Written());
    for (std::string frame; std::getline(all, frame, '\r');) frames.push_back(frame + '\r');
    return frames;
  }
  int PrintRequests() const {
    int count = 0;
    for (const std::string& frame : Frames()) count += frame[3] >> 3 & 1;
    return count;
  }
};

TEST(ContinuousTerminal, SendsWholeFramesAtItsRate) {
  for (const Pace pace : {Pace::Pieces, Pace::Characters}) {
    const bool inPieces = pace == Pace::Pieces;
    Bench bench(Standard(100, 37), "", {}, "9600,e,7,2", pace);
    bench.Run(10'000, inPieces ? 10 : 1);
    EXPECT_EQ(bench.Frames(), std::vector<std::string>(100, "\x02,0 000000000000\r"));
    for (const std::string& piece : bench.line->pieces) {
      ASSERT_LE(piece.size(), inPieces ? 9U : 1U);
    }
  }
}

TEST(ContinuousTerminal, LeavesOutFramesThatComeDueWhileTheLineSends) {
  // A frame takes 19.5 ms, so of frames due every 10 ms every second goes out.
  Bench bench(Standard(10));
  bench.Run(30'000);
  EXPECT_NEAR(static_cast<double>(bench.Frames().size()), 1500, 1);
}

TEST(ContinuousTerminal, SaturatesTheLineAndSendsLittleOfWhatItMissedWhenHeldUp) {
  Bench bench(Standard(0), "", {}, "115200,e,7,2");
  bench.Run(1000);
  const std::size_t before = bench.line->Written().size();
  EXPECT_NEAR(static_cast<double>(before), 115'200.0 / 11, 1);
  EXPECT_EQ(bench.line->pieces.size(), 100U) << "one write a tick";
  bench.terminal.Tick(3'600'000);
  EXPECT_NEAR(static_cast<double>(bench.line->Written().size() - before), 1000, 100)
      << "what the line carries in a tenth of a second";
}

TEST(ContinuousTerminal, SaturatedAndSilentDoesNotSpin) {
  for (const FaultOptions& faults : {FaultOptions{.drop = 1}, FaultOptions{.silence = 1}}) {
    Bench bench(Standard(0), "", faults, "115200,e,7,2");
    int frames = 0;
    const auto count = bench.terminal.FrameSent.Subscribe([&](std::string_view) { ++frames; });
    EXPECT_EQ(bench.SentUntil(1000), "");
    EXPECT_NEAR(frames, 115'200 / 11 / 17, 2);
  }
}

TEST(ContinuousTerminal, TakesCommandsInAnyPieces) {
  Bench bench(Standard(), "load 50");
  bench.Run(10'000);
  for (const char* piece : {"1", "2.", "5", "T"}) bench.line->Received.Raise(piece);
  bench.Run(10'200);
  EXPECT_EQ(bench.Frames().back(), "\x02,1 003750001250\r");
}

TEST(ContinuousTerminal, RequestsAPrintInAsManyFramesAsToldTo) {
  auto options = Standard();
  options.printFrames = 3;
  options.printEvery = 2000;
  Bench bench(options);
  bench.Run(1900);
  EXPECT_EQ(bench.PrintRequests(), 0);
  bench.Run(9000);
  EXPECT_EQ(bench.PrintRequests(), 12);
  bench.line->Received.Raise("P");
  bench.Run(9900);
  EXPECT_EQ(bench.PrintRequests(), 15);
}

TEST(ContinuousTerminal, FallsSilentAndVanishesBySchedule) {
  Bench quiet(Standard(), "", {.silent = {2000, 500}});
  quiet.Run(2000);
  EXPECT_EQ(quiet.SentUntil(2490), "");
  EXPECT_EQ(quiet.SentUntil(3000).size(), 5 * 17U);

  // One frame is on its way when the line goes.
  Bench gone(Standard(100, 85), "load 50", {.vanished = {2000, 500}});
  gone.Run(2010);
  EXPECT_FALSE(gone.line->attached);
  EXPECT_EQ(gone.SentUntil(2490), "");
  EXPECT_TRUE(gone.SentUntil(2700).starts_with("\x02")) << "a whole frame";
}

TEST(ContinuousTerminal, TriesAgainWhenTheLineCannotComeBack) {
  Bench bench(Standard(), "", {.vanished = {2000, 500}});
  bench.Run(2400);
  bench.line->failAttach = AutomationError(ErrorNumber::PathFileAccess, "taken");
  for (double now = 2500; now < 3600; now += 10) {
    try {
      bench.terminal.Tick(now);
    } catch (const AutomationError&) {
      EXPECT_FALSE(bench.line->attached);
    }
  }
  EXPECT_EQ(bench.line->attachTries, 2) << "once a second";
  bench.line->failAttach.reset();
  bench.terminal.Tick(4600);
  EXPECT_TRUE(bench.line->attached);
}

class QuietConsole final : public Console {
 public:
  bool IsTerminal() const override { return false; }
  Size ScreenSize() const override { return {}; }
  void ReadKeys() override {}
  void GuardScreen(std::string_view) override {}
  void LeaveNow() override {}
  void WatchInputEnd() override {}
  void Write(std::string_view) override {}
};

class CountingTerminal final : public Terminal {
 public:
  void Tick(double now) override {
    lastTick = now;
    ++ticks;
    if (broken) throw AutomationError(ErrorNumber::DeviceInputOutput, "the line broke");
  }
  void Press(const TerminalCommand& command) override { keys.push_back(command); }

  bool broken = false;
  int ticks = 0;
  double lastTick = 0;
  std::vector<TerminalCommand> keys;
};

class SimulationTest : public testing::Test {
 protected:
  CountingTerminal& Add(Simulation& simulation) {
    auto* terminal = new CountingTerminal;
    simulation.Add(std::unique_ptr<Terminal>(terminal));
    return *terminal;
  }
  FakeHost host_;
  QuietConsole console_;
};

TEST_F(SimulationTest, RunsForItsTimeAndPastABrokenLine) {
  host_.loop.ComeLate(5000);  // its time begins with Run
  Simulation simulation(host_, console_, {.tick = 10, .runFor = 1000});
  CountingTerminal& broken = Add(simulation);
  broken.broken = true;
  CountingTerminal& sound = Add(simulation);
  simulation.Run();
  EXPECT_EQ(sound.ticks, 99);
  EXPECT_EQ(sound.lastTick, 990);
  EXPECT_EQ(broken.ticks, 99);
  EXPECT_EQ(host_.traces, std::vector<std::string>{"the line broke"});
}

TEST_F(SimulationTest, PassesKeysToAllTerminalsAndEndsWhenItIsToldTo) {
  const std::function<void()> ends[] = {
      [this] { console_.Interrupted.Raise(); }, [this] { console_.InputEnded.Raise(); },
      [this] { console_.KeyPressed.Raise(Console::Key::Character, 'q'); }};
  for (const auto& end : ends) {
    Simulation simulation(host_, console_, {.tick = 10, .runFor = 100'000, .endWithInput = true});
    const CountingTerminal* terminals[] = {&Add(simulation), &Add(simulation)};
    const auto timer = host_.loop.CreateTimer();
    const Subscription tick = timer->Tick.Subscribe([&] {
      console_.KeyPressed.Raise(Console::Key::Up, 0);
      for (const char key : {'x', 'p'}) console_.KeyPressed.Raise(Console::Key::Character, key);
      end();
    });
    timer->Interval(55);
    timer->Enabled(true);
    simulation.Run();
    for (const CountingTerminal* terminal : terminals) {
      EXPECT_EQ(terminal->ticks, 5);
      EXPECT_EQ(terminal->keys, std::vector<TerminalCommand>{{TerminalCommand::Key::Print}});
    }
  }
}

}  // namespace
}  // namespace tarn::sim
