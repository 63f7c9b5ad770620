// Files that are read and written whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/posix/posix_support.hpp"

namespace tarn {

/// Opens a file that may turn out not to be a plain one: neither this call nor later ones wait for
/// the other end of a FIFO or for a device, and no terminal becomes the controlling one. A file
/// that O_CREAT makes may be read and written by everybody whom the user's mask does not exclude.
OwnedFd OpenUnblocked(const std::string& name, int access);

/// The first `maxBytes` of a plain file. Errors: 53, 70, 57.
std::string ReadFile(const std::string& name, std::size_t maxBytes);

/// Writes the bytes to a file; with `keepTail` they are followed by what the old file has beyond
/// them. A new file is written beside the old one and takes its place when it is whole and on the
/// disk; whatever fails before that leaves the old file untouched and no other file behind. A
/// symbolic link stays one: the file that it points to is replaced. Errors: 75, 70, 61, 57.
///
/// A file that cannot be replaced like that is written in place, once its space is reserved: one
/// that is mounted by itself, one in a folder where nothing can be made, and one whose owner or
/// group the new file could not have, so that somebody would lose access to it. Returns a line that
/// says so, otherwise an empty text. If a failure tears such a file, the error says where the new
/// one is.
std::string ReplaceFile(const std::string& name, std::string_view bytes, bool keepTail);

/// Writes all of it; false with errno where the system does not take it. `written` is how much
/// it took.
bool WriteAll(int fd, std::string_view bytes, std::size_t& written);

}  // namespace tarn
