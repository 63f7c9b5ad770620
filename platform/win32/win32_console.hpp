// The console window of a tool, or the pipes or the service manager in its place.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "platform/console.hpp"
#include "platform/win32/win32_message_loop.hpp"
#include "platform/win32/win32_service.hpp"

namespace tarn {

class Win32Console final : public Console {
 public:
  explicit Win32Console(Win32MessageLoop& loop);
  ~Win32Console() override;

  bool IsTerminal() const override { return formerOutputMode_.has_value(); }
  Size ScreenSize() const override;
  void ReadKeys() override;
  /// Nothing to do: no key stops the output in the mode of ReadKeys.
  void GuardScreen(std::string_view /*leave*/) override {}
  void LeaveNow() override;
  void WatchInputEnd() override;
  void Write(std::string_view text) override;
  std::string WriteFailure() const override;

 private:
  /// Where the thread that waits for the end of the input finds the console, while there is one.
  struct InputWatcher {
    std::mutex mutex;
    Win32Console* console;
  };

  static BOOL WINAPI OnControl(DWORD kind);
  static void DrainInput(HANDLE input, InputWatcher& watcher);

  void EnableSequences();
  void ServeManager();
  void RestoreModes();
  void OnKeys();
  void RaiseKeys(const KEY_EVENT_RECORD& record, const bool& alive);
  bool WriteSome(std::string_view& text);
  void PostRaise(Event<>& event);

  Win32MessageLoop& loop_;
  HANDLE input_ = GetStdHandle(STD_INPUT_HANDLE);
  HANDLE output_ = GetStdHandle(STD_OUTPUT_HANDLE);
  std::atomic<DWORD> writeError_ = 0;
  std::optional<DWORD> formerOutputMode_;
  std::optional<DWORD> formerInputMode_;
  UINT formerCodePage_ = GetConsoleOutputCP();
  Win32MessageLoop::WatchId keyWatch_ = 0;
  std::shared_ptr<InputWatcher> inputWatcher_;
  std::unique_ptr<Win32Service> service_;
  std::atomic<bool> outputGone_ = false;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  ///< false once destroyed
};

}  // namespace tarn
