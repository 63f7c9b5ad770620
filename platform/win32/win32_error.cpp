#include "platform/win32/win32_error.hpp"

#include <array>

#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {

std::string SystemMessage(DWORD code) {
  std::array<wchar_t, 512> text{};
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, code, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
  std::string message = FromWide({text.data(), length});
  while (!message.empty() && (message.back() == ' ' || message.back() == '.')) message.pop_back();
  const std::string number = "system error " + std::to_string(code);
  return message.empty() ? number : message + " (" + number + ")";
}

void ThrowSystemError(ErrorNumber number, const std::string& what, DWORD code) {
  throw AutomationError(number, what + ": " + SystemMessage(code));
}

OwnedHandle CreateEventHandle(bool manualReset) {
  OwnedHandle event(CreateEventW(nullptr, manualReset, FALSE, nullptr));
  if (!event) ThrowSystemError(ErrorNumber::DeviceInputOutput, "No event", GetLastError());
  return event;
}

}  // namespace tarn
