// TarnSclServer.exe: registers itself, and serves clients when the system launches it for one.
#include <windows.h>

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "automation/registration.hpp"
#include "automation/server_process.hpp"
#include "platform/win32/win32_service.hpp"
#include "platform/win32/win32_text.hpp"

namespace {

constexpr const char* kUsage =
    "TarnSclServer " TARN_VERSION
    ": the scale server for Automation clients.\n"
    "  /RegServer            registers it for this machine (as an administrator)\n"
    "  /UnregServer          takes that back\n"
    "  /RegServerPerUser     registers it for this user\n"
    "  /UnregServerPerUser   takes that back\n"
    "  /Service              the same as /RegServer, and runs it as a service of this machine\n"
    "  /UnregService         takes the service back\n"
    "  /?                    this text\n"
    "Exit status: 0 done, 1 failed, 2 wrong command line, 5 rights are missing.\n"
    "The system starts it with /Embedding when a client creates an object, and with /RunService "
    "as\n"
    "the service.\n";

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

bool Is(std::wstring_view argument, const wchar_t* name) {
  return !argument.empty() && (argument.front() == L'/' || argument.front() == L'-') &&
         _wcsicmp(argument.data() + 1, name) == 0;
}

int Fail(const std::string& text) {
  std::fprintf(stderr, "TarnSclServer: %s\n", text.c_str());
  return 2;
}

int RunAsService() {
  const auto service = tarn::Win32Service::Connect();
  if (!service) return Fail("as a service it is started by the system only");
  try {
    tarn::RunServerProcess(ProgramName(), service.get());
  } catch (const std::exception& error) {
    service->Complain(L"TarnSclServer", error.what());  // it has no trace yet
    service->Stopped(ERROR_EXCEPTION_IN_SERVICE);
    return 1;
  }
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
  if (argc > 2) return Fail("one argument at a time; /? lists them");
  if (Is(argument, L"?")) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (const auto command = tarn::RegistrationCommandOf(argument)) return Register(*command);
  if (Is(argument, tarn::kServiceSwitch + 1)) return RunAsService();
  if (!Is(argument, L"Embedding"))
    return Fail("unknown argument " + tarn::FromWide(argv[1]) + "; /? lists those that there are");
  try {
    tarn::RunServerProcess(ProgramName());
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}
