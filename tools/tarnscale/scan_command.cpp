// scan: listens at a serial port and says how to set it up.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "platform/line_record.hpp"
#include "platform/utf8.hpp"
#include "scale/dialects.hpp"
#include "server/class_registry.hpp"
#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/line_guess.hpp"

namespace tarn::tool {
namespace {

/// The usual ones first. All of them take less than ten seconds.
constexpr std::int32_t kSpeeds[] = {9600, 4800, 2400, 19200, 1200, 38400, 57600, 115200};
constexpr std::int32_t kListenTime = 1100;  ///< milliseconds at each

class Listener final : public LineTap {
 public:
  void Arrived(std::string_view bytes) override { heard += bytes; }
  void Sent(std::string_view /*bytes*/) override {}

  std::string heard;
};

std::string SpeedText(std::int32_t speed) {
  return std::to_string(speed) + " baud";
}

std::string ProtocolWord(ProtocolType type) {
  for (const ClassRow& row : RegisteredClasses()) {
    if (row.role == Role::Protocol && row.family == TypeToClass(type)) return std::string(row.word);
  }
  return {};
}

/// The number of a port of the settings; nothing for anything else, which is a device.
std::optional<std::int16_t> PortNumber(const std::string& text) {
  std::int16_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

void Report(Program& program, const std::string& port, std::int32_t speed, const LineGuess& guess) {
  const Dialect* dialect = FindDialect(guess.found.type);
  const std::string protocol = ProtocolWord(guess.found.type);
  const std::string place = PortNumber(port) ? "port=" + port : "port=1 device=" + ShellWord(port);
  program.Output().Write(
      SpeedText(speed) + ": " + std::to_string(guess.found.frames) + " frames of " + protocol +
      " " + std::string(dialect->word) + ", " + std::to_string(guess.heard - guess.found.bytes) +
      " of " + std::to_string(guess.heard) + " bytes beside them: " +
      (guess.IsSure() ? "sure" : "likely") + "\n\n  tarnscale set FILE 1 connection=serial " +
      place + " baud=" + std::to_string(speed) + " " + std::string(guess.framing) +
      " protocol=" + protocol + " type=" + std::string(dialect->word) + " enabled=yes\n");
}

}  // namespace

int ScanCommand(Program& program, const ScanOptions& options) {
  const auto listener = std::make_shared<Listener>();
  const auto port = program.Host().CreateSerialPort();
  port->PortNumber(PortNumber(options.port).value_or(0));
  if (port->PortNumber() == 0) port->Device(options.port);
  const auto record = std::make_shared<LineRecord>(program.Host().Loop());
  record->Tap(listener);
  port->Record(record);
  bool interrupted = false;
  const Subscription onInterrupted =
      program.Output().Interrupted.Subscribe([&interrupted] { interrupted = true; });
  std::pair<std::int32_t, LineGuess> best;
  std::size_t heard = 0;
  for (const std::int32_t speed : kSpeeds) {
    program.Say("listening at " + SpeedText(speed));
    port->Settings(std::to_string(speed) + ",n,8,1");
    port->PortOpen(true);
    listener->heard.clear();
    LineGuess guess;
    std::size_t looked = 0;
    program.Host().Loop().RunUntil(
        [&] {
          if (std::exchange(looked, listener->heard.size()) == listener->heard.size())
            return interrupted;
          guess = GuessOf(listener->heard);
          return interrupted || guess.IsSure();
        },
        kListenTime);
    port->PortOpen(false);
    heard += listener->heard.size();
    if (interrupted) throw Failure("interrupted");
    if (guess.found.IsBetterThan(best.second.found)) best = {speed, guess};
    if (best.second.IsSure()) break;
  }
  if (best.second) {
    Report(program, options.port, best.first, best.second);
    return kSuccess;
  }
  program.Complain(
      heard == 0
          ? "no byte came: cable, terminal off, wrong port, or one that sends only when asked"
          : "bytes came (" + std::to_string(heard) +
                "), but at no speed a frame that is known: another dialect, or noise");
  return kFailed;
}

}  // namespace tarn::tool
