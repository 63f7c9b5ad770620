#include "base/property_bag.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include "base/automation_error.hpp"
#include "base/little_endian.hpp"
#include "base/number_text.hpp"

namespace tarn {
namespace {

constexpr std::string_view kMark = "TBG1";

/// Kinds of values as the contents number them: the Automation type codes.
enum Kind : std::uint8_t {
  kInteger = 2,
  kLong = 3,
  kDouble = 5,
  kText = 8,
  kObject = 9,
  kBoolean = 11
};

bool IsKnown(std::uint8_t kind) {
  return kind == kInteger || kind == kLong || kind == kDouble || kind == kText || kind == kObject ||
         kind == kBoolean;
}

template <class Number>
void AppendNumber(std::string& bytes, Number value) {
  const auto number = LittleEndian(value);
  bytes.append(number.data(), number.size());
}

[[noreturn]] void Malformed(const std::string& why) {
  throw AutomationError(ErrorNumber::InvalidFileFormat, "The settings are damaged: " + why);
}

/// The bytes that are left to read; can only shrink.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : left_(bytes) {}

  bool AtEnd() const { return left_.empty(); }

  std::string_view Take(std::size_t length) {
    if (length > left_.size()) Malformed("it ends too early");
    const std::string_view taken = left_.substr(0, length);
    left_.remove_prefix(length);
    return taken;
  }

  template <class Number>
  Number TakeNumber() {
    return FromLittleEndian<Number>(Take(sizeof(Number)));
  }

  std::string_view TakeShortText() { return Take(TakeNumber<std::uint16_t>()); }

 private:
  std::string_view left_;
};

[[noreturn]] void Mismatch(std::string_view key) {
  ThrowTypeMismatch("Type mismatch in property \"" + std::string(key) + "\"");
}

[[noreturn]] void TooLong(const std::string& what) {
  throw AutomationError(ErrorNumber::Overflow, what + " is too long to be saved");
}

void AppendShortText(std::string& bytes, std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint16_t>::max()) ThrowOverflow();
  AppendNumber(bytes, static_cast<std::uint16_t>(text.size()));
  bytes += text;
}

}  // namespace

PropertyBag::PropertyBag() = default;
PropertyBag::PropertyBag(PropertyBag&&) noexcept = default;
PropertyBag& PropertyBag::operator=(PropertyBag&&) noexcept = default;
PropertyBag::~PropertyBag() = default;

void PropertyBag::WriteBoolean(std::string_view key, bool value, bool defaultValue) {
  if (value != defaultValue) Store(key, value);
}
void PropertyBag::WriteInteger(std::string_view key, std::int16_t value,
                               std::int16_t defaultValue) {
  if (value != defaultValue) Store(key, value);
}
void PropertyBag::WriteLong(std::string_view key, std::int32_t value, std::int32_t defaultValue) {
  if (value != defaultValue) Store(key, value);
}
void PropertyBag::WriteDouble(std::string_view key, double value, double defaultValue) {
  if (value != defaultValue) Store(key, value);
}
void PropertyBag::WriteText(std::string_view key, std::string_view value,
                            std::string_view defaultValue) {
  if (value != defaultValue) Store(key, std::string(value));
}

void PropertyBag::WriteValues(std::string_view key, std::string_view className, PropertyBag values,
                              Origin origin) {
  if (origin == Origin::ClientMade) clientMade_.emplace_back(key);
  if (origin == Origin::NotSet) notSet_.emplace_back(key);
  const std::string inner = std::string(key) + ".";
  for (const std::string& place : values.clientMade_) clientMade_.push_back(inner + place);
  for (const std::string& place : values.notSet_) notSet_.push_back(inner + place);
  auto nested = std::make_unique<Object>();
  nested->className = className;
  nested->bag = std::move(values);
  Store(key, std::move(nested));
}

