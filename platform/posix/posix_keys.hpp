// The keys in what a terminal sends.
#pragma once

#include <functional>
#include <string_view>

#include "platform/console.hpp"

namespace tarn {

/// Reports each key in the bytes of one read. A key's sequence comes in one piece, so an escape
/// character at the end is the key itself; sequences of other keys are skipped.
void ForEachKey(std::string_view bytes, const std::function<void(Console::Key, char)>& report);

}  // namespace tarn
