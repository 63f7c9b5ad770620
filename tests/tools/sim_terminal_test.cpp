// Whole simulated terminals on a line, and the simulation that runs them.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
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

/// A terminal without checksum: frames of 17 characters that end at CR.
struct BenchSetup {
  ContinuousTerminal::Options options{};
  std::string line = "9600,e,7,2";
  Pace pace = Pace::Pieces;
  FaultOptions faults{};
  std::string script{};
};

class Bench {
 public:
  explicit Bench(BenchSetup setup) {
    setup.options.layout.checksum = false;
    setup.options.layout.graduation = MakeGraduation(100, 0.01, {});
    const SerialSettings settings = ParseSerialSettings(setup.line);
    auto ownLine = std::make_unique<SimulatedLine>();
    line = ownLine.get();
    terminal = std::make_unique<ContinuousTerminal>(
        setup.options,
        std::make_unique<Indicator>(Indicator::Options{setup.options.layout.graduation},
                                    ParseLoadScript(setup.script), LoadModel::Options{}),
        std::make_unique<PacedLine>(std::move(ownLine), settings.CharacterTime(), setup.pace,
                                    FaultInjector(setup.faults, settings.dataBits, 1)));
  }

  void Run(double until, double tick = 10) {
    for (; now_ + tick <= until; now_ += tick) terminal->Tick(now_ + tick);
  }

  std::vector<std::string> Frames() const {
    std::vector<std::string> frames;
    const std::string all = line->Written();
    for (std::size_t start = 0; start < all.size();) {
      const std::size_t end = std::min(all.find('\r', start), all.size() - 1) + 1;
      frames.push_back(all.substr(start, end - start));
      start = end;
    }
    return frames;
  }
  std::size_t PrintRequests() const {
    const auto frames = Frames();
    return static_cast<std::size_t>(std::count_if(
        frames.begin(), frames.end(), [](const auto& frame) { return (frame[3] & 0x08) != 0; }));
  }

  SimulatedLine* line;
  std::unique_ptr<ContinuousTerminal> terminal;

 private:
  double now_ = 0;
};