const PropertyBag::Value* PropertyBag::Find(std::string_view key, std::size_t place) const {
  const auto isIt = [&](const Entry& entry) { return EqualIgnoringCase(entry.key, key); };
  auto found = entries_.begin() + static_cast<std::ptrdiff_t>(std::min(place, entries_.size()));
  if (found == entries_.end() || !isIt(*found)) {
    found = std::find_if(entries_.begin(), entries_.end(), isIt);
  }
  if (found == entries_.end()) return nullptr;
  if (const auto* damaged = std::get_if<Damaged>(&found->value)) {
    throw AutomationError(ErrorNumber::InvalidFileFormat,
                          "Damaged property \"" + std::string(key) + "\": " + damaged->why);
  }
  return &found->value;
}

void PropertyBag::Store(std::string_view key, Value value) {
  for (Entry& entry : entries_) {
    if (EqualIgnoringCase(entry.key, key)) {
      entry.value = std::move(value);
      return;
    }
  }
  entries_.push_back({std::string(key), std::move(value)});
}

/// Any value as a number, the way Automation converts: True is -1, a text by its whole content.
double PropertyBag::ReadNumber(std::string_view key, const Value& value) const {
  if (const auto* integer = std::get_if<std::int16_t>(&value)) return *integer;
  if (const auto* number = std::get_if<std::int32_t>(&value)) return *number;
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? -1 : 0;
  if (const auto* text = std::get_if<std::string>(&value)) {
    // The text was written by a program, not by a user, so the point does not follow the locale.
    if (const auto number = LocaleNumber(*text, ".")) return *number;
  }
  Mismatch(key);
}

bool PropertyBag::ReadBoolean(std::string_view key, bool defaultValue) const {
  const Value* value = Find(key);
  if (value == nullptr) return defaultValue;
  if (const auto* text = std::get_if<std::string>(value)) {
    if (EqualIgnoringCase(*text, "True")) return true;
    if (EqualIgnoringCase(*text, "False")) return false;
  }
  return ReadNumber(key, *value) != 0;
}

std::int32_t PropertyBag::ReadLong(std::string_view key, std::int32_t defaultValue) const {
  const Value* value = Find(key);
  if (value == nullptr) return defaultValue;
  const double rounded = RoundHalfEven(ReadNumber(key, *value));
  if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
        rounded <= std::numeric_limits<std::int32_t>::max())) {
    throw AutomationError(ErrorNumber::Overflow,
                          "Overflow in property \"" + std::string(key) + "\"");
  }
  return static_cast<std::int32_t>(rounded);
}

std::int16_t PropertyBag::ReadInteger(std::string_view key, std::int16_t defaultValue) const {
  const std::int32_t value = ReadLong(key, defaultValue);
  if (value < std::numeric_limits<std::int16_t>::min() ||
      value > std::numeric_limits<std::int16_t>::max()) {
    throw AutomationError(ErrorNumber::Overflow,
                          "Overflow in property \"" + std::string(key) + "\"");
  }
  return static_cast<std::int16_t>(value);
}

double PropertyBag::ReadDouble(std::string_view key, double defaultValue) const {
  const Value* value = Find(key);
  return value == nullptr ? defaultValue : ReadNumber(key, *value);
}

std::string PropertyBag::ReadText(std::string_view key, std::string_view defaultValue) const {
  const Value* value = Find(key);
  if (value == nullptr) return std::string(defaultValue);
  if (const auto* text = std::get_if<std::string>(value)) return *text;
  if (const auto* flag = std::get_if<bool>(value)) return *flag ? "True" : "False";
  return GeneralNumberText(ReadNumber(key, *value));
}

const PropertyBag::Object* PropertyBag::FindObject(std::string_view key, std::size_t place) const {
  const Value* value = Find(key, place);
  if (value == nullptr) return nullptr;
  const auto* object = std::get_if<std::unique_ptr<Object>>(value);
  if (object == nullptr) Mismatch(key);
  return object->get();
}

