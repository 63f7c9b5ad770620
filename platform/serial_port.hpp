// The serial-port control: one serial line as the protocols read and write it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/event.hpp"

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
/// more arrives, writes are error 8018. It is never an exception out of the loop. Lost tells of it
/// later, from the loop, unless the port has been opened again by then.
class SerialPort {
 public:
  SerialPort() = default;
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;
  virtual ~SerialPort() = default;

  /// 1 is the first serial port. Error 8000 when changed while the port is open.
  virtual void PortNumber(std::int16_t number) = 0;
  virtual std::int16_t PortNumber() const = 0;

  /// Baud rate, parity letter, data bits and stop bits, such as "9600,e,7,2". Checked and applied
  /// when the port opens; error 8000 when changed while it is open.
  virtual void Settings(std::string_view settings) = 0;
  virtual std::string Settings() const = 0;

  /// Bytes, 0 and below count as 1.
  virtual void ReceiveThreshold(std::int16_t length) = 0;
  virtual std::int16_t ReceiveThreshold() const = 0;
  virtual void EndCharacter(std::optional<char> end) = 0;
  virtual std::optional<char> EndCharacter() const = 0;

  /// Opens or closes; nothing happens when it is so already. A handler of Receive may close or
  /// destroy the control. Opening starts with an empty receive buffer.
  /// Errors: 8002 no such port, 8005 open already here or elsewhere, 70 no permission, 380 the
  /// settings are not understood or the port refuses them, 57 any other failure of the device.
  virtual void PortOpen(bool open) = 0;
  virtual bool PortOpen() const = 0;

  /// How many bytes may be read now.
  virtual std::int32_t InBufferCount() const = 0;
  virtual void ClearInput() = 0;
  /// One byte, or nothing when none waits.
  virtual std::optional<char> Input() = 0;

  /// Never blocks: what the line does not take yet waits in a queue of kMaxQueuedOutput bytes.
  /// Errors: 8018 closed, 57 the queue is full (nothing of these bytes is sent).
  virtual void Output(std::string_view bytes) = 0;

  /// The name of the device that was opened, empty when none is open.
  virtual std::string DeviceName() const = 0;

  static constexpr std::size_t kMaxQueuedOutput = 64U << 10U;
  static constexpr std::size_t kMaxWaitingInput = 256U << 10U;

  Event<> Receive;
  Event<> Lost;
};

}  // namespace tarn
