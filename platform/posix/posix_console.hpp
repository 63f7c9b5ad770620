// The console on the standard descriptors, with signals as events of the loop.
#pragma once

#include <signal.h>
#include <termios.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/console.hpp"
#include "platform/posix/posix_message_loop.hpp"
#include "platform/posix/posix_support.hpp"

namespace tarn {

/// Signals that were ignored when the program started (nohup, a shell's background job) stay so.
class PosixConsole final : public Console {
 public:
  explicit PosixConsole(PosixMessageLoop& loop);
  ~PosixConsole() override;

  bool IsTerminal() const override;
  Size ScreenSize() const override;
  void ReadKeys() override;
  void GuardScreen(std::string_view leave) override;
  void LeaveNow() override;
  void WatchInputEnd() override;
  void Write(std::string_view text) override;
  std::size_t WriteNow(std::string_view text) override;
  std::string WriteFailure() const override;

 private:
  bool OutputNeverBlocks();
  void OutputFailed(int error);
  static bool HasTerminal();
  void OnSignal();
  void OnKeys();
  void OnInput();
  void PostRaise(Event<>& event);
  int Input() const { return ownInput_ ? ownInput_.Get() : STDIN_FILENO; }
  int Output() const { return ownOutput_ ? ownOutput_.Get() : STDOUT_FILENO; }

  PosixMessageLoop& loop_;
  sigset_t formerMask_{};
  std::optional<termios> formerState_;    ///< of standard input, once keys are read
  std::atomic<bool> outputGone_ = false;  ///< Write may run on another thread
  std::atomic<int> writeError_ = 0;
  /// Once the terminal has gone, the system does not tell any more that it was one.
  const bool writesToTerminal_ = ::isatty(STDOUT_FILENO) == 1;
  /// What a hang-up takes away; such a signal is no request to reload.
  const bool hadTerminal_ = HasTerminal();
  bool guarding_ = false;
  std::optional<bool> outputNeverBlocks_;  ///< nothing until somebody asks
  // Separate descriptors for the same terminal or pipe, since only those may be set not to block:
  // the standard ones belong to the shell, too. Where that fails the standard ones are used.
  OwnedFd ownInput_;
  OwnedFd ownOutput_;
  OwnedFd signals_;
  PosixMessageLoop::Watch signalWatch_;
  PosixMessageLoop::Watch inputWatch_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);  ///< for posted work
};

}  // namespace tarn