std::string PropertyBag::Contents() const {
  std::string bytes(kMark);
  AppendEntries(bytes, 1, "");
  if (bytes.size() > kMaxContents) TooLong("The whole");
  return bytes;
}

void PropertyBag::AppendEntries(std::string& bytes, int depth, const std::string& place) const {
  if (depth > kMaxDepth) ThrowOverflow();
  for (const Entry& entry : entries_) {
    const std::string here = place + entry.key;
    std::string payload;
    Kind kind = kText;
    if (const auto* integer = std::get_if<std::int16_t>(&entry.value)) {
      kind = kInteger;
      AppendNumber(payload, *integer);
    } else if (const auto* number = std::get_if<std::int32_t>(&entry.value)) {
      kind = kLong;
      AppendNumber(payload, *number);
    } else if (const auto* real = std::get_if<double>(&entry.value)) {
      kind = kDouble;
      AppendNumber(payload, *real);
    } else if (const auto* flag = std::get_if<bool>(&entry.value)) {
      kind = kBoolean;
      AppendNumber(payload, static_cast<std::uint16_t>(*flag ? 0xFFFF : 0));
    } else if (const auto* text = std::get_if<std::string>(&entry.value)) {
      payload = *text;
    } else if (const auto* object = std::get_if<std::unique_ptr<Object>>(&entry.value)) {
      kind = kObject;
      AppendShortText(payload, (*object)->className);
      (*object)->bag.AppendEntries(payload, depth + 1, here + ".");
    } else {
      continue;
    }
    if (payload.size() > kMaxContents) TooLong(here);
    AppendShortText(bytes, entry.key);
    AppendNumber(bytes, static_cast<std::uint8_t>(kind));
    AppendNumber(bytes, static_cast<std::uint32_t>(payload.size()));
    bytes += payload;
  }
}

PropertyBag PropertyBag::FromContents(std::string_view contents) {
  if (contents.size() > kMaxContents) Malformed("it is too long");
  Reader reader(contents);
  if (reader.Take(kMark.size()) != kMark) Malformed("it does not begin as one");
  return FromEntries(contents.substr(kMark.size()), 1);
}

PropertyBag PropertyBag::FromEntries(std::string_view bytes, int depth) {
  if (depth > kMaxDepth) Malformed("it is nested too deep");
  PropertyBag bag;
  Reader reader(bytes);
  for (std::size_t count = 0; !reader.AtEnd(); ++count) {
    if (count >= kMaxEntries) Malformed("it has too many entries");
    const std::string_view key = reader.TakeShortText();
    const auto kind = reader.TakeNumber<std::uint8_t>();
    const std::string_view payload = reader.Take(reader.TakeNumber<std::uint32_t>());
    // A kind of a later program is skipped, as a key that nobody asks for is.
    if (!IsKnown(kind)) continue;
    Value value;
    try {
      value = Decoded(kind, payload, depth);
    } catch (const AutomationError& error) {
      value = Damaged{error.what()};
    }
    bag.entries_.push_back({std::string(key), std::move(value)});
  }
  return bag;
}

PropertyBag::Value PropertyBag::Decoded(std::uint8_t kind, std::string_view payload, int depth) {
  Reader reader(payload);
  const auto number = [&](auto zero) {
    if (payload.size() != sizeof(zero)) Malformed("a number has a wrong length");
    return reader.TakeNumber<decltype(zero)>();
  };
  switch (kind) {
    case kInteger:
      return number(std::int16_t{});
    case kLong:
      return number(std::int32_t{});
    case kDouble:
      return number(double{});
    case kBoolean:
      return number(std::uint16_t{}) != 0;
    case kText:
      return std::string(payload);
    default: {
      auto object = std::make_unique<Object>();
      object->className = reader.TakeShortText();
      object->bag = FromEntries(payload.substr(2 + object->className.size()), depth + 1);
      return object;
    }
  }
}

}  // namespace tarn
