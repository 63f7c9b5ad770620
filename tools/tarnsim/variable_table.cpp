#include "tools/tarnsim/variable_table.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "base/little_endian.hpp"
#include "base/number_text.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

using Key = TerminalCommand::Key;
using Behaviour = Variable::Behaviour;

constexpr std::size_t kLongestName = 9;
constexpr std::size_t kLongTextWidth = 13;

struct TypeRow {
  std::string_view name;
  std::size_t width;
  bool counted = false;  ///< has a count
  bool text = false;     ///< its value may be written in quotes
};
/// By VariableType.
constexpr std::array<TypeRow, 12> kTypes = {{{"bit", 1},
                                             {"char", 1, false, true},
                                             {"byte", 1},
                                             {"short", 2},
                                             {"long", 4},
                                             {"float", 4},
                                             {"double", 8},
                                             {"string", 1, true, true},
                                             {"chararray", 1, true, true},
                                             {"bytearray", 1, true},
                                             {"longarray", 4, true},
                                             {"longtext", kLongTextWidth, true}}};

const TypeRow& RowOf(VariableType type) {
  return kTypes[static_cast<std::size_t>(type)];
}

template <class Value>
using Names = std::initializer_list<std::pair<std::string_view, Value>>;

template <class Value>
Value ValueOf(std::string_view name, Names<Value> names, const char* what) {
  for (const auto& [known, value] : names) {
    if (known == name) return value;
  }
  throw UsageError("\"" + std::string(name) + "\" is no " + what);
}

/// The nearest number that the type has.
template <class Number>
Number Fitting(double value) {
  constexpr double kLow = std::numeric_limits<Number>::min();
  constexpr double kHigh = std::numeric_limits<Number>::max();
  return static_cast<Number>(std::clamp(RoundHalfEven(value), kLow, kHigh));
}

template <class Number>
std::string Encoded(Number value) {
  const auto bytes = LittleEndian(value);
  return {bytes.data(), bytes.size()};
}

std::string EncodedElement(VariableType type, double value) {
  switch (type) {
    case VariableType::Bit:
      return Encoded(static_cast<std::uint8_t>(value != 0));
    case VariableType::Short:
      return Encoded(Fitting<std::int16_t>(value));
    case VariableType::Long:
    case VariableType::LongArray:
      return Encoded(Fitting<std::int32_t>(value));
    case VariableType::Float:
      return Encoded(static_cast<float>(value));
    case VariableType::Double:
      return Encoded(value);
    case VariableType::LongText: {
      std::string text = std::to_string(Fitting<std::int32_t>(value));
      text.insert(0, kLongTextWidth - 1 - text.size(), ' ');
      return text += '\0';
    }
    case VariableType::Char:
    case VariableType::Byte:
    case VariableType::String:
    case VariableType::CharArray:
    case VariableType::ByteArray:
      break;
  }
  return Encoded(Fitting<std::uint8_t>(value));
}

/// Of exactly the width of an element.
double DecodedElement(VariableType type, std::string_view bytes) {
  switch (type) {
    case VariableType::Short:
      return FromLittleEndian<std::int16_t>(bytes);
    case VariableType::Long:
    case VariableType::LongArray:
      return FromLittleEndian<std::int32_t>(bytes);
    case VariableType::Float:
      return static_cast<double>(FromLittleEndian<float>(bytes));
    case VariableType::Double:
      return FromLittleEndian<double>(bytes);
    case VariableType::LongText:
      return LocaleNumber(bytes.substr(0, bytes.find('\0')), ".").value_or(0);
    case VariableType::Bit:
    case VariableType::Char:
    case VariableType::Byte:
    case VariableType::String:
    case VariableType::CharArray:
    case VariableType::ByteArray:
      break;
  }
  return FromLittleEndian<std::uint8_t>(bytes);
}

std::string_view TakeWord(std::string_view& text) {
  text = Trimmed(text);
  const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
  text = Trimmed(text.substr(word.size()));
  return word;
}

