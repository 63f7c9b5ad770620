#include "platform/win32/win32_settings_store.hpp"

#include <windows.h>

#include <cstddef>

#include "platform/win32/win32_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

constexpr const char* kServerPlace = "TarnSclServer";

[[noreturn]] void ThrowStoreError(const char* what, LSTATUS status) {
  ThrowSystemError(status == ERROR_ACCESS_DENIED ? ErrorNumber::PermissionDenied
                                                 : ErrorNumber::DeviceInputOutput,
                   what, static_cast<DWORD>(status));
}

class RegistryKey {
 public:
  RegistryKey() = default;
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() {
    if (key_ != nullptr) RegCloseKey(key_);
  }

  HKEY Get() const { return key_; }
  HKEY* Receive() { return &key_; }

 private:
  HKEY key_ = nullptr;
};

}  // namespace

Win32SettingsStore::Win32SettingsStore(const std::string& place)
    : place_("Software\\" + (place.empty() ? kServerPlace : place)) {}

std::optional<std::string> Win32SettingsStore::Get(std::string_view section, std::string_view key) {
  const std::wstring path = SectionPath(section);
  const std::wstring name = ToWide(key);
  std::wstring value(256, L'\0');
  for (;;) {
    auto bytes = static_cast<DWORD>(value.size() * sizeof(wchar_t));
    const LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, path.c_str(), name.c_str(),
                                        RRF_RT_REG_SZ, nullptr, value.data(), &bytes);
    if (status == ERROR_FILE_NOT_FOUND) return std::nullopt;
    if (status == ERROR_SUCCESS) return FromWide(value.c_str());  // up to the terminating zero
    if (status != ERROR_MORE_DATA) ThrowStoreError("The settings store cannot be read", status);
    value.resize(bytes / sizeof(wchar_t) + 1);
  }
}

void Win32SettingsStore::Set(std::string_view section, std::string_view key,
                             std::string_view value) {
  constexpr const char* kFailure = "The settings store cannot be written";
  RegistryKey registryKey;
  LSTATUS status = RegCreateKeyExW(HKEY_CURRENT_USER, SectionPath(section).c_str(), 0, nullptr,
                                   REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                                   registryKey.Receive(), nullptr);
  if (status != ERROR_SUCCESS) ThrowStoreError(kFailure, status);
  const std::wstring text = ToWide(value);
  const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);  // the terminating zero too
  status = RegSetValueExW(registryKey.Get(), ToWide(key).c_str(), 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(text.c_str()), static_cast<DWORD>(bytes));
  if (status != ERROR_SUCCESS) ThrowStoreError(kFailure, status);
}

std::wstring Win32SettingsStore::SectionPath(std::string_view section) const {
  return ToWide(place_ + "\\" + std::string(section));
}

}  // namespace tarn
