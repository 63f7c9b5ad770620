// What all commands share: the options, the host, the console, the server with its settings store.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/native_host.hpp"
#include "platform/standard_error.hpp"
#include "server/tarn_server_connection.hpp"
#include "tools/tarnscale/scale_event.hpp"

namespace tarn::tool {

struct CommonOptions {
  std::string file;
  std::vector<std::string> ports;  ///< "N=DEVICE"
  std::string store;               ///< empty: tarnscale's own; "server": the Automation server's
  std::string log;                 ///< empty: no activity log
  std::string terminalNetwork;     ///< empty: the library under its usual name
  bool quiet = false;
};

/// Takes "3=/dev/ttyUSB0" into a port map. Throws UsageError.
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

  /// Where the host's traces go from now on; to standard error when empty.
  void Trace(TraceSink sink) { trace_ = std::move(sink); }
  /// Something good to know, on standard error unless --quiet.
  void Say(std::string_view text);
  /// Something wrong, on standard error.
  void Complain(std::string_view text);

  /// Ends the process here, with the terminal given back and what standard error still takes
  /// written: for when the reader of the output hangs and a thread with it.
  [[noreturn]] void EndNow(int status);

  /// Starts the server with the settings file. Throws Failure.
  std::unique_ptr<TarnServerConnection> StartServer();

  /// Opens the activity log that --log names; none where it names none. Throws Failure.
  std::shared_ptr<TextStream> OpenLog();

 private:
  HostOptions OptionsOfHost();
  void AddStoredPorts();
  bool UsesServerStore() const;
  void PrepareStore(const std::string& file);

  CommonOptions options_;
  StandardError errors_;
  TraceSink trace_;
  std::unique_ptr<NativeHost> host_;
  std::unique_ptr<Console> console_;
};

}  // namespace tarn::tool
