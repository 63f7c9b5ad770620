#include "automation/windows_error.hpp"

#include <array>
#include <cstdio>
#include <utility>

#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

std::string Reason(HRESULT result) {
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(result), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::string reason = FromWide(std::wstring_view(text, length));
  LocalFree(text);
  while (!reason.empty() && (reason.back() == '\n' || reason.back() == '\r')) reason.pop_back();
  if (!reason.empty()) return reason;

  std::array<char, 32> number{};
  std::snprintf(number.data(), number.size(), "error 0x%08lX", static_cast<unsigned long>(result));
  return number.data();
}

}  // namespace

WindowsError::WindowsError(std::string text, HRESULT result)
    : text_(std::move(text)), result_(result) {}

void Check(HRESULT result, const char* text) {
  if (FAILED(result)) throw WindowsError(std::string(text) + ": " + Reason(result), result);
}

}  // namespace tarn
