// Writes JSON straight into a text: the lines of readings are written thousands of times a second,
// and a tree of nodes would cost more than all that comes before.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn {

/// The caller keeps the order: Key before each value of an object, Begin and End in pairs. Commas
/// come by themselves.
class JsonWriter {
 public:
  /// Appends to `text`, which outlives the writer.
  explicit JsonWriter(std::string& text) : text_(text) {}

  JsonWriter& BeginObject() { return Begin('{'); }
  JsonWriter& EndObject() { return End('}'); }
  JsonWriter& BeginArray() { return Begin('['); }
  JsonWriter& EndArray() { return End(']'); }
  /// A name that needs no escapes.
  JsonWriter& Key(std::string_view name);

  JsonWriter& Value(std::string_view text);
  JsonWriter& Value(const std::string& text) { return Value(std::string_view(text)); }
  JsonWriter& Value(const char* text) { return Value(std::string_view(text)); }
  JsonWriter& Value(bool value) { return Raw(value ? "true" : "false"); }
  /// The shortest text that reads back as the same number; 12.0 keeps its point, null stands for
  /// what is no number.
  JsonWriter& Value(double value);
  JsonWriter& Value(std::int64_t value);
  JsonWriter& Value(std::uint64_t value);
  JsonWriter& Value(int value) { return Value(static_cast<std::int64_t>(value)); }
  JsonWriter& Null() { return Raw("null"); }
  /// JSON that is ready.
  JsonWriter& Raw(std::string_view json);

  template <class T>
  JsonWriter& Member(std::string_view name, const T& value) {
    return Key(name).Value(value);
  }

 private:
  JsonWriter& Begin(char bracket);
  JsonWriter& End(char bracket);
  void Separate();

  std::string& text_;
  bool needsComma_ = false;
};

}  // namespace tarn
