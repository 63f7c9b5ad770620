#include "server/settings_file.hpp"

#include <cstdint>

#include "base/automation_error.hpp"
#include "base/little_endian.hpp"

namespace tarn {
namespace {

constexpr std::uint16_t kArrayOfBytes = 0x2011;
constexpr std::size_t kHeaderLength = 12;

template <class Number>
void Append(std::string& bytes, Number value) {
  const auto number = LittleEndian(value);
  bytes.append(number.data(), number.size());
}

template <class Number>
Number NumberAt(std::string_view bytes, std::size_t at) {
  return FromLittleEndian<Number>(bytes.substr(at));
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

}  // namespace tarn
