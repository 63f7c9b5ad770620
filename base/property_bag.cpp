#include "base/property_bag.hpp"

#include <cstring>
#include <limits>

#include "base/automation_error.hpp"
#include "base/little_endian.hpp"
#include "base/number_text.hpp"
#include "base/persistable.hpp"

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

template <class Number>
void AppendNumber(std::string& bytes, Number value) {
  const auto number = LittleEndian(value);
  bytes.append(number.data(), number.size());
}

[[noreturn]] void Malformed(const std::string& why) {
  throw AutomationError(ErrorNumber::InvalidFileFormat, "Malformed property bag: " + why);
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

void PropertyBag::WriteObject(std::string_view key, const Persistable& object) {
  auto nested = std::make_unique<Object>();
  nested->className = object.ClassName();
  object.WriteProperties(nested->bag);
  if (object.IsClientMade()) clientMade_.emplace_back(key);
  for (const std::string& place : nested->bag.clientMade_) {
    clientMade_.push_back(std::string(key) + "." + place);
  }
  Store(key, std::move(nested));
}

const PropertyBag::Value* PropertyBag::Find(std::string_view key) const {
  for (const Entry& entry : entries_) {
    if (EqualIgnoringCase(entry.key, key)) return &entry.value;
  }
  return nullptr;
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

const PropertyBag::Object* PropertyBag::FindObject(std::string_view key) const {
  const Value* value = Find(key);
  if (value == nullptr) return nullptr;
  const auto* object = std::get_if<std::unique_ptr<Object>>(value);
  if (object == nullptr) Mismatch(key);
  return object->get();
}

std::string PropertyBag::Contents() const {
  std::string bytes(kMark);
  AppendEntries(bytes, 1);
  if (bytes.size() > kMaxContents) ThrowOverflow();
  return bytes;
}

void PropertyBag::AppendEntries(std::string& bytes, int depth) const {
  if (depth > kMaxDepth) ThrowOverflow();
  for (const Entry& entry : entries_) {
    AppendShortText(bytes, entry.key);
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
    } else {
      kind = kObject;
      const Object& object = *std::get<std::unique_ptr<Object>>(entry.value);
      AppendShortText(payload, object.className);
      object.bag.AppendEntries(payload, depth + 1);
    }
    if (payload.size() > kMaxContents) ThrowOverflow();
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
  const auto fixed = [](std::string_view payload, std::size_t length) {
    if (payload.size() != length) Malformed("a number has a wrong length");
    return Reader(payload);
  };
  PropertyBag bag;
  Reader reader(bytes);
  while (!reader.AtEnd()) {
    if (bag.entries_.size() >= kMaxEntries) Malformed("it has too many entries");
    const std::string_view key = reader.TakeShortText();
    const auto kind = reader.TakeNumber<std::uint8_t>();
    const std::string_view payload = reader.Take(reader.TakeNumber<std::uint32_t>());
    switch (kind) {
      case kInteger:
        bag.Store(key, fixed(payload, 2).TakeNumber<std::int16_t>());
        break;
      case kLong:
        bag.Store(key, fixed(payload, 4).TakeNumber<std::int32_t>());
        break;
      case kDouble:
        bag.Store(key, fixed(payload, 8).TakeNumber<double>());
        break;
      case kBoolean:
        bag.Store(key, fixed(payload, 2).TakeNumber<std::uint16_t>() != 0);
        break;
      case kText:
        bag.Store(key, std::string(payload));
        break;
      case kObject: {
        Reader inner(payload);
        auto object = std::make_unique<Object>();
        object->className = inner.TakeShortText();
        object->bag = FromEntries(payload.substr(2 + object->className.size()), depth + 1);
        bag.Store(key, std::move(object));
        break;
      }
      default:
        break;  // a kind of a later program: passed over, as a key that nobody asks for is
    }
  }
  return bag;
}

}  // namespace tarn
