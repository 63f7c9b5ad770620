#include "server/settings_file.hpp"

#include <cstdint>
#include <optional>

#include "base/automation_error.hpp"
#include "base/little_endian.hpp"

namespace tarn {
namespace {

constexpr std::uint16_t kArrayOfBytes = 0x2011;
constexpr std::size_t kHeaderLength = 12;
constexpr std::size_t kMostKept = 16U << 20U;
constexpr int kMostCopies = 99;

template <class Number>
void Append(std::string& bytes, Number value) {
  const auto number = LittleEndian(value);
  bytes.append(number.data(), number.size());
}

template <class Number>
Number NumberAt(std::string_view bytes, std::size_t at) {
  return FromLittleEndian<Number>(bytes.substr(at));
}

std::optional<std::string> ReadIfThere(Files& files, const std::string& name, std::size_t most) {
  try {
    return files.Read(name, most);
  } catch (const AutomationError& error) {
    if (error.Number() != ErrorNumber::FileNotFound) throw;
    return std::nullopt;
  }
}

[[noreturn]] void Refuse(const std::string& why) {
  throw AutomationError(ErrorNumber::DeviceInputOutput, why);
}

}  // namespace

std::string EncodeSettings(const PropertyBag& bag) {
  const std::string contents = bag.Contents();
  std::string bytes;
  bytes.reserve(kHeaderLength + contents.size());
  Append(bytes, kArrayOfBytes);
  Append(bytes, std::uint16_t{1});
  Append(bytes, static_cast<std::uint32_t>(contents.size()));
  Append(bytes, std::uint32_t{0});
  return bytes + contents;
}

PropertyBag DecodeSettings(std::string_view bytes) {
  const bool isSettings =
      bytes.size() >= kHeaderLength && NumberAt<std::uint16_t>(bytes, 0) == kArrayOfBytes &&
      NumberAt<std::uint16_t>(bytes, 2) == 1 && NumberAt<std::uint32_t>(bytes, 8) == 0;
  if (!isSettings) throw AutomationError(ErrorNumber::InvalidFileFormat, "Not a settings file");
  const std::size_t count = NumberAt<std::uint32_t>(bytes, 4);
  if (count > bytes.size() - kHeaderLength) {
    throw AutomationError(ErrorNumber::InvalidFileFormat, "The settings file ends too early");
  }
  return PropertyBag::FromContents(bytes.substr(kHeaderLength, count));
}

PropertyBag ReadSettingsFile(Files& files, const std::string& name) {
  return DecodeSettings(files.Read(name, kHeaderLength + PropertyBag::kMaxContents));
}

void WriteSettingsFile(Files& files, const std::string& name, const PropertyBag& bag) {
  files.WriteAtBeginning(name, EncodeSettings(bag));
}

std::string KeepUnreadableFile(Files& files, const std::string& name) {
  const auto content = ReadIfThere(files, name, kMostKept + 1);
  if (!content || content->empty()) return {};
  if (content->size() > kMostKept) Refuse(name + " could not be read and is too long to be kept");
  for (int number = 1; number <= kMostCopies; ++number) {
    const std::string copy = name + ".unreadable" + (number > 1 ? std::to_string(number) : "");
    if (ReadIfThere(files, copy, 1)) continue;
    files.WriteAtBeginning(copy, *content);
    return copy;
  }
  Refuse(name + " could not be read, and too many copies of it are kept already");
}

}  // namespace tarn
