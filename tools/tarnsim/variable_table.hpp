// The shared-data variables of a simulated terminal, and the text that declares them.
//
//   NAME TYPE [COUNT] [= VALUE ...] [: BEHAVIOUR]      one a line, "#" begins a comment
//
//   TYPE       bit char byte short long float double, and with COUNT elements or characters:
//              string chararray bytearray longarray longtext (13 characters an element)
//   VALUE      numbers, one an element, those missing are 0; a "text" for char, string, chararray
//   BEHAVIOUR  fixed                     takes no writes
//              silent                    answers nothing
//              count STEP every DURATION adds STEP to every element again and again
//              after DURATION VALUE      takes this value so long after a write
// A variable that follows the simulated scale is written without a type:
//   NAME : live status|gross|net|tare|units
//   NAME : press C|T|Z|P|tare            a write presses the key; tare takes a double
//
// When a name appears twice, the later line counts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tarnsim/terminal_command.hpp"

namespace tarn::sim {

enum class VariableType : std::uint8_t {
  Bit,
  Char,
  Byte,
  Short,
  Long,
  Float,
  Double,
  String,
  CharArray,
  ByteArray,
  LongArray,
  LongText,
};

/// The part of the simulated scale that a variable shows.
enum class LiveValue : std::uint8_t { Status, Gross, Net, Tare, Units };

class Variable {
 public:
  enum class Behaviour : std::uint8_t { Kept, Fixed, Silent, Count, After, Live, Press };

  /// Returns the bytes as on the wire, for a variable that is neither live nor a key. `now` is in
  /// milliseconds since the start.
  std::string Bytes(double now) const;
  /// Takes as many bytes as the variable holds; missing ones count as 0.
  void Write(std::string_view bytes, double now);

  VariableType type = VariableType::Bit;
  Behaviour behaviour = Behaviour::Kept;
  LiveValue live = LiveValue::Status;
  TerminalCommand::Key key = TerminalCommand::Key::Clear;
  std::size_t count = 1;
  std::vector<double> numbers;  ///< one an element; the characters of texts
  double step = 0;              ///< Count
  double period = 0;            ///< Count and After: milliseconds
  std::vector<double> later;    ///< After: the elements
  std::optional<double> written;

 private:
  std::vector<double> NumbersAt(double now) const;
};

struct VariableTable {
  static constexpr std::size_t kMaxText = 1U << 20U;
  static constexpr std::size_t kMostBytes = 1400;  ///< of one variable

  std::map<std::string, Variable, std::less<>> variables;
};

/// Adds a text's variables to the table. Throws UsageError that names the line and what is wrong.
void AddVariables(VariableTable& table, std::string_view text);

/// The variables of a weighing terminal's scale, "a" to "e", as a text. Throws UsageError for any
/// other letter.
std::string ScaleVariables(char letter);

}  // namespace tarn::sim
