// tarn_script_host runs a script in Visual Basic or Java script, with events of Automation servers.
//
// It does what the system's own script host does, for systems whose host connects no events.
//
//   tarn_script_host FILE [ARGUMENTS...]
//
// The script sees the object WScript with Echo, Sleep, CreateObject, ConnectObject,
// DisconnectObject, Quit, Arguments and ScriptFullName. Exit code: the script's own, 1 after an
// error in the script, 2 when it could not be run.
#include <windows.h>

#include <cstdio>

#include "automation/script_host/script_runner.hpp"

namespace {

int RunInApartment(const std::wstring& file, const std::vector<std::wstring>& arguments) {
  try {
    return tarn::script_host::RunScript(file, arguments);
  } catch (HRESULT result) {
    std::fprintf(stderr, "%ls cannot be run (%08lX)\n", file.c_str(), static_cast<ULONG>(result));
    return 2;
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) {
    std::fputs("usage: tarn_script_host FILE [ARGUMENTS...]\n", stderr);
    return 2;
  }
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 2;
  const int code = RunInApartment(argv[1], {argv + 2, argv + argc});
  CoUninitialize();
  return code;
}
