#include "server/settings_file.hpp"

#include <cstdint>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

constexpr std::uint16_t kArrayOfBytes = 0x2011;
constexpr std::size_t kHeaderLength = 12;

void Append(std::string& bytes, std::uint32_t value, int width) {
  for (int i = 0; i < width; ++i) bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFFU));
}

std::uint32_t Number(std::string_view bytes, std::size_t at, std::size_t width) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value |= static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes[at + i])) << (8 * i);
  }
  return value;
}

}  // namespace

std::string EncodeSettings(const PropertyBag& bag) {
  const std::string contents = bag.Contents();
  std::string bytes;
  bytes.reserve(kHeaderLength + contents.size());
  Append(bytes, kArrayOfBytes, 2);
  Append(bytes, 1, 2);
  Append(bytes, static_cast<std::uint32_t>(contents.size()), 4);
  Append(bytes, 0, 4);
  return bytes + contents;
}

PropertyBag DecodeSettings(std::string_view bytes) {
  const bool isSettings = bytes.size() >= kHeaderLength && Number(bytes, 0, 2) == kArrayOfBytes &&
                          Number(bytes, 2, 2) == 1 && Number(bytes, 8, 4) == 0;
  if (!isSettings) throw AutomationError(ErrorNumber::InvalidFileFormat, "Not a settings file");
  const std::size_t count = Number(bytes, 4, 4);
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
