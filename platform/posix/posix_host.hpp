// The host on POSIX systems.
#pragma once

#include <utility>

#include "platform/library_terminal_network.hpp"
#include "platform/native_host.hpp"
#include "platform/posix/posix_files.hpp"
#include "platform/posix/posix_line.hpp"
#include "platform/posix/posix_locale.hpp"
#include "platform/posix/posix_message_loop.hpp"
#include "platform/posix/posix_settings_store.hpp"
#include "platform/posix/posix_socket.hpp"
#include "platform/trace_filter.hpp"

namespace tarn {

class PosixHost final : public NativeHost {
 public:
  explicit PosixHost(HostOptions options);

  MessageLoop& Loop() override { return loop_; }
  DescriptorWatcher* Descriptors() override { return &loop_; }
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
  std::unique_ptr<ServiceManager> CreateServiceManager() override;
  std::unique_ptr<TerminalLine> CreateTerminalLine(const std::string& place) override;
  std::unique_ptr<TerminalLine> CreateTerminalListener(const std::string& address,
                                                       int port) override;

 private:
  TraceFilter trace_;
  PosixLocale locale_;
  PosixFiles files_{locale_, [this](std::string_view text) { Trace(text); }};
  PosixSettingsStore settings_;
  RunSettings runSettings_{settings_};
  PosixMessageLoop loop_;
  PosixLines lines_;
  PosixSockets sockets_{loop_};
  LibraryTerminalNetwork terminalNetwork_;
};

}  // namespace tarn
