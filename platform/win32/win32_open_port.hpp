// Opening a COM port: in use or not, line settings, time-outs.
#pragma once

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "platform/win32/win32_handle.hpp"

namespace tarn {

/// The devices that this host holds open. Windows refuses to open a port twice, Wine does not.
class Win32PortTable {
 public:
  /// Holds one device until it goes. From any thread.
  class Claim {
   public:
    Claim() = default;
    Claim(std::shared_ptr<Win32PortTable> table, std::wstring device)
        : table_(std::move(table)), device_(std::move(device)) {}
    Claim(Claim&& other) noexcept = default;
    Claim& operator=(Claim&& other) noexcept;
    ~Claim() { Release(); }

   private:
    void Release();

    std::shared_ptr<Win32PortTable> table_;
    std::wstring device_;
  };

  /// Error 8005 when somebody holds the device.
  static Claim Take(const std::shared_ptr<Win32PortTable>& table, const std::string& device);

 private:
  std::mutex mutex_;
  std::set<std::wstring> held_;
};

/// The name under which the system opens a port: COM10 and above need the prefix.
std::string Win32DevicePath(const std::string& name);

/// A port that was opened and set up.
struct Win32OpenPort {
  Win32PortTable::Claim claim;  // the last to go: the handle has to be closed by then
  OwnedHandle handle;
};

/// Errors: 8002, 8005, 380, 57 as SerialPort::PortOpen.
Win32OpenPort OpenWin32Port(const std::shared_ptr<Win32PortTable>& table, const std::string& device,
                            std::string_view settings);

}  // namespace tarn
