// Checks that the test clients share.
//
// A check that fails is printed and counted, and the program continues.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdio>
#include <string>

#include "automation/com_owners.hpp"

namespace tarn::checks {

inline int done = 0;
inline int failed = 0;

inline bool Expect(bool fulfilled, const std::wstring& what, HRESULT result = S_OK) {
  ++done;
  if (fulfilled) return true;
  ++failed;
  std::printf("WRONG %ls (%08lX)\n", what.c_str(), static_cast<unsigned long>(result));
  std::fflush(stdout);
  return false;
}

inline bool Succeeds(HRESULT result, const std::wstring& what) {
  return Expect(SUCCEEDED(result), what, result);
}

/// With the number of a run-time error.
inline bool Fails(HRESULT result, int number, const std::wstring& what) {
  return Expect(result == MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number), what, result);
}

/// An object of the server's; empty, and counted, where it cannot be created.
template <class Interface = IDispatch>
ComPtr<Interface> Create(const CLSID& clsid) {
  ComPtr<Interface> object;
  Succeeds(CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, __uuidof(Interface),
                            reinterpret_cast<void**>(object.Receive())),
           L"creating an object");
  return object;
}

/// Prints what the checks came to; the exit status of the program.
inline int Report(const char* program) {
  std::printf("All of %s: %d checks, %d wrong\n", program, done, failed);
  return failed == 0 ? 0 : 1;
}

}  // namespace tarn::checks
