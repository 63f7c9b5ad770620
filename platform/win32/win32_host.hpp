// The host on Windows.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/library_terminal_network.hpp"
#include "platform/native_host.hpp"
#include "platform/trace_filter.hpp"
#include "platform/win32/win32_files.hpp"
#include "platform/win32/win32_line.hpp"
#include "platform/win32/win32_locale.hpp"
#include "platform/win32/win32_message_loop.hpp"
#include "platform/win32/win32_settings_store.hpp"
#include "platform/win32/win32_socket.hpp"

namespace tarn {

class Win32Host final : public NativeHost {
 public:
  explicit Win32Host(HostOptions options);

  MessageLoop& Loop() override { return loop_; }
  SettingsStore& Settings() override { return runSettings_; }
  UserLocale& Locale() override { return locale_; }
  tarn::Files& Files() override { return files_; }
  std::shared_ptr<SerialPort> CreateSerialPort() override;
  std::shared_ptr<SocketControl> CreateSocket() override;
  tarn::TerminalNetwork& TerminalNetwork() override { return terminalNetwork_; }
  std::string ProgramFolder() override;
  void Trace(std::string_view text) override { trace_(text, loop_.Now()); }
  void TraceNews(std::string_view text) override { trace_.News(text, loop_.Now()); }
  void AddPorts(std::map<int, std::string> ports) override { lines_.Name(std::move(ports)); }
  void BeginSettings(RunSettings::Values values) override { runSettings_.Begin(std::move(values)); }
  std::string MissingDevice(std::int16_t port, const std::string& setting) const override;
  std::unique_ptr<Console> CreateConsole() override;
  std::unique_ptr<TerminalLine> CreateTerminalLine(const std::string& place) override;
  std::unique_ptr<TerminalLine> CreateTerminalListener(const std::string& address,
                                                       int port) override;

 private:
  TraceFilter trace_;
  Win32Locale locale_;
  Win32Files files_;
  Win32SettingsStore settings_;
  RunSettings runSettings_{settings_};
  Win32MessageLoop loop_;
  Win32Lines lines_;
  Win32Sockets sockets_{loop_};
  LibraryTerminalNetwork terminalNetwork_;
};

}  // namespace tarn
