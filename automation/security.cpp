#include "automation/security.hpp"

#include <objbase.h>
#include <sddl.h>

#include "automation/windows_error.hpp"

namespace tarn {
namespace {

// Interactive users (IU), administrators (BA) and the system (SY). The rights are COM's own: 1
// stands for any, 2 for calls and 8 for activation from this machine; 4 and 16, the same from
// other machines, are missing.
constexpr wchar_t kAccess[] = L"O:BAG:BAD:(A;;0x3;;;IU)(A;;0x3;;;BA)(A;;0x3;;;SY)";
constexpr wchar_t kLaunch[] = L"O:BAG:BAD:(A;;0xb;;;IU)(A;;0xb;;;BA)(A;;0xb;;;SY)";

static_assert(kAuthenticationLevel == RPC_C_AUTHN_LEVEL_PKT_PRIVACY);

void CheckCall(BOOL succeeded, const char* doing) {
  if (!succeeded) Check(HRESULT_FROM_WIN32(GetLastError()), doing);
}

std::vector<BYTE> Descriptor(const wchar_t* text) {
  PSECURITY_DESCRIPTOR made = nullptr;
  ULONG size = 0;
  CheckCall(
      ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &made, &size),
      "making a security descriptor");
  const auto* begin = static_cast<const BYTE*>(made);
  std::vector<BYTE> bytes(begin, begin + size);
  LocalFree(made);
  return bytes;
}

}  // namespace

std::vector<BYTE> LaunchPermission() {
  return Descriptor(kLaunch);
}

std::vector<BYTE> AccessPermission() {
  return Descriptor(kAccess);
}

void SecureProcess() {
  // COM takes a descriptor whose parts lie apart.
  std::vector<BYTE> packed = AccessPermission();
  DWORD sizes[5] = {};
  MakeAbsoluteSD(packed.data(), nullptr, &sizes[0], nullptr, &sizes[1], nullptr, &sizes[2], nullptr,
                 &sizes[3], nullptr, &sizes[4]);
  std::vector<BYTE> parts[5];
  for (int i = 0; i < 5; ++i) parts[i].resize(sizes[i]);
  CheckCall(MakeAbsoluteSD(packed.data(), parts[0].data(), &sizes[0],
                           reinterpret_cast<ACL*>(parts[1].data()), &sizes[1],
                           reinterpret_cast<ACL*>(parts[2].data()), &sizes[2], parts[3].data(),
                           &sizes[3], parts[4].data(), &sizes[4]),
            "unpacking the access permission");
  Check(CoInitializeSecurity(parts[0].data(), -1, nullptr, nullptr, kAuthenticationLevel,
                             RPC_C_IMP_LEVEL_IDENTIFY, nullptr, EOAC_NONE, nullptr),
        "securing the process");
}

}  // namespace tarn
