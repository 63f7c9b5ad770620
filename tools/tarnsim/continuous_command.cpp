#include "tools/tarnsim/continuous_command.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/number_text.hpp"
#include "platform/native_host.hpp"
#include "tools/tarnsim/common_options.hpp"
#include "tools/tarnsim/continuous_terminal.hpp"
#include "tools/tarnsim/random.hpp"
#include "tools/tarnsim/simulation.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr std::uint64_t kPhaseStream = 4;
constexpr int kTickOfPieces = 10;     // milliseconds
constexpr int kTickOfCharacters = 1;  // milliseconds

constexpr const char* kFooter =
    R"(Load script: statements that end at ";" or at the end of the line; "#" begins a comment.
  load AMOUNT               puts a weight on the platform in place of what lies there
  ramp [FROM] TO DURATION   moves the load evenly
  wait DURATION             leaves the load as it is
  press KEYS                presses a key of the terminal: C, T, Z, P or a preset tare like 12.5T
  repeat [TIMES]            plays all of it again, for ever or TIMES times in all
AMOUNT is a weight (12.5) or percent of the capacity (80%), DURATION is 500ms, 3s or 2min. LOW..HIGH
in place of either draws anew each time (10%..90%, 2s..4s).

On the line the terminal takes C (clear tare), T (tare), Z (zero), P (print) and a preset tare like
12.5T. Started from a keyboard it takes the keys c, t, z, p for all its terminals and q to end.

Examples:
  tarnsim continuous --port /tmp/scale1
  tarnsim continuous --port /tmp/scale%d --count 32 --line 115200,n,8,1 --rate max
  tarnsim continuous --port /tmp/scale1 --load "load 12.5; wait 3s; load 0; ramp 0 100 5s; repeat"
  tarnsim continuous --port /tmp/scale1 --pace char --drop 0.001 --vanish 30s/5s)";

struct ContinuousOptions {
  CommonOptions common;
  std::string layout = "standard";
  std::string rate = "10";
  bool checksum = true;
  double printEvery = 0;  ///< seconds
  int printFrames = 1;
};

/// Milliseconds between frames, 0 for as fast as the line goes.
double FramePeriod(const std::string& rate) {
  if (rate == "max") return 0;
  const auto frames = LocaleNumber(rate, ".");
  if (!frames || *frames < 0.01 || *frames > 1000) {
    throw UsageError("The rate \"" + rate + "\" is not possible: write 0.01 to 1000 frames per " +
                     "second, or max");
  }
  return 1000 / *frames;
}

std::string Printable(std::string_view frame) {
  std::string text;
  for (const char c : frame) {
    constexpr std::string_view kHex = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F)
      text += c;
    else
      text += std::string{'<', kHex[byte >> 4U], kHex[byte & 0xFU], '>'};
  }
  return text;
}

class ContinuousRun {
 public:
  explicit ContinuousRun(const ContinuousOptions& options)
      : options_(options),
        host_(CreateNativeHost({})),
        setup_(CheckedSetup(options.common, host_->Files())),
        framePeriod_(FramePeriod(options.rate)),
        console_(host_->CreateConsole()),
        simulation_(*host_, *console_, RunOptions()) {}

  void Run() {
    for (std::size_t i = 0; i < setup_.ports.size(); ++i) AddTerminal(i);
    if (!options_.common.quiet) {
      for (const std::string& port : setup_.ports) console_->Write("ready " + port + "\n");
    }
    simulation_.Run();
  }

 private:
  Simulation::Options RunOptions() const {
    Simulation::Options run;
    run.tick = setup_.pace == Pace::Characters ? kTickOfCharacters : kTickOfPieces;
    if (options_.common.runFor) run.runFor = *options_.common.runFor * 1000;
    run.endWithInput = options_.common.endWithInput;
    return run;
  }

  void AddTerminal(std::size_t index) {
    const std::string& port = setup_.ports[index];
    const std::uint64_t seed = SeedOf(options_.common, index);
    auto terminal = std::make_unique<ContinuousTerminal>(
        TerminalOptions(seed), MakeIndicator(options_.common, setup_, seed),
        MakePacedLine(host_->CreateTerminalLine(port), setup_, seed));
    if (options_.common.verbose >= 1) Report(terminal->Noted, port, {});
    if (options_.common.verbose >= 2) Report(terminal->FrameSent, port, "frame ");
    simulation_.Add(std::move(terminal));
  }

  ContinuousTerminal::Options TerminalOptions(std::uint64_t seed) const {
    ContinuousTerminal::Options terminal;
    terminal.layout = {.standard = options_.layout == "standard",
                       .checksum = options_.checksum,
                       .units = setup_.units,
                       .graduation = setup_.graduation};
    terminal.framePeriod = framePeriod_;
    // Several terminals do not send at the same moments.
    terminal.firstFrame = framePeriod_ * Random(seed, kPhaseStream).Unit();
    terminal.printEvery = options_.printEvery * 1000;
    terminal.printFrames = options_.printFrames;
    return terminal;
  }

  void Report(Event<std::string_view>& event, const std::string& port, const std::string& what) {
    reports_.push_back(event.Subscribe([this, port, what](std::string_view text) {
      console_->Write(port + ": " + what + Printable(text) + "\n");
    }));
  }

  ContinuousOptions options_;
  std::unique_ptr<NativeHost> host_;
  CommonSetup setup_;
  double framePeriod_;
  std::unique_ptr<Console> console_;
  Simulation simulation_;
  std::vector<Subscription> reports_;
};

}  // namespace

void AddContinuousCommand(CLI::App& app) {
  const auto options = std::make_shared<ContinuousOptions>();
  CLI::App* command = app.add_subcommand(
      "continuous", "Terminals that send their weight without being asked, frame after frame");
  command->footer(kFooter);
  const std::string group = "Continuous output";
  command->add_option("--layout", options->layout, "Frame layout: the short one goes without tare")
      ->check(CLI::IsMember({"standard", "short"}))
      ->capture_default_str()
      ->group(group);
  command
      ->add_option(
          "--rate", options->rate,
          "Frames per second, or max for as many as the line carries. Frames that come due "
          "while the line still sends are left out")
      ->capture_default_str()
      ->group(group);
  command
      ->add_flag("--checksum,!--no-checksum", options->checksum,
                 "With a checksum character behind the frame (so unless --no-checksum)")
      ->group(group);
  command
      ->add_option("--print-every", options->printEvery,
                   "Presses the print key every so many seconds")
      ->check(CLI::Range(0.0, 1e6))
      ->group(group);
  command
      ->add_option("--print-frames", options->printFrames,
                   "Frames that carry the print request of one print")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str()
      ->group(group);
  AddCommonOptions(*command, options->common);
  command->callback([options] { ContinuousRun(*options).Run(); });
}

}  // namespace tarn::sim
