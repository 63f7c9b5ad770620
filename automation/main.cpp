// TarnSclServer.exe: registers itself, and serves clients when the system launches it for one.
#include <windows.h>

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "automation/registration.hpp"
#include "automation/server_process.hpp"

namespace {

constexpr const char* kUsage =
    "TarnSclServer: the scale server for Automation clients.\n"
    "  /RegServer            registers it for this machine (as an administrator)\n"
    "  /UnregServer          takes that back\n"
    "  /RegServerPerUser     registers it for this user\n"
    "  /UnregServerPerUser   takes that back\n"
    "The system starts it with /Embedding when a client creates an object.\n";

std::wstring ProgramName() {
  std::wstring name(MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()))) ==
         name.size()) {
    name.resize(name.size() * 2);
  }
  name.resize(length);
  return name;
}

bool IsEmbedding(std::wstring_view argument) {
  return !argument.empty() && (argument.front() == L'/' || argument.front() == L'-') &&
         _wcsicmp(argument.data() + 1, L"Embedding") == 0;
}

int Fail(const char* text) {
  std::fputs(text, stderr);
  return 2;
}

int Register(tarn::RegistrationCommand command) {
  const tarn::RegistrationResult result = tarn::RunRegistration(command, ProgramName());
  std::fprintf(result.exitCode == 0 ? stdout : stderr, "%s\n", result.text.c_str());
  return result.exitCode;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  const std::wstring_view argument = argv[1];
  if (argc > 2) return Fail("TarnSclServer: one argument at a time\n");
  if (const auto command = tarn::RegistrationCommandOf(argument)) return Register(*command);
  if (!IsEmbedding(argument)) return Fail("TarnSclServer: unknown argument\n");
  try {
    tarn::RunServerProcess(ProgramName());
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}
