#include "tools/tarnsim/terminal_run.hpp"

#include <string_view>
#include <utility>

#include "base/number_text.hpp"
#include "tools/tarnsim/random.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr std::uint64_t kPhaseStream = 4;
constexpr int kTickOfPieces = 10;     // milliseconds
constexpr int kTickOfCharacters = 1;  // milliseconds

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

}  // namespace

const char* const kLoadScriptHelp =
    R"(Load script: statements that end at ";" or at the end of the line; "#" begins a comment.
  load AMOUNT               replaces the load on the platform
  ramp [FROM] TO DURATION   changes the load evenly, from the present one unless FROM is given
  wait DURATION             leaves the load as it is
  press KEYS                presses a key of the terminal: C, T, Z, P or a preset tare like 12.5T
  repeat [TIMES]            plays all of it again, without end or TIMES times in all
AMOUNT is a weight (12.5) or percent of the capacity (80%), DURATION is 500ms, 3s or 2min. LOW..HIGH
in place of either draws a new value each time (10%..90%, 2s..4s).)";

double FramePeriod(const std::string& rate) {
  if (rate == "max") return 0;
  const auto frames = LocaleNumber(rate, ".");
  if (!frames || *frames < 0.01 || *frames > 1000) {
    throw UsageError("The rate \"" + rate + "\" is not possible: write 0.01 to 1000 frames per " +
                     "second, or max");
  }
  return 1000 / *frames;
}

TerminalRun::TerminalRun(const CommonOptions& options)
    : options_(options),
      host_(CreateNativeHost({})),
      setup_(CheckedSetup(options, host_->Files())),
      console_(host_->CreateConsole()),
      simulation_(*host_, *console_, RunOptions()) {}

void TerminalRun::Run(const MakeTerminal& make) {
  for (std::size_t i = 0; i < setup_.ports.size(); ++i) AddTerminal(make, i);
  if (!options_.quiet) {
    for (const std::string& port : setup_.ports) console_->Write("ready " + port + "\n");
  }
  simulation_.Run();
}

Simulation::Options TerminalRun::RunOptions() const {
  Simulation::Options run;
  run.tick = setup_.pace == Pace::Characters ? kTickOfCharacters : kTickOfPieces;
  if (options_.runFor) run.runFor = *options_.runFor * 1000;
  run.endWithInput = options_.endWithInput;
  return run;
}

std::unique_ptr<TerminalLine> TerminalRun::MakeLine(const std::string& port) {
  return options_.tcpPort ? host_->CreateTerminalListener(port, *options_.tcpPort)
                          : host_->CreateTerminalLine(port);
}

TerminalParts TerminalRun::PartsOf(std::size_t index) {
  const std::uint64_t seed = SeedOf(options_, index);
  TerminalParts parts;
  parts.port = setup_.ports[index];
  parts.indicator = MakeIndicator(options_, setup_, seed);
  if (!options_.datagrams) parts.line = MakePacedLine(MakeLine(parts.port), setup_, seed);
  parts.seed = seed;
  parts.phase = Random(seed, kPhaseStream).Unit();
  return parts;
}

void TerminalRun::AddTerminal(const MakeTerminal& make, std::size_t index) {
  const std::string& port = setup_.ports[index];
  auto terminal = make(PartsOf(index));
  if (options_.verbose >= 1) Report(terminal->Noted, port, {});
  if (options_.verbose >= 2) Report(terminal->FrameSent, port, "frame ");
  simulation_.Add(std::move(terminal));
}

void TerminalRun::Report(Event<std::string_view>& event, const std::string& port,
                         const std::string& what) {
  reports_.push_back(event.Subscribe([this, port, what](std::string_view text) {
    console_->Write(port + ": " + what + Printable(text) + "\n");
  }));
}

}  // namespace tarn::sim
