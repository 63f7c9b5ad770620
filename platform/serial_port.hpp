// The serial-port control: one serial line as the protocols read and write it, over a line of the
// operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/automation_error.hpp"
#include "base/event.hpp"
#include "platform/native_line.hpp"
#include "platform/receive_buffer.hpp"

namespace tarn {

/// Bytes that arrive wait in the control until they are read, one at a time. Receive is raised from
/// the loop, never inside a call of this interface.
///
/// When Receive is raised:
///   - Without an end character: when at least ReceiveThreshold bytes wait.
///   - With one: at once when an end character waits at or beyond the threshold (counted from 1).
///     Bytes after the last end character are held back, unread and uncounted, until their own end
///     character arrives or the line has been quiet for a while (see ReceiveBuffer). So a reader
///     that drains what waits never tears a frame that is still arriving.
///   - Again, after the handlers return, while enough bytes wait and the handlers took some.
///
/// A line that goes away (an adapter unplugged) closes the control: PortOpen reads false, nothing
/// more arrives, writes are error 8018. It is never an exception out of the loop. Lost reports it
/// later, from the loop, unless the port has been opened again by then, which is only traced.
class SerialPort {
 public:
  static constexpr std::size_t kMaxQueuedOutput = 64U << 10U;

  /// The system outlives the control.
  explicit SerialPort(LineSystem& system);
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;
  virtual ~SerialPort() = default;

  /// 1 is the first serial port. Error 8000 when changed while the port is open.
  virtual void PortNumber(std::int16_t number);
  std::int16_t PortNumber() const { return number_; }

  /// Baud rate, parity letter, data bits and stop bits, such as "9600,e,7,2". Checked and applied
  /// when the port opens; error 8000 when changed while it is open.
  virtual void Settings(std::string_view settings);
  std::string Settings() const { return settings_; }

  /// Bytes, 0 and below count as 1.
  virtual void ReceiveThreshold(std::int16_t length) { buffer_.Threshold(length); }
  std::int16_t ReceiveThreshold() const { return buffer_.Threshold(); }
  virtual void EndCharacter(std::optional<char> end) { buffer_.EndCharacter(end); }
  std::optional<char> EndCharacter() const { return buffer_.EndCharacter(); }

  /// Opens or closes; does nothing if the port is open or closed already. A handler of Receive may
  /// close or destroy the control. Opening starts with an empty receive buffer; closing discards
  /// what has not been sent. Errors: 8002 no such port, 8005 open already here or elsewhere, 70 no
  /// permission, 380 the settings are not understood or the port refuses them, 57 any other failure
  /// of the device.
  virtual void PortOpen(bool open);
  bool PortOpen() const { return line_ != nullptr; }

  /// How many bytes may be read now.
  std::int32_t InBufferCount() const { return buffer_.Readable(); }
  virtual void ClearInput();
  /// Takes one byte; nothing when none waits.
  std::optional<char> Input() { return buffer_.Read(); }

  /// Never blocks: what the line does not take yet waits in a queue of kMaxQueuedOutput bytes.
  /// Errors: 8018 closed, 57 the queue is full (nothing of these bytes is sent).
  void Output(std::string_view bytes);

  /// Where bytes and the errors of the port are counted from now on; may be null.
  void Record(std::shared_ptr<LineRecord> record);
  /// Adds the errors that the driver has found since the last call. Nothing while closed.
  void CountErrors();

  /// The device that the port number stands for, where the host's user has named none for it.
  /// Empty: the system's own. Takes effect when the port opens.
  void Device(std::string name) { deviceSetting_ = std::move(name); }
  /// The name of the device that was opened; empty while the port is closed.
  std::string DeviceName() const { return device_; }

  Event<> Receive;
  Event<> Lost;
  /// What became of the line that was lost: "The port 1 (COM1) went away: ...".
  const std::string& LostText() const { return lostText_; }

 private:
  void Open();
  void Close();
  void LineLost(const std::string& why);
  void RequireClosed() const;
  [[noreturn]] void Refuse(ErrorNumber number, const std::string& what) const;

  LineSystem& system_;
  std::int16_t number_ = 1;
  std::string settings_ = "9600,n,8,1";
  std::string deviceSetting_;
  std::string device_;
  PortErrors counted_;
  std::string lostText_;
  ReceiveBuffer buffer_;
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< for posted work
  std::unique_ptr<NativeLine> line_;                      ///< goes first: it feeds the buffer
};

}  // namespace tarn
