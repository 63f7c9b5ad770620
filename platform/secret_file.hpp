// A secret that is shared with other programs by a file. POSIX only so far.
#pragma once

#include <string>

namespace tarn {

/// The secret in the file, without the blanks and line ends around it. Where there is no such file
/// it is made, with 256 random bits of the system, for its owner alone. Nobody else's file and none
/// that others may read or write is taken. Errors: 70 such a file, or no permission; 321 not 16 to
/// 512 printable characters without blanks; 75 no such folder, or no plain file; 61, 57.
std::string SecretOfFile(const std::string& name);

}  // namespace tarn
