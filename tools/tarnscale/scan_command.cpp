// scan: listens at a serial port and says how to set it up.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
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
constexpr std::int32_t kAnswerTime = 250;   ///< milliseconds for an answer at 1200 baud
constexpr int kQuestions = 3;               ///< of a kind, where the first was answered

/// What a terminal answers with its weight and nothing else: the question of the command/response
/// scales, and that of some fixed layouts.
constexpr std::array<std::string_view, 2> kHarmlessQuestions = {"SI\r\n", "\x05"};

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

/// A port that is listened to, and what came since it was opened.
class Scan {
 public:
  Scan(Program& program, const std::string& place)
      : program_(program), port_(program.Host().CreateSerialPort()) {
    port_->PortNumber(PortNumber(place).value_or(0));
    if (port_->PortNumber() == 0) port_->Device(place);
    const auto record = std::make_shared<LineRecord>(program.Host().Loop());
    record->Tap(listener_);
    port_->Record(record);
    onInterrupted_ = program.Output().Interrupted.Subscribe([this] { interrupted_ = true; });
  }

  /// Listens at each speed until something is sure.
  void ListenEverywhere() {
    for (const std::int32_t speed : kSpeeds) {
      program_.Say("listening at " + SpeedText(speed));
      Open(speed);
      Listen(kListenTime);
      if (Close(speed)) return;
    }
  }
  /// Asks with each speed and parity. With the wrong ones a terminal hears no question.
  void AskEverywhere() {
    for (const std::int32_t speed : kSpeeds) {
      program_.Say("asking at " + SpeedText(speed));
      for (const EighthBit parity : {EighthBit::Clear, EighthBit::Even, EighthBit::Odd}) {
        for (const std::string_view question : kHarmlessQuestions) {
          Open(speed);
          for (int i = 0; i < kQuestions && (i == 0 || !listener_->heard.empty()); ++i) {
            port_->Output(WithEighthBit(question, parity));
            Listen(kAnswerTime);
          }
          if (Close(speed)) return;
        }
      }
    }
  }

  std::int32_t Speed() const { return speed_; }
  const LineGuess& Best() const { return best_; }
  std::size_t Heard() const { return heard_; }

 private:
  void Open(std::int32_t speed) {
    port_->Settings(std::to_string(speed) + ",n,8,1");
    port_->PortOpen(true);
    listener_->heard.clear();
    guess_ = {};
  }

  void Listen(std::int32_t milliseconds) {
    std::size_t looked = 0;
    program_.Host().Loop().RunUntil(
        [&] {
          if (std::exchange(looked, listener_->heard.size()) == listener_->heard.size())
            return interrupted_;
          guess_ = GuessOf(listener_->heard);
          return interrupted_ || guess_.IsSure();
        },
        milliseconds);
  }

  /// Whether the best guess is sure now.
  bool Close(std::int32_t speed) {
    port_->PortOpen(false);
    heard_ += listener_->heard.size();
    if (interrupted_) throw Failure("interrupted");
    if (guess_.found.IsBetterThan(best_.found)) {
      speed_ = speed;
      best_ = guess_;
    }
    return best_.IsSure();
  }

  Program& program_;
  std::shared_ptr<SerialPort> port_;
  std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
  bool interrupted_ = false;
  LineGuess guess_;  ///< of what came since the port was opened
  std::int32_t speed_ = 0;
  LineGuess best_;
  std::size_t heard_ = 0;
  Subscription onInterrupted_;
};

std::string WhyNothing(const Scan& scan, bool asked) {
  if (scan.Heard() > 0) {
    return "bytes came (" + std::to_string(scan.Heard()) +
           "), but at no speed a frame that is known: another dialect, or noise";
  }
  return std::string("no byte came: cable, terminal off, wrong port") +
         (asked ? "" : ", or one that sends only when asked (try --ask)");
}

}  // namespace

int ScanCommand(Program& program, const ScanOptions& options) {
  Scan scan(program, options.port);
  scan.ListenEverywhere();
  if (options.ask && !scan.Best()) scan.AskEverywhere();
  if (scan.Best()) {
    Report(program, options.port, scan.Speed(), scan.Best());
    return kSuccess;
  }
  program.Complain(WhyNothing(scan, options.ask));
  return kFailed;
}

}  // namespace tarn::tool
