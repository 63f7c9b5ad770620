// The settings file: the whole configuration as one property bag, kept as one self-describing
// value.
//
// The bytes, all numbers little-endian:
//   0x2011 (16 bits: an array of bytes), 1 (16 bits: dimensions), element count (32 bits),
//   0 (32 bits: lower bound), then the contents of the bag.
// A longer old file keeps its tail behind them; nobody reads it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/property_bag.hpp"
#include "platform/files.hpp"

namespace tarn {

std::string EncodeSettings(const PropertyBag& bag);
/// Error 321 for bytes that are not settings.
PropertyBag DecodeSettings(std::string_view bytes);

/// Errors of the file, and 321.
PropertyBag ReadSettingsFile(Files& files, const std::string& name);
void WriteSettingsFile(Files& files, const std::string& name, const PropertyBag& bag);

/// Copies a file that could not be read, and is about to be overwritten, to NAME.unreadable, with a
/// number appended where that exists already. Returns the name of the copy, empty if there is
/// nothing to keep. Errors of the files; 57 for a file of more than 16 MB, which is not a settings
/// file.
std::string KeepUnreadableFile(Files& files, const std::string& name);

}  // namespace tarn
