// The system's error codes as errors of the server.
#pragma once

#include <windows.h>

#include <string>

#include "base/automation_error.hpp"

namespace tarn {

/// What the system says about a code, in one line.
std::string SystemMessage(DWORD code);

/// Throws `number` with the text "what: what the system says".
[[noreturn]] void ThrowSystemError(ErrorNumber number, const std::string& what, DWORD code);

}  // namespace tarn
