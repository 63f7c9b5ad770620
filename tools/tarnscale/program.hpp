// The base of all commands: options, host, console, settings store, and the start of the server.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_event.hpp"
#include "platform/native_host.hpp"
#include "platform/standard_error.hpp"
#include "server/tarn_server_connection.hpp"

namespace tarn::tool {

struct CommonOptions {
  std::string file;
  std::vector<std::string> ports;  ///< "N=DEVICE"
  std::string store;               ///< empty: tarnscale's own; "server": the Automation server's
  std::string log;                 ///< empty: no activity log
  std::string terminalNetwork;     ///< empty: the library under its usual name
  bool quiet = false;
  std::string at;         ///< the URL of a server that runs; empty: that of the file, if it runs
  std::string tokenFile;  ///< with the token that it wants to see
  bool alone = false;     ///< looks for no server that runs
};

/// Adds "3=/dev/ttyUSB0" to a port map. Throws UsageError.
void AddPort(std::map<int, std::string>& ports, std::string_view text);

class Program {
 public:
  using TraceSink = std::function<void(std::string_view)>;

  /// Throws UsageError and Failure.
  explicit Program(CommonOptions options);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  const CommonOptions& Options() const { return options_; }
  NativeHost& Host() { return *host_; }
  Console& Output() { return *console_; }

  /// From now on the traces of the host go to `sink`, or to standard error when it is empty.
  void Trace(TraceSink sink) { trace_ = std::move(sink); }
  /// Writes a note to standard error, unless --quiet is given.
  void Say(std::string_view text);
  /// Writes an error to standard error.
  void Complain(std::string_view text);

  /// Ends the process at once, after restoring the terminal and writing what standard error still
  /// takes. For a process with a thread that hangs in a system call.
  [[noreturn]] void EndNow(int status);

  /// To be called with the status of the command when its output is written: a failure of the
  /// output is reported, and is the status then.
  int Finish(int status);

  /// Makes the server with the settings file; no scale runs yet. No store is written. Throws
  /// Failure.
  std::unique_ptr<TarnServerConnection> StartServer();

  /// Notes each --port that is the port of none of these scales.
  void NoteUnusedPorts(const std::function<std::shared_ptr<TarnScale>(std::int16_t)>& scaleAt);

  /// Where the settings store lies, and the devices of ports that stand in it.
  std::string StorePlace() const;
  const std::map<int, std::string>& StoredPorts() const { return storedPorts_; }

  /// Opens the activity log of --log; null without --log. Throws Failure.
  std::shared_ptr<TextStream> OpenLog();

 private:
  HostOptions OptionsOfHost();
  void AddStoredPorts();
  bool UsesServerStore() const;
  RunSettings::Values SettingsOfRun(const std::string& file);

  CommonOptions options_;
  StandardError errors_;
  TraceSink trace_;
  std::map<int, std::string> storedPorts_;
  std::unique_ptr<NativeHost> host_;
  std::unique_ptr<Console> console_;
};

}  // namespace tarn::tool
