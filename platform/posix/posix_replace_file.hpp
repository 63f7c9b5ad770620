// Files that are read and written whole.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/posix/posix_support.hpp"

namespace tarn {

/// Opens a file that may turn out to be no plain one: neither this nor what is done with it waits
/// for the other end of a FIFO or for a device, and no terminal becomes the program's own. A file
/// that O_CREAT makes is everybody's to read and write that the user's mask does not exclude.
OwnedFd OpenUnblocked(const std::string& name, int access);

/// The first `maxBytes` of a plain file. Errors: 53, 70, 57.
std::string ReadFile(const std::string& name, std::size_t maxBytes);

/// Gives a file these bytes, followed by what the old file has beyond them where `keepTail` says
/// so. A new file is written beside the old one and takes its place when it is whole and on the
/// disk; whatever fails before that leaves the old file untouched and no other file behind. A
/// symbolic link stays one: the file that it points to is replaced. Errors: 75, 70, 61, 57.
///
/// A file that cannot be replaced so is written in place, once its space is reserved: one that is
/// mounted by itself, one in a folder where nothing can be made, and one whose owner or group the
/// new file could not have, so that somebody would lose his rights. Returns a line that says so,
/// otherwise an empty text. Where such a file is torn by a failure, the error says where the new
/// one is.
std::string ReplaceFile(const std::string& name, std::string_view bytes, bool keepTail);

/// Writes all of it; false with errno where the system does not take it. `written` tells how much
/// it took.
bool WriteAll(int fd, std::string_view bytes, std::size_t& written);

}  // namespace tarn
