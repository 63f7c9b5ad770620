#include "platform/win32/win32_console.hpp"

#include <array>
#include <thread>

#include "platform/win32/win32_error.hpp"

namespace tarn {
namespace {

// The system calls its handler without any context, so the console of the process is known here.
std::mutex controlMutex;
Win32Console* controlledConsole = nullptr;

struct NamedKey {
  WORD code;
  Console::Key key;
};
constexpr std::array<NamedKey, 9> kNamedKeys = {{{VK_UP, Console::Key::Up},
                                                 {VK_DOWN, Console::Key::Down},
                                                 {VK_PRIOR, Console::Key::PageUp},
                                                 {VK_NEXT, Console::Key::PageDown},
                                                 {VK_HOME, Console::Key::Home},
                                                 {VK_END, Console::Key::End},
                                                 {VK_RETURN, Console::Key::Enter},
                                                 {VK_ESCAPE, Console::Key::Escape},
                                                 {VK_BACK, Console::Key::Backspace}}};

bool IsPrintable(wchar_t unit) {
  return unit >= L' ' && unit <= L'~';
}

std::optional<DWORD> ConsoleMode(HANDLE handle) {
  DWORD mode = 0;
  if (!GetConsoleMode(handle, &mode)) return std::nullopt;
  return mode;
}

}  // namespace

Win32Console::Win32Console(Win32MessageLoop& loop) : loop_(loop) {
  EnableSequences();
  {
    const std::lock_guard lock(controlMutex);
    controlledConsole = this;
  }
  SetConsoleCtrlHandler(OnControl, TRUE);
  if (GetFileType(output_) == FILE_TYPE_UNKNOWN) ServeManager();
}

/// A service has no output, and the request to end comes from its manager.
void Win32Console::ServeManager() {
  service_ = Win32Service::Connect();
  if (!service_) return;
  outputGone_ = true;
  service_->Running([this] { PostRaise(Interrupted); });
}

Win32Console::~Win32Console() {
  if (service_ && service_->IsToStop()) service_->Stopped(0);
  service_.reset();
  SetConsoleCtrlHandler(OnControl, FALSE);
  {
    const std::lock_guard lock(controlMutex);
    controlledConsole = nullptr;
  }
  if (inputWatcher_) {
    const std::lock_guard lock(inputWatcher_->mutex);
    inputWatcher_->console = nullptr;
  }
  *alive_ = false;
  loop_.Unwatch(keyWatch_);
  RestoreModes();
}

void Win32Console::RestoreModes() {
  if (formerInputMode_) SetConsoleMode(input_, *formerInputMode_);
  if (formerOutputMode_) {
    SetConsoleMode(output_, *formerOutputMode_);
    SetConsoleOutputCP(formerCodePage_);
  }
}

void Win32Console::LeaveNow() {
  outputGone_ = true;
  RestoreModes();
}

void Win32Console::EnableSequences() {
  const auto mode = ConsoleMode(output_);
  if (!mode) return;
  constexpr DWORD kSequences = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;
  if (!SetConsoleMode(output_, *mode | kSequences)) return;
  formerOutputMode_ = mode;
  SetConsoleOutputCP(CP_UTF8);
}

Console::Size Win32Console::ScreenSize() const {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(output_, &info)) return {};
  return {info.srWindow.Right - info.srWindow.Left + 1,
          info.srWindow.Bottom - info.srWindow.Top + 1};
}

void Win32Console::ReadKeys() {
  const auto mode = ConsoleMode(input_);
  if (!mode || formerInputMode_) return;
  formerInputMode_ = mode;
  constexpr DWORD kOff = ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT | ENABLE_VIRTUAL_TERMINAL_INPUT;
  SetConsoleMode(input_, (*mode & ~kOff) | ENABLE_PROCESSED_INPUT);
  keyWatch_ = loop_.Watch(input_, [this] { OnKeys(); });
}

