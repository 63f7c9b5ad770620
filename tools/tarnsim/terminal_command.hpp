// The commands of one character that a terminal takes from its line, and the preset tare.
//
//   C clear tare   T tare   Z zero   P print
//   12.5T preset tare: a number with its letter directly behind
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tarn::sim {

struct TerminalCommand {
  enum class Key { Clear, Tare, PresetTare, Zero, Print };

  Key key = Key::Clear;
  double tare = 0;  ///< of a preset tare, in the terminal's units

  bool operator==(const TerminalCommand&) const = default;
};

/// Takes a line's bytes one by one. Bytes that are neither a command nor part of a number are
/// skipped, and end a number in front of them. A "T" after a malformed number does nothing: it was
/// meant as a preset tare, and taring instead would be wrong.
class CommandReader {
 public:
  static constexpr std::size_t kLongestNumber = 24;

  std::optional<TerminalCommand> Take(char c);

 private:
  std::optional<TerminalCommand> TakeTare(const std::string& number) const;

  std::string number_;  ///< one character longer than the longest once it is too long
};

}  // namespace tarn::sim
