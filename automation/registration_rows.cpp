// registration_rows PROGRAM, with its full path: prints the server's registration as a component of
// a Windows Installer package, in WiX's language.
//
// The installer writes these values itself: so it takes them back by itself as well, also where an
// installation fails half way, and repairs them, and no program runs for that. They are the same
// that /RegServer writes, since they come from the same list.
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "automation/registration.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

/// The file and the folder as the package calls them.
constexpr wchar_t kFile[] = L"[#TarnSclServer.exe]";
constexpr wchar_t kFolder[] = L"[INSTALLDIR]";

std::string Attribute(const std::wstring& text) {
  std::string safe;
  for (const char character : FromWide(text)) {
    if (character == '"')
      safe += "&quot;";
    else if (character == '&')
      safe += "&amp;";
    else if (character == '<')
      safe += "&lt;";
    else
      safe += character;
  }
  return '"' + safe + '"';
}

std::string ValueOf(const RegistryData& data, const std::wstring& program) {
  if (data.type == REG_DWORD) {
    DWORD number = 0;
    std::memcpy(&number, data.bytes.data(), sizeof number);
    return " Type=\"integer\" Value=\"" + std::to_string(number) + '"';
  }
  if (data.type == REG_BINARY) {
    // The prefix is the installer's, which wixl 0.101 leaves out.
    std::string hex = "#x";
    for (const BYTE byte : data.bytes) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(byte));
      hex += digits;
    }
    return " Type=\"binary\" Value=\"" + hex + '"';
  }
  std::wstring text(data.bytes.size() / sizeof(wchar_t) - 1, L'\0');
  std::memcpy(text.data(), data.bytes.data(), text.size() * sizeof(wchar_t));
  const std::wstring folder = program.substr(0, program.rfind(L'\\'));
  if (const auto at = text.find(program); at != text.npos)
    text.replace(at, program.size(), kFile);
  else if (text == folder)
    text = kFolder;
  return " Type=\"string\" Value=" + Attribute(text);
}

void Print(const std::wstring& program) {
  std::puts(
      "<Wix xmlns=\"http://schemas.microsoft.com/wix/2006/wi\"><Fragment>\n"
      "<DirectoryRef Id=\"INSTALLDIR\">\n"
      "<Component Id=\"Registration\" Guid=\"F57EEA3A-216E-45FA-93BC-A8E577859F05\" "
      "Win64=\"yes\">");
  const ServerRegistration registration(program);
  for (const auto& [key, name, data, view] : registration.Values()) {
    const std::wstring node = view == KEY_WOW64_32KEY ? L"Wow6432Node\\" : L"";
    std::string line = "<RegistryValue Root=\"HKLM\" Key=" +
                       Attribute(MachineScope().classes + L'\\' + node + key);
    if (!name.empty()) line += " Name=" + Attribute(name);
    std::puts((line + ValueOf(data, program) + "/>").c_str());
  }
  std::puts("</Component></DirectoryRef></Fragment></Wix>");
}

}  // namespace
}  // namespace tarn

int wmain(int count, wchar_t** arguments) {
  if (count != 2) {
    std::fputs("usage: registration_rows PROGRAM\n", stderr);
    return 2;
  }
  try {
    tarn::Print(arguments[1]);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "registration_rows: %s\n", error.what());
    return 1;
  }
}