void Win32Console::OnKeys() {
  std::array<INPUT_RECORD, 32> records;
  DWORD count = 0;
  // Ask first: what signalled the handle may have been withdrawn, and a read would then block.
  if (!GetNumberOfConsoleInputEvents(input_, &count) || count == 0) return;
  if (!ReadConsoleInputW(input_, records.data(), records.size(), &count)) return;
  const std::shared_ptr<bool> alive = alive_;
  for (DWORD i = 0; i < count && *alive; ++i) {
    const INPUT_RECORD& record = records[i];
    const bool pressed = record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown;
    if (pressed) RaiseKeys(record.Event.KeyEvent, *alive);
  }
}

/// A key that is held down comes as one record with a count.
void Win32Console::RaiseKeys(const KEY_EVENT_RECORD& record, const bool& alive) {
  const wchar_t unit = record.uChar.UnicodeChar;
  std::optional<Key> key;
  if (IsPrintable(unit)) key = Key::Character;
  for (const NamedKey& named : kNamedKeys) {
    if (named.code == record.wVirtualKeyCode) key = named.key;
  }
  if (!key) return;
  const char character = key == Key::Character ? static_cast<char>(unit) : '\0';
  for (WORD i = 0; i < record.wRepeatCount && alive; ++i) KeyPressed.Raise(*key, character);
}

void Win32Console::WatchInputEnd() {
  if (ConsoleMode(input_) || inputWatcher_) return;
  if (GetFileType(input_) != FILE_TYPE_PIPE) {
    // A plain file, NUL or no handle at all: nobody could end this input later.
    PostRaise(InputEnded);
    return;
  }
  // A pipe reports its end only to a read that waits for it. Nothing here can end that read, so the
  // thread is not joined when the console is destroyed.
  inputWatcher_ = std::make_shared<InputWatcher>();
  inputWatcher_->console = this;
  std::thread([input = input_, watcher = inputWatcher_] { DrainInput(input, *watcher); }).detach();
}

void Win32Console::DrainInput(HANDLE input, InputWatcher& watcher) {
  std::array<char, 256> bytes;
  DWORD count = 0;
  while (ReadFile(input, bytes.data(), bytes.size(), &count, nullptr) && count > 0) {
  }
  const std::lock_guard lock(watcher.mutex);
  if (watcher.console != nullptr) watcher.console->PostRaise(watcher.console->InputEnded);
}

void Win32Console::Write(std::string_view text) {
  while (!text.empty() && !outputGone_) {
    if (WriteSome(text)) continue;
    writeError_ = GetLastError();
    outputGone_ = true;
    PostRaise(Interrupted);
  }
}

std::string Win32Console::WriteFailure() const {
  const DWORD error = writeError_;
  const bool readerLeft = error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA;
  return error == 0 || readerLeft ? std::string() : SystemMessage(error);
}

/// The console takes the bytes as UTF-8 since its code page was set so.
bool Win32Console::WriteSome(std::string_view& text) {
  constexpr std::size_t kMost = 1U << 20U;
  const std::string_view piece = text.substr(0, kMost);
  DWORD written = 0;
  if (!WriteFile(output_, piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr)) {
    return false;
  }
  text.remove_prefix(written);
  return true;
}

/// Runs on a thread that the system makes for it.
BOOL WINAPI Win32Console::OnControl(DWORD kind) {
  {
    const std::lock_guard lock(controlMutex);
    if (controlledConsole == nullptr) return FALSE;
    controlledConsole->PostRaise(controlledConsole->Interrupted);
  }
  // When this handler returns from any event but Ctrl-C or Ctrl-Break, the system ends the process
  // at once. While it waits (the system allows some seconds), the program can end by itself.
  const bool endsProcess = kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT;
  if (endsProcess) Sleep(INFINITE);
  return TRUE;
}

/// Raises an event from the loop, unless the console is gone by then.
void Win32Console::PostRaise(Event<>& event) {
  loop_.Post([alive = alive_, &event] {
    if (*alive) event.Raise();
  });
}

}  // namespace tarn
