// A scale that answers short lines of commands.
//
//   SI            weight now                     S S|D VALUE UNIT, S + over range, S - under range
//   SIR           weight now and repeatedly, until the next command
//   Z             zero, clears the tare          Z A, Z I in motion, Z + or Z - too far from zero
//   T             tare                           T S VALUE UNIT, T I in motion, T + or T -
//   TA VALUE UNIT preset tare                    TA A VALUE UNIT, TA + or TA - out of range
//   @             clear tare                     I4 A "NUMBER"
//   anything else                                ES; EL where a value or unit is not understood
//
// Lines end with CR LF. A busy scale answers I in place of all that (I4 I to @) and does nothing; a
// transmission error answers ET. Commands that come while answers wait are answered in turn.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/tarnsim/line_terminal.hpp"
#include "tools/tarnsim/random.hpp"

namespace tarn::sim {

class MiraTerminal final : public LineTerminal {
 public:
  static constexpr std::size_t kLongestCommand = 40;
  static constexpr std::size_t kMostAnswers = 16;  ///< waiting; commands beyond are not heard

  struct Options {
    Units units = Units::Kilogram;
    Graduation graduation;
    char decimalPoint = '.';
    double repeatPeriod = 100;  ///< milliseconds between repeated weights
    double busy = 0;            ///< chance of each command to find the scale busy
    double errors = 0;          ///< chance of each command to be garbled on its way
    std::uint64_t seed = 1;
  };

  MiraTerminal(const Options& options, std::unique_ptr<Indicator> indicator,
               std::unique_ptr<PacedLine> line);

 private:
  struct Answer {
    std::string text;  ///< empty for the weight at the time of its sending
    double from;       ///< not sent before, milliseconds
  };

  void Receive(std::string_view bytes) override;
  double NextStart(double earliest) override;
  std::string NextFrame(double start) override;

  void TakeCommand(const std::string& line);
  std::string AnswerTo(std::string_view name, std::string_view rest);
  std::string Zero();
  std::string Tare();
  std::string PresetTare(std::string_view rest);
  std::string Weight() const;
  std::string ValueText(std::int32_t digits) const;

  Options options_;
  Random random_;
  std::string received_;
  std::deque<Answer> answers_;
  std::optional<FrameClock> repeating_;
};

}  // namespace tarn::sim
