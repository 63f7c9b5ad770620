// What a program learns about itself and its user on Windows.
#include <windows.h>
// Needs the types of the header above.
#include <shellapi.h>
#include <shlobj.h>

#include <array>
#include <filesystem>
#include <system_error>

#include "base/automation_error.hpp"
#include "platform/program.hpp"
#include "platform/standard_error.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {

void WriteToStandardError(std::string_view bytes) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()),
            &written, nullptr);
}

/// What main gets here went through a code page and may have lost characters.
std::vector<std::string> ProgramArguments(int /*argc*/, const char* const* /*argv*/) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; wide != nullptr && i < count; ++i) arguments.push_back(FromWide(wide[i]));
  LocalFree(wide);
  return arguments;
}

std::string ProgramSettingsPlace(std::string_view program) {
  return std::string(program);
}

std::string NullFile() {
  return "NUL";
}

std::string MachineName() {
  std::array<wchar_t, 256> name{};
  auto size = static_cast<DWORD>(name.size());
  const bool known = GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size) != 0;
  return known ? FromWide(name.data()) : std::string();
}

std::string ProgramDataFolder(std::string_view program) {
  const wchar_t* parent = _wgetenv(L"LOCALAPPDATA");
  std::array<wchar_t, MAX_PATH> known{};
  if (parent == nullptr) {  // a service may have none of the user's variables
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, known.data()))) {
      throw AutomationError(ErrorNumber::PathFileAccess,
                            "This account has no application data folder");
    }
    parent = known.data();
  }
  const std::string folder = FromWide(parent) + "\\" + std::string(program);
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(parent) / program, error);
  if (error) {
    throw AutomationError(ErrorNumber::PathFileAccess,
                          "The folder " + folder + " cannot be made: " + error.message());
  }
  return folder;
}

std::string ProgramSocketFolder(std::string_view /*program*/) {
  return {};
}

}  // namespace tarn
