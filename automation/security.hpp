// Who may launch and call the server.
//
// The policy: programs on this machine only, started by interactive users or administrators, or
// by the system itself, whose activation service calls the server. Calls are encrypted. The
// process states it for itself, and the registration states the same for the system's activation
// and for the tools that show it. Clients learn who the server is, but it lends nobody its rights.
#pragma once

#include <windows.h>

#include <vector>

namespace tarn {

/// RPC_C_AUTHN_LEVEL_PKT_PRIVACY, which the registration writes as a number.
inline constexpr DWORD kAuthenticationLevel = 6;

/// Security descriptors as the registry holds them. Throw WindowsError.
std::vector<BYTE> LaunchPermission();
std::vector<BYTE> AccessPermission();

/// Puts the policy into effect for this process, on a thread that has started COM and not used it
/// yet. Throws WindowsError.
void SecureProcess();

}  // namespace tarn
