// Opens COM ports: refuses one that is in use, and applies line settings and time-outs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/serial_settings.hpp"
#include "platform/win32/win32_handle.hpp"

namespace tarn {

/// The devices that this host holds open. Windows refuses to open a port twice, Wine does not.
class Win32PortTable {
 public:
  /// How long a driver may take to release a port before the port counts as in use.
  static constexpr std::chrono::milliseconds kLetGoTime{1000};

  /// Holds one device until it is released. From any thread.
  class Claim {
   public:
    Claim(std::shared_ptr<Win32PortTable> table, std::wstring device, std::uint64_t id)
        : table_(std::move(table)), device_(std::move(device)), id_(id) {}
    Claim(Claim&& other) noexcept = default;
    Claim& operator=(Claim&& other) = delete;
    ~Claim() { Release(); }

    /// The device is being closed: Take waits for it a little.
    void Closing();
    void Release();

   private:
    std::shared_ptr<Win32PortTable> table_;
    std::wstring device_;
    std::uint64_t id_;
  };

  /// Waits for a device that is being closed, at most kLetGoTime after its closing began, so that a
  /// driver that never lets go costs this wait only once. Error 8005 when somebody holds the
  /// device.
  static Claim Take(const std::shared_ptr<Win32PortTable>& table, const std::string& device);

 private:
  using Clock = std::chrono::steady_clock;
  struct Holder {
    std::uint64_t id;
    std::optional<Clock::time_point> letGoBy;  ///< while it is being closed
  };

  std::mutex mutex_;
  std::condition_variable released_;
  std::map<std::wstring, Holder> held_;
  std::uint64_t lastId_ = 0;
};

/// The name under which the system opens a port: COM10 and above need the prefix.
std::string Win32DevicePath(const std::string& name);

/// A port that was opened and set up.
struct Win32OpenPort {
  Win32PortTable::Claim claim;  // destroyed last, when the handle has been closed
  OwnedHandle handle;
};

/// Errors: 8002, 8005, 380, 57 as LineSystem::Open.
Win32OpenPort OpenWin32Port(const std::shared_ptr<Win32PortTable>& table, const std::string& device,
                            const SerialSettings& settings);

}  // namespace tarn