/// Takes what stands in front of the mark, or all of it; marks inside quotes do not count.
std::string_view TakePart(std::string_view& text, char mark) {
  bool quoted = false;
  std::size_t at = 0;
  for (; at < text.size() && (quoted || text[at] != mark); ++at) {
    if (text[at] == '"') quoted = !quoted;
  }
  const std::string_view part = Trimmed(text.substr(0, at));
  text.remove_prefix(std::min(at + 1, text.size()));
  return part;
}

double ParseElement(std::string_view word) {
  const auto number = LocaleNumber(word, ".");
  if (!number) throw UsageError("\"" + std::string(word) + "\" is not a number");
  return *number;
}

/// The elements that a value gives, all of them.
std::vector<double> ElementsOf(const Variable& variable, std::string_view value) {
  std::vector<double> elements;
  if (RowOf(variable.type).text && value.size() >= 2 && value.front() == '"' &&
      value.back() == '"') {
    for (const char c : value.substr(1, value.size() - 2)) {
      elements.push_back(static_cast<std::uint8_t>(c));
    }
  } else {
    while (!value.empty()) elements.push_back(ParseElement(TakeWord(value)));
  }
  if (elements.size() > variable.count) throw UsageError("more values than the variable has");
  elements.resize(variable.count);
  return elements;
}

void ReadType(Variable& variable, std::string_view words) {
  const std::string_view name = TakeWord(words);
  const auto row = std::find_if(kTypes.begin(), kTypes.end(),
                                [name](const TypeRow& known) { return known.name == name; });
  if (row == kTypes.end()) throw UsageError("\"" + std::string(name) + "\" is no type");
  variable.type = static_cast<VariableType>(row - kTypes.begin());
  if (row->counted) {
    const double count = ParseElement(TakeWord(words));
    const double most = static_cast<double>(VariableTable::kMostBytes / row->width);
    if (!(count >= 1 && count <= most) || count != std::floor(count)) {
      throw UsageError("a " + std::string(name) + " has 1 to " +
                       std::to_string(VariableTable::kMostBytes / row->width) + " of them");
    }
    variable.count = static_cast<std::size_t>(count);
  }
  if (!words.empty()) throw UsageError("nothing is known of \"" + std::string(words) + "\"");
}

void ReadBehaviour(Variable& variable, std::string_view words) {
  if (words.empty()) return;
  const std::string_view name = TakeWord(words);
  variable.behaviour = ValueOf<Behaviour>(name,
                                          {{"fixed", Behaviour::Fixed},
                                           {"silent", Behaviour::Silent},
                                           {"count", Behaviour::Count},
                                           {"after", Behaviour::After},
                                           {"live", Behaviour::Live},
                                           {"press", Behaviour::Press}},
                                          "behaviour");
  if (variable.behaviour == Behaviour::Count) {
    variable.step = ParseElement(TakeWord(words));
    if (TakeWord(words) != "every") throw UsageError("write count STEP every DURATION");
    variable.period = ParseDuration(TakeWord(words));
    if (variable.period <= 0) throw UsageError("the duration must be above 0");
  } else if (variable.behaviour == Behaviour::After) {
    variable.period = ParseDuration(TakeWord(words));
    variable.later = ElementsOf(variable, std::exchange(words, {}));
  } else if (variable.behaviour == Behaviour::Live) {
    variable.live = ValueOf<LiveValue>(TakeWord(words),
                                       {{"status", LiveValue::Status},
                                        {"gross", LiveValue::Gross},
                                        {"net", LiveValue::Net},
                                        {"tare", LiveValue::Tare},
                                        {"units", LiveValue::Units}},
                                       "value of a scale");
  } else if (variable.behaviour == Behaviour::Press) {
    variable.key = ValueOf<Key>(TakeWord(words),
                                {{"C", Key::Clear},
                                 {"T", Key::Tare},
                                 {"Z", Key::Zero},
                                 {"P", Key::Print},
                                 {"tare", Key::PresetTare}},
                                "key");
  }
  if (!words.empty()) throw UsageError("nothing is known of \"" + std::string(words) + "\"");
}

