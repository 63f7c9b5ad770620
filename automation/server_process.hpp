// The life of the server's process, from the moment the system launches it for a client.
#pragma once

#include <string>

namespace tarn {

class Win32Service;

/// Serves clients until the last one has gone, and ends the process. `program` is the full name of
/// the running program. Throws what keeps it from starting.
///
/// As a service it runs the scales from the start, whether or not there are clients, until it is
/// stopped, which it reports. Files lie in its own folder only, since it has more rights than the
/// clients who name them.
[[noreturn]] void RunServerProcess(const std::wstring& program, Win32Service* service = nullptr);

}  // namespace tarn
