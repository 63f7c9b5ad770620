// The ports that the drivers list in the registry.
#include <windows.h>

#include <algorithm>
#include <utility>

#include "platform/port_list.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {

/// Windows does not say who has a port.
std::string PortHolder(const std::string& /*device*/, const std::string& /*root*/) {
  return {};
}

std::vector<PortInfo> ListPorts(const std::string& /*root*/) {
  std::vector<PortInfo> ports;
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_READ, &key) !=
      ERROR_SUCCESS) {
    return ports;
  }
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    wchar_t device[256];
    DWORD nameLength = 256;
    DWORD bytes = sizeof device - sizeof(wchar_t);
    DWORD type = 0;
    const LSTATUS status = RegEnumValueW(key, index, name, &nameLength, nullptr, &type,
                                         reinterpret_cast<BYTE*>(device), &bytes);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) break;
    if (type != REG_SZ) continue;
    device[bytes / sizeof(wchar_t)] = L'\0';
    ports.push_back({FromWide(device), {}, FromWide(name), {}});
  }
  RegCloseKey(key);
  std::sort(ports.begin(), ports.end(), [](const PortInfo& a, const PortInfo& b) {
    return std::pair(a.device.size(), a.device) < std::pair(b.device.size(), b.device);
  });
  return ports;
}

}  // namespace tarn
