#include "platform/posix/posix_host.hpp"

#include <dlfcn.h>
#include <unistd.h>
#include <csignal>
#include <filesystem>

#include "platform/network_socket.hpp"
#include "platform/posix/posix_console.hpp"
#include "platform/posix/posix_terminal_line.hpp"
#include "platform/posix/posix_terminal_listener.hpp"
#include "platform/standard_error.hpp"

namespace tarn {
namespace {

/// A name without a folder is looked for beside the program first.
LibraryTerminalNetwork::Finder LoadLibrary(const std::string& programFolder,
                                           const std::string& library, std::string& why) {
  void* loaded = nullptr;
  if (library.find('/') == std::string::npos) {
    loaded = ::dlopen((programFolder + "/" + library).c_str(), RTLD_NOW | RTLD_LOCAL);
  }
  if (loaded == nullptr) loaded = ::dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (loaded == nullptr) {
    why = ::dlerror();
    return {};
  }
  return [loaded](const char* name) {
    return reinterpret_cast<LibraryTerminalNetwork::Function>(::dlsym(loaded, name));
  };
}

}  // namespace

PosixHost::PosixHost(HostOptions options)
    : trace_(options.trace ? std::move(options.trace) : TraceToStandardError()),
      settings_(std::move(options.settingsPlace), [this](std::string_view text) { Trace(text); }),
      loop_([this](std::string_view text) { Trace(text); }),
      lines_(loop_, std::move(options.portMap), [this](std::string_view text) { Trace(text); }),
      terminalNetwork_(
          options.terminalNetwork.empty() ? "libkesapi.so" : std::move(options.terminalNetwork),
          [this](const std::string& library, std::string& why) {
            return LoadLibrary(ProgramFolder(), library, why);
          }) {
  // A reader that went away shows as a failed write, not as the end of the program.
  std::signal(SIGPIPE, SIG_IGN);
}

std::shared_ptr<SerialPort> PosixHost::CreateSerialPort() {
  return std::make_shared<SerialPort>(lines_);
}

std::shared_ptr<SocketControl> PosixHost::CreateSocket() {
  return std::make_shared<NetworkSocket>(sockets_);
}

std::string PosixHost::ProgramFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

std::string PosixHost::MissingDevice(std::int16_t port, const std::string& setting) const {
  const bool isSet = !setting.empty() && !lines_.IsNamed(port);
  std::string device = isSet ? setting : lines_.DeviceOf(port);
  return ::access(device.c_str(), F_OK) == 0 ? std::string() : device;
}

std::unique_ptr<Console> PosixHost::CreateConsole() {
  return std::make_unique<PosixConsole>(loop_);
}

std::unique_ptr<TerminalLine> PosixHost::CreateTerminalLine(const std::string& place) {
  return std::make_unique<PosixTerminalLine>(loop_, place);
}

std::unique_ptr<TerminalLine> PosixHost::CreateTerminalListener(const std::string& address,
                                                                int port) {
  return std::make_unique<PosixTerminalListener>(loop_, address, port);
}

std::unique_ptr<NativeHost> CreateNativeHost(HostOptions options) {
  return std::make_unique<PosixHost>(std::move(options));
}

}  // namespace tarn
