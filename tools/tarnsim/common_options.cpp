#include "tools/tarnsim/common_options.hpp"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "base/automation_error.hpp"
#include "tools/tarnsim/usage_error.hpp"
#include "tools/tarnsim/wire_line.hpp"

namespace tarn::sim {
namespace {

// Weighings of random weight, each with time to settle and a pause.
constexpr std::string_view kDefaultScript =
    "load 0; wait 2s..4s; load 10%..90%; wait 3s..6s; repeat";
constexpr int kMostTerminals = 256;
constexpr std::string_view kNumberPlace = "%d";
constexpr std::int32_t kFastestBaud = 4'000'000;

void AddLineOptions(Command& command, CommonOptions& options) {
  command.Group("Lines");
  command
      .Add("--port", options.ports,
           "Where the line appears: a path on Linux, COMn on Windows. Repeat it for several "
           "terminals")
      .Required();
  command
      .Add("--count", options.count,
           "Makes this many terminals; %d in the port's name becomes 1, 2, 3 ...")
      .Range(1, kMostTerminals)
      .ShowDefault();
  command.Add("--line", options.line, "Line settings in one, like 9600,e,7,2");
  const auto addPiece = [&](const char* name, std::string& value, const char* description) {
    command.Add(name, value, description).ShowDefault().Without("--line");
  };
  addPiece("--baud", options.baud, "Bits per second");
  addPiece("--parity", options.parity, "n, e, o, s or m");
  addPiece("--data-bits", options.dataBits, "7 or 8");
  addPiece("--stop-bits", options.stopBits, "1, 1.5 or 2");
  command
      .Add("--pace", options.pace,
           "How bytes reach the line: every 10 ms in one piece what it would have carried, "
           "or character by character")
      .OneOf({"pieces", "char"})
      .ShowDefault();
  command.Flag("--wire", options.wire,
               "Sends the parity of 7 bits as the eighth bit, and garbage to a port that is set to "
               "another speed: for tarnscale scan");
}

void AddScaleOptions(Command& command, CommonOptions& options) {
  command.Group("Scale");
  command.Add("--units", options.units, "Units of all weights")
      .OneOf({"kg", "lb", "g", "t", "oz", "ozt", "dwt", "ton"})
      .ShowDefault();
  command.Add("--capacity", options.capacity, "Greatest weight; 9 divisions more is over range")
      .ShowDefault();
  command.Add("--division", options.division, "1, 2 or 5 times a power of ten").ShowDefault();
  command.Add("--decimals", options.decimals,
              "Digits behind the point; as many as the division needs when not given");
  command.Flag("--not-zeroed", options.notZeroed,
               "Starts like a terminal that was switched on under load: zero not set");
}

void AddLoadOptions(Command& command, CommonOptions& options) {
  command.Group("Load");
  command.Add("--load", options.load,
              "Load script (see below); weighings of random weight when not given");
  command.Add("--script", options.scriptFile, "File with the load script").Without("--load");
  constexpr double kMostDigits = 1000;
  command
      .Add("--weight-noise", options.noiseDigits,
           "Noise on the weight, up to so many display digits to either side")
      .Range(0.0, kMostDigits);
  command
      .Add("--zero-drift", options.driftDigits,
           "Slow drift of the zero, up to so many display digits to either side")
      .Range(0.0, kMostDigits);
  command
      .Add("--seed", options.seed,
           "Makes everything random repeatable; each terminal has its own numbers by it")
      .ShowDefault();
}

void AddFaultOptions(Command& command, CommonOptions& options) {
  command.Group("Faults (all off unless given)");
  const auto addChance = [&](const char* name, double& value, const char* description) {
    command.Add(name, value, description).Range(0.0, 1.0);
  };
  FaultOptions& faults = options.faults;
  addChance("--noise", faults.noise, "Chance of a random byte in front of each character");
  addChance("--burst", faults.burst, "Chance of up to 20 random bytes between two frames");
  addChance("--drop", faults.drop, "Chance of each character to get lost");
  addChance("--double", faults.repeat, "Chance of each character to come twice");
  addChance("--cut", faults.cut, "Chance of each frame to end early");
  addChance("--skip", faults.silence, "Chance of each frame not to be sent");
  command.Add("--silence", options.silent,
              "EVERY/LENGTH: sends nothing for LENGTH every EVERY, like 30s/5s");
  command.Add("--vanish", options.vanished,
              "EVERY/LENGTH: the port itself goes away, as when an adapter is unplugged");
}

void AddRunOptions(Command& command, CommonOptions& options) {
  command.Group("Running");
  command.Add("--for", options.runFor, "Ends after this many seconds").Range(0.0, 1e9);
  command.Flag("--end-with-input", options.endWithInput,
               "Ends when standard input ends, so with the script that started it");
  command.Flag("-q,--quiet", options.quiet, "Prints no \"ready\" lines");
  command
      .Flag("-v,--verbose", options.verbose,
            "Prints commands and what became of them; twice: every frame too")
      .Without("--quiet");
}

std::vector<std::string> PortsOf(const CommonOptions& options) {
  std::set<std::string> seen;
  std::vector<std::string> ports;
  for (const std::string& pattern : options.ports) {
    const auto place = pattern.find(kNumberPlace);
    if (place == std::string::npos && options.count > 1) {
      throw UsageError("With --count the port's name needs a %d for the number, like /tmp/scale%d");
    }
    for (int number = 1; number <= options.count; ++number) {
      std::string port = pattern;
      if (place != std::string::npos) {
        port.replace(place, kNumberPlace.size(), std::to_string(number));
      }
      if (!seen.insert(port).second) throw UsageError("The port " + port + " is given twice");
      ports.push_back(std::move(port));
    }
  }
  if (ports.size() > kMostTerminals) {
    throw UsageError("No more than " + std::to_string(kMostTerminals) + " terminals at once");
  }
  return ports;
}

SerialSettings LineOf(const CommonOptions& options) {
  const std::string text = !options.line.empty() ? options.line
                                                 : options.baud + "," + options.parity + "," +
                                                       options.dataBits + "," + options.stopBits;
  try {
    const SerialSettings line = ParseSerialSettings(text);
    if (line.dataBits >= 7 && line.baud <= kFastestBaud) return line;
  } catch (const AutomationError&) {
    // Reported below, in terms of this program's options.
  }
  throw UsageError("Line settings \"" + text +
                   "\" are not possible: write baud rate (to 4000000), parity n e o s m, data bits "
                   "7 or 8, stop bits 1 1.5 or 2, like 9600,e,7,2");
}

LoadScript ScriptOf(const CommonOptions& options, Files& files) {
  if (!options.load.empty()) return ParseLoadScript(options.load);
  if (options.scriptFile.empty()) return ParseLoadScript(kDefaultScript);
  // One byte more than allowed, so that the parser sees a file that is too long.
  return ParseLoadScript(files.Read(options.scriptFile, LoadScript::kMaxText + 1));
}

}  // namespace

void AddCommonOptions(Command& command, CommonOptions& options) {
  AddLineOptions(command, options);
  AddTerminalOptions(command, options);
  AddFaultOptions(command, options);
}

void AddTerminalOptions(Command& command, CommonOptions& options) {
  AddScaleOptions(command, options);
  AddLoadOptions(command, options);
  AddRunOptions(command, options);
}

CommonSetup CheckedSetup(const CommonOptions& options, Files& files) {
  CommonSetup setup;
  setup.ports = PortsOf(options);
  setup.line = LineOf(options);
  setup.pace = options.pace == "char" ? Pace::Characters : Pace::Pieces;
  setup.wire = options.wire;
  setup.units = UnitsOf(options.units);
  setup.graduation = MakeGraduation(options.capacity, options.division, options.decimals);
  setup.script = ScriptOf(options, files);
  setup.faults = options.faults;
  if (!options.silent.empty()) setup.faults.silent = ParseSchedule(options.silent);
  if (!options.vanished.empty()) setup.faults.vanished = ParseSchedule(options.vanished);
  return setup;
}

std::uint64_t SeedOf(const CommonOptions& options, std::size_t terminal) {
  return options.seed * 1'000'003U + terminal;
}

std::unique_ptr<Indicator> MakeIndicator(const CommonOptions& options, const CommonSetup& setup,
                                         std::uint64_t seed) {
  const double digit = setup.graduation.Weight(1);
  return std::make_unique<Indicator>(Indicator::Options{setup.graduation, !options.notZeroed},
                                     setup.script,
                                     LoadModel::Options{.capacity = options.capacity,
                                                        .noise = options.noiseDigits * digit,
                                                        .drift = options.driftDigits * digit,
                                                        .seed = seed});
}

std::unique_ptr<PacedLine> MakePacedLine(std::unique_ptr<TerminalLine> line,
                                         const CommonSetup& setup, std::uint64_t seed) {
  if (setup.wire) line = std::make_unique<WireLine>(std::move(line), setup.line);
  return std::make_unique<PacedLine>(std::move(line), setup.line.CharacterTime(), setup.pace,
                                     FaultInjector(setup.faults, setup.line.dataBits, seed));
}

}  // namespace tarn::sim