TEST(ContinuousTerminal, SendsWholeFramesAtItsRate) {
  for (const Pace pace : {Pace::Pieces, Pace::Characters}) {
    BenchSetup setup{.pace = pace};
    setup.options.firstFrame = 37;
    Bench bench(setup);
    bench.Run(10'000, pace == Pace::Pieces ? 10 : 1);
    const auto frames = bench.Frames();
    EXPECT_EQ(frames.size(), 100U);
    for (const std::string& frame : frames) ASSERT_EQ(frame, "\x02,0 000000000000\r");
    for (const std::string& piece : bench.line->pieces) {
      ASSERT_LE(piece.size(), pace == Pace::Pieces ? 9U : 1U);
    }
  }
}

TEST(ContinuousTerminal, LeavesOutFramesThatComeDueWhileTheLineSends) {
  // A frame takes 19.5 ms, so of frames due every 10 ms every second goes out.
  BenchSetup setup;
  setup.options.framePeriod = 10;
  Bench bench(setup);
  bench.Run(30'000);
  EXPECT_NEAR(static_cast<double>(bench.Frames().size()), 1500, 1);
}

TEST(ContinuousTerminal, SaturatesTheLineAtTheHighestRate) {
  BenchSetup setup{.line = "115200,e,7,2"};
  setup.options.framePeriod = 0;
  Bench bench(setup);
  bench.Run(1000);
  EXPECT_NEAR(static_cast<double>(bench.line->Written().size()), 115'200.0 / 11, 1);
  EXPECT_EQ(bench.line->pieces.size(), 100U) << "one write a tick";
}

TEST(ContinuousTerminal, SaturatedAndSilentDoesNotSpin) {
  for (const FaultOptions& faults : {FaultOptions{.drop = 1}, FaultOptions{.silence = 1}}) {
    BenchSetup setup{.line = "115200,e,7,2", .faults = faults};
    setup.options.framePeriod = 0;
    Bench bench(setup);
    int frames = 0;
    const auto count =
        bench.terminal->FrameSent.Subscribe([&frames](std::string_view) { ++frames; });
    bench.Run(1000);
    EXPECT_NEAR(frames, 115'200 / 11 / 17, 2);
    EXPECT_TRUE(bench.line->pieces.empty());
  }
}

TEST(ContinuousTerminal, SendsLittleOfWhatItMissedWhenHeldUp) {
  BenchSetup setup{.line = "115200,e,7,2"};
  setup.options.framePeriod = 0;
  Bench bench(setup);
  bench.Run(1000);
  const std::size_t before = bench.line->Written().size();
  bench.terminal->Tick(3'600'000);
  const std::size_t burst = bench.line->Written().size() - before;
  EXPECT_GT(burst, 900U);
  EXPECT_LT(burst, 1100U) << "what the line carries in a tenth of a second";
}

TEST(ContinuousTerminal, TakesCommandsInAnyPieces) {
  Bench bench({.script = "load 50"});
  bench.Run(10'000);
  for (const char* piece : {"1", "2.", "5", "T"}) bench.line->Received.Raise(piece);
  bench.Run(10'200);
  EXPECT_EQ(bench.Frames().back(), "\x02,1 003750001250\r");
  bench.line->Received.Raise("CT");
  bench.Run(10'400);
  EXPECT_EQ(bench.Frames().back(), "\x02,1 000000005000\r");
  bench.line->Received.Raise("xC\r\n");
  bench.Run(10'600);
  EXPECT_EQ(bench.Frames().back(), "\x02,0 005000000000\r");
}

TEST(ContinuousTerminal, RequestsAPrintInAsManyFramesAsToldTo) {
  BenchSetup once;
  Bench remote(once);
  remote.Run(1000);
  EXPECT_EQ(remote.PrintRequests(), 0U);
  remote.line->Received.Raise("P");
  remote.Run(2000);
  EXPECT_EQ(remote.PrintRequests(), 1U);

  BenchSetup held{.script = "wait 1s; press P"};
  held.options.printFrames = 3;
  Bench key(held);
  key.Run(5000);
  EXPECT_EQ(key.PrintRequests(), 3U);

  BenchSetup byItself;
  byItself.options.printEvery = 2000;
  Bench timed(byItself);
  timed.Run(9000);
  EXPECT_EQ(timed.PrintRequests(), 4U);
}

TEST(ContinuousTerminal, FallsSilentAndVanishesBySchedule) {
  BenchSetup silent{.faults = {.silent = {2000, 500}}};
  Bench quiet(silent);
  quiet.Run(2000);
  const auto frames = quiet.Frames().size();
  quiet.Run(2490);
  EXPECT_EQ(quiet.Frames().size(), frames);
  quiet.Run(3000);
  EXPECT_EQ(quiet.Frames().size(), frames + 5);
  EXPECT_TRUE(quiet.line->attached);

  BenchSetup vanishing{.faults = {.vanished = {2000, 500}}, .script = "load 50"};
  vanishing.options.firstFrame = 90;  // so that one is on its way when the line goes
  Bench gone(vanishing);
  gone.Run(2010);
  EXPECT_FALSE(gone.line->attached);
  const auto written = gone.line->Written().size();
  gone.Run(2490);
  EXPECT_EQ(gone.line->Written().size(), written);
  gone.Run(2700);
  EXPECT_TRUE(gone.line->attached);
  const std::string behind = gone.line->Written().substr(written);
  EXPECT_TRUE(behind.starts_with("\x02")) << "it comes back with a whole frame";
}

TEST(ContinuousTerminal, TriesAgainWhenTheLineCannotComeBack) {
  Bench bench({.faults = {.vanished = {2000, 500}}});
  bench.Run(2400);
  bench.line->failAttach = AutomationError(ErrorNumber::PathFileAccess, "taken");
  int failures = 0;
  for (double now = 2500; now < 3600; now += 10) {
    try {
      bench.terminal->Tick(now);
    } catch (const AutomationError&) {
      ++failures;
    }
  }
  EXPECT_EQ(failures, 2) << "once a second";
  bench.line->failAttach.reset();
  bench.terminal->Tick(4600);
  EXPECT_TRUE(bench.line->attached);
}

class QuietConsole final : public Console {
 public:
  bool IsTerminal() const override { return false; }
  Size ScreenSize() const override { return {}; }
  void ReadKeys() override {}
  void WatchInputEnd() override { inputWatched = true; }
  void Write(std::string_view) override {}

  bool inputWatched = false;
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
    auto terminal = std::make_unique<CountingTerminal>();
    CountingTerminal& reference = *terminal;
    simulation.Add(std::move(terminal));
    return reference;
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
  EXPECT_FALSE(console_.inputWatched);
}

TEST_F(SimulationTest, EndsWhenItIsToldTo) {
  const std::vector<std::function<void()>> ends{
      [this] { console_.Interrupted.Raise(); }, [this] { console_.InputEnded.Raise(); },
      [this] { console_.KeyPressed.Raise(Console::Key::Character, 'q'); }};
  for (const auto& end : ends) {
    Simulation simulation(host_, console_, {.tick = 10, .runFor = 100'000, .endWithInput = true});
    CountingTerminal& terminal = Add(simulation);
    const auto timer = host_.loop.CreateTimer();
    const Subscription tick = timer->Tick.Subscribe(end);
    timer->Interval(55);
    timer->Enabled(true);
    simulation.Run();
    EXPECT_EQ(terminal.ticks, 5);
    EXPECT_TRUE(console_.inputWatched);
  }
}

TEST_F(SimulationTest, PassesKeysToAllTerminals) {
  Simulation simulation(host_, console_, {.tick = 10, .runFor = 100});
  CountingTerminal& first = Add(simulation);
  CountingTerminal& second = Add(simulation);
  const auto timer = host_.loop.CreateTimer();
  const Subscription tick = timer->Tick.Subscribe([this] {
    console_.KeyPressed.Raise(Console::Key::Up, 0);
    console_.KeyPressed.Raise(Console::Key::Character, 'x');
    console_.KeyPressed.Raise(Console::Key::Character, 'p');
  });
  timer->Interval(55);
  timer->Enabled(true);
  simulation.Run();
  const std::vector<TerminalCommand> print{{TerminalCommand::Key::Print}};
  EXPECT_EQ(first.keys, print);
  EXPECT_EQ(second.keys, print);
}

}  // namespace
}  // namespace tarn::sim
