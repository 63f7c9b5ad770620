#include "platform/win32/win32_host.hpp"

#include <array>
#include <filesystem>

#include "platform/network_socket.hpp"
#include "platform/standard_error.hpp"
#include "platform/win32/win32_console.hpp"
#include "platform/win32/win32_error.hpp"
#include "platform/win32/win32_terminal_line.hpp"
#include "platform/win32/win32_terminal_listener.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

/// A name without a folder is looked for in the program's folder and the system's only: never in
/// the current one, where the user's files are, nor in the folders of PATH. The same goes for what
/// the library needs.
LibraryTerminalNetwork::Finder LoadTerminalNetwork(const std::string& library, std::string& why) {
  std::filesystem::path place = ToWide(library);
  DWORD places = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
  if (place.has_parent_path()) {
    place = std::filesystem::absolute(place);
    places |= LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
  }
  const HMODULE loaded = LoadLibraryExW(place.c_str(), nullptr, places);
  if (loaded == nullptr) {
    why = library + ": " + SystemMessage(GetLastError());
    return {};
  }
  return [loaded](const char* name) {
    return reinterpret_cast<LibraryTerminalNetwork::Function>(GetProcAddress(loaded, name));
  };
}

}  // namespace

Win32Host::Win32Host(HostOptions options)
    : trace_(options.trace ? std::move(options.trace) : TraceToStandardError()),
      files_(locale_, options.filesBelow),
      settings_(options.settingsPlace),
      loop_([this](std::string_view text) { Trace(text); }),
      lines_(loop_, std::move(options.portMap), [this](std::string_view text) { Trace(text); }),
      terminalNetwork_(
          options.terminalNetwork.empty() ? "kesapi32.dll" : std::move(options.terminalNetwork),
          LoadTerminalNetwork) {}

std::shared_ptr<SerialPort> Win32Host::CreateSerialPort() {
  return std::make_shared<SerialPort>(lines_);
}

std::shared_ptr<SocketControl> Win32Host::CreateSocket() {
  return std::make_shared<NetworkSocket>(sockets_);
}

std::string Win32Host::ProgramFolder() {
  std::wstring name(MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()))) ==
         name.size()) {
    name.resize(name.size() * 2);
  }
  name.resize(length);
  name.resize(name.find_last_of(L'\\') + 1);
  if (name.size() > 3) name.pop_back();  // but the root of a drive keeps its backslash
  return FromWide(name);
}

/// The system knows a device by its name without the prefix "\\\\.\\".
std::string Win32Host::MissingDevice(std::int16_t port, const std::string& setting) const {
  const bool isSet = !setting.empty() && !lines_.IsNamed(port);
  std::string device = isSet ? setting : lines_.DeviceOf(port);
  const auto prefix = device.rfind('\\');
  const std::wstring name = ToWide(prefix == device.npos ? device : device.substr(prefix + 1));
  std::array<wchar_t, 512> target{};
  const bool isThere = QueryDosDeviceW(name.c_str(), target.data(), target.size()) != 0 ||
                       GetLastError() == ERROR_INSUFFICIENT_BUFFER;
  return isThere ? std::string() : device;
}

std::unique_ptr<Console> Win32Host::CreateConsole() {
  return std::make_unique<Win32Console>(loop_);
}

std::unique_ptr<TerminalLine> Win32Host::CreateTerminalLine(const std::string& place) {
  return std::make_unique<Win32TerminalLine>(lines_, place);
}

std::unique_ptr<TerminalLine> Win32Host::CreateTerminalListener(const std::string& address,
                                                                int port) {
  return std::make_unique<Win32TerminalListener>(loop_, address, port);
}

std::unique_ptr<NativeHost> CreateNativeHost(HostOptions options) {
  return std::make_unique<Win32Host>(std::move(options));
}

}  // namespace tarn