bool OfTheScale(const Variable& variable) {
  return variable.behaviour == Behaviour::Live || variable.behaviour == Behaviour::Press;
}

void ReadLine(VariableTable& table, std::string_view line) {
  std::string_view statement = TakePart(line, '#');
  if (statement.empty()) return;
  std::string_view front = TakePart(statement, ':');
  const std::string_view behaviour = Trimmed(statement);
  std::string_view declaration = TakePart(front, '=');
  const std::string_view value = Trimmed(front);
  const std::string_view name = TakeWord(declaration);
  if (name.empty() || name.size() > kLongestName) {
    throw UsageError("a name has 1 to " + std::to_string(kLongestName) + " characters");
  }
  Variable variable;
  if (!declaration.empty()) ReadType(variable, declaration);
  variable.numbers = ElementsOf(variable, value);
  ReadBehaviour(variable, behaviour);
  if (declaration.empty() != OfTheScale(variable)) {
    throw UsageError("every variable has a type, but those that are live or press a key");
  }
  table.variables.insert_or_assign(std::string(name), std::move(variable));
}

}  // namespace

std::vector<double> Variable::NumbersAt(double now) const {
  std::vector<double> present = numbers;
  if (behaviour == Behaviour::Count) {
    const double added = step * std::floor((now - written.value_or(0)) / period);
    for (double& number : present) number += added;
  }
  if (behaviour == Behaviour::After && written && now >= *written + period) present = later;
  return present;
}

std::string Variable::Bytes(double now) const {
  std::string bytes;
  for (const double number : NumbersAt(now)) bytes += EncodedElement(type, number);
  return bytes;
}

void Variable::Write(std::string_view bytes, double now) {
  if (behaviour == Behaviour::Fixed) return;
  const std::size_t width = RowOf(type).width;
  std::string whole(bytes.substr(0, width * count));
  whole.resize(width * count);
  for (std::size_t i = 0; i < count; ++i) {
    numbers[i] = DecodedElement(type, std::string_view(whole).substr(i * width, width));
  }
  written = now;
}

void AddVariables(VariableTable& table, std::string_view text) {
  if (text.size() > VariableTable::kMaxText) throw UsageError("The variable table is too long");
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    try {
      ReadLine(table, line);
    } catch (const std::exception& error) {
      throw UsageError("Variable table, line " + std::to_string(number) + ": " + error.what());
    }
  }
}

std::string ScaleVariables(char letter) {
  /// By letter: where the names of the commands begin, and the preset tare.
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kCommands = {
      {{"t_69", "bas12"},
       {"t_6a", "bas13"},
       {"t_62", "bas54"},
       {"t_63", "bas55"},
       {"t_64", "bas56"}}};
  if (letter < 'a' || letter > 'e') throw UsageError("A terminal's scales are a, b, c, d and e");
  const auto index = static_cast<std::size_t>(letter - 'a');
  const std::string node = std::to_string(index + 1);
  const auto& [command, tare] = kCommands[index];
  std::string text = std::string("_s") + letter + "fl : live status\n";
  const auto add = [&text](const std::string& name, const char* behaviour) {
    text.append(name).append(" : ").append(behaviour).append("\n");
  };
  add("wt" + node + "01", "live gross");
  add("wt" + node + "02", "live net");
  add("ws" + node + "02", "live tare");
  add("wt" + node + "03", "live units");
  add(std::string(command) + "0", "press T");
  add(std::string(command) + "1", "press C");
  add(std::string(command) + "2", "press P");
  add(std::string(command) + "3", "press Z");
  add(std::string(tare), "press tare");
  return text;
}

}  // namespace tarn::sim
