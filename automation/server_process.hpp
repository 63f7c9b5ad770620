// The life of the server's process, from the moment the system launches it for a client.
#pragma once

#include <string>

namespace tarn {

/// Serves clients until the last one has gone, and ends the process. `program` is the full name of
/// the running program. Throws what keeps it from starting.
[[noreturn]] void RunServerProcess(const std::wstring& program);

}  // namespace tarn
