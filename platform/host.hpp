// What the operating system provides: one object gives access to all of it.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files.hpp"
#include "platform/message_loop.hpp"
#include "platform/serial_port.hpp"
#include "platform/settings_store.hpp"
#include "platform/socket.hpp"
#include "platform/terminal_network.hpp"
#include "platform/user_locale.hpp"

namespace tarn {

/// Outlives everything that was created through it. One thread: that of the loop.
class Host {
 public:
  Host() = default;
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  virtual ~Host() = default;

  virtual MessageLoop& Loop() = 0;
  virtual SettingsStore& Settings() = 0;
  virtual UserLocale& Locale() = 0;
  virtual tarn::Files& Files() = 0;
  virtual std::shared_ptr<SerialPort> CreateSerialPort() = 0;
  virtual std::shared_ptr<SocketControl> CreateSocket() = 0;
  virtual tarn::TerminalNetwork& TerminalNetwork() = 0;

  /// The time of day.
  virtual std::chrono::system_clock::time_point WallTime() {
    return std::chrono::system_clock::now();
  }

  /// The folder of the running program.
  virtual std::string ProgramFolder() = 0;

  /// One line for those who look after the program: what went wrong where no client could hear of
  /// it. A text that repeats is left out for a while, so that a fault of every reading shows once.
  virtual void Trace(std::string_view text) = 0;
  /// As Trace, for what is news each time although the text repeats: a line that breaks or comes
  /// back. For what happens once a second at most.
  virtual void TraceNews(std::string_view text) { Trace(text); }
};

}  // namespace tarn
