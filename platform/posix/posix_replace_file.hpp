// Files that are read and written whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn {

/// The first `maxBytes` of a file. Errors: 53, 70, 57.
std::string ReadFile(const std::string& name, std::size_t maxBytes);

/// Gives a file these bytes, followed by what the old file has beyond them where `keepTail` says
/// so. A new file is written beside the old one and takes its place when it is whole and on the
/// disk; whatever fails before that leaves the old file untouched and no other file behind. A
/// symbolic link stays one: the file that it points to is replaced. Errors: 75, 70, 61, 57.
void ReplaceFile(const std::string& name, std::string_view bytes, bool keepTail);

/// Writes all of it; false with errno where the system does not take it. `written` tells how much
/// it took.
bool WriteAll(int fd, std::string_view bytes, std::size_t& written);

}  // namespace tarn
