// Guesses from bytes that form no frame which line settings their sender has.
#pragma once

#include <string>
#include <string_view>

#include "platform/line_record.hpp"

namespace tarn {

/// In words such as "looks like 9600 7E", or empty. `settings` are those of the port, such as
/// "9600,n,8,1".
///
/// A terminal with 7 data bits and a parity that is read with 8 data bits and none shows each
/// character with its parity in the highest bit: then all bytes have the same parity. Errors that
/// the port reports say more than the bytes do.
std::string LineSettingsHint(const LineRecord& line, std::string_view settings);

}  // namespace tarn
