// The boundary between the core's exceptions and COM.
//
// Every member that a client can call runs inside Guarded, so no exception crosses a call.
#pragma once

#include <windows.h>

#include <utility>

namespace tarn {

/// Result of a failure with a run-time error number.
constexpr HRESULT ResultOfError(int number) {
  return static_cast<HRESULT>(0x800A0000U | static_cast<unsigned>(number));
}

/// Turns the exception being handled into a result, and leaves number, description and source in
/// the thread's error object. What is no AutomationError is error 440, a general failure.
HRESULT ReportCurrentException() noexcept;

template <class Work>
HRESULT Guarded(Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
    return S_OK;
  } catch (...) {
    return ReportCurrentException();
  }
}

}  // namespace tarn
