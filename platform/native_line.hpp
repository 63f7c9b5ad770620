// What a serial port asks of the operating system: open lines that never block. The port itself
// (SerialPort) is the same everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/line_record.hpp"
#include "platform/message_loop.hpp"
#include "platform/serial_settings.hpp"

namespace tarn {

/// One open line. Destroying it closes the device, which may take place beside the loop; what has
/// not been sent by then is discarded.
class NativeLine {
 public:
  /// Both are called from the loop, never inside a call of this interface, and never after the line
  /// has been destroyed. Either may destroy the line.
  struct Listener {
    std::function<void(std::string_view bytes)> arrived;
    /// The device has gone: nothing arrives and nothing is sent any more. `why` is what the system
    /// says.
    std::function<void(const std::string& why)> lost;
  };

  NativeLine() = default;
  NativeLine(const NativeLine&) = delete;
  NativeLine& operator=(const NativeLine&) = delete;
  virtual ~NativeLine() = default;

  /// Sends the bytes, or queues what the device does not take yet; the caller bounds the queue.
  /// Returns false if the device turns out to have gone, which `lost` then does not report.
  virtual bool Send(std::string_view bytes) = 0;
  /// How many bytes wait to be sent, including those that the device is busy with.
  virtual std::size_t Queued() const = 0;
  /// Discards what the line has gathered and not delivered yet.
  virtual void DiscardInput() = 0;
  /// What the driver has found since the line was opened; none where it does not say.
  virtual PortErrors Errors() { return {}; }
};

/// The serial lines of one host. It outlives the ports that use it.
class LineSystem {
 public:
  LineSystem() = default;
  /// The user's names for devices, by port number.
  explicit LineSystem(std::map<int, std::string> deviceNames)
      : deviceNames_(std::move(deviceNames)) {}
  LineSystem(const LineSystem&) = delete;
  LineSystem& operator=(const LineSystem&) = delete;
  virtual ~LineSystem() = default;

  virtual MessageLoop& Loop() = 0;
  /// Writes one line for those who look after the program.
  virtual void Trace(std::string_view text) = 0;
  /// Names more devices; a port that has one already keeps it.
  void Name(std::map<int, std::string> devices) { deviceNames_.merge(devices); }
  /// The device that stands for a port number; empty if there can be none.
  virtual std::string DeviceOf(std::int16_t port) const = 0;
  /// Whether the user has named that device, which no setting then replaces.
  bool IsNamed(std::int16_t port) const { return deviceNames_.contains(port); }
  /// Who has the device open, such as "minicom (process 812)"; empty where nobody is known.
  virtual std::string HolderOf(const std::string& /*device*/) const { return {}; }
  /// Errors: those of SerialPort::PortOpen. The description is only the reason; the port puts its
  /// name in front of it.
  virtual std::unique_ptr<NativeLine> Open(const std::string& device,
                                           const SerialSettings& settings,
                                           NativeLine::Listener listener) = 0;

 protected:
  /// The user's name for the device, or else the system's own.
  std::string NameOr(std::int16_t port, const std::string& own) const {
    const auto named = deviceNames_.find(port);
    return named != deviceNames_.end() ? named->second : own;
  }

 private:
  std::map<int, std::string> deviceNames_;
};

}  // namespace tarn
