// The host of the operating system that the program was built for, and what only the tools need
// from it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/console.hpp"
#include "platform/descriptor_watcher.hpp"
#include "platform/host.hpp"
#include "platform/run_settings.hpp"
#include "platform/service_manager.hpp"
#include "platform/terminal_line.hpp"

namespace tarn {

/// What the program around the server decides.
struct HostOptions {
  /// Devices by port number, for the ports that have another device than the system's own.
  std::map<int, std::string> portMap;
  /// Where the settings store lives: a file on POSIX, a key below HKEY_CURRENT_USER\Software on
  /// Windows. Empty: the place of the Automation server.
  std::string settingsPlace;
  /// The client library of the terminals' own network; the system's usual name when empty
  /// (kesapi32.dll on Windows, libkesapi.so elsewhere).
  std::string terminalNetwork;
  /// The folder in which, or below which, all files must lie; any other one is error 70. For a
  /// process with more rights than its clients have, which name the files. Empty: anywhere. Windows
  /// only.
  std::string filesBelow;
  /// Where traces go; to standard error when empty.
  std::function<void(std::string_view)> trace;
};

class NativeHost : public Host {
 public:
  /// Null where the system has no descriptors.
  virtual DescriptorWatcher* Descriptors() { return nullptr; }
  /// Adds ports to HostOptions::portMap; a number that is there keeps its device. Ports that are
  /// open already do not change.
  virtual void AddPorts(std::map<int, std::string> ports) = 0;
  /// Settings of this run only: see RunSettings::Begin.
  virtual void BeginSettings(RunSettings::Values values) = 0;
  /// The device that a port number, or the device that is set for it, stands for, where the system
  /// has no such device now; else empty.
  virtual std::string MissingDevice(std::int16_t port, const std::string& setting) const = 0;
  /// The program's own console; one at a time.
  virtual std::unique_ptr<Console> CreateConsole() = 0;
  /// The manager that started this program as a service; null where none wants to hear of it.
  virtual std::unique_ptr<ServiceManager> CreateServiceManager() { return nullptr; }
  /// A line's far end, for simulated terminals. Errors as TerminalLine::Attach.
  virtual std::unique_ptr<TerminalLine> CreateTerminalLine(const std::string& place) = 0;
  /// The terminal's end of a TCP connection: listens at an IPv4 address and port while it is
  /// attached, and serves one client at a time, the one that came last. Errors of Attach: 75 the
  /// address is none of this machine or its port is taken, 70, 57.
  virtual std::unique_ptr<TerminalLine> CreateTerminalListener(const std::string& address,
                                                               int port) = 0;
};

std::unique_ptr<NativeHost> CreateNativeHost(HostOptions options);

}  // namespace tarn
