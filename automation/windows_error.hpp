// A call of Windows that failed, as an exception.
#pragma once

#include <windows.h>

#include <exception>
#include <string>

namespace tarn {

/// Carries the result of the call; its text is for people.
class WindowsError : public std::exception {
 public:
  WindowsError(std::string text, HRESULT result);
  const char* what() const noexcept override { return text_.c_str(); }
  HRESULT Result() const { return result_; }

 private:
  std::string text_;
  HRESULT result_;
};

/// Throws WindowsError with "text: reason" when the call failed.
void Check(HRESULT result, const char* text);

}  // namespace tarn
