// A serial line on termios.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/posix_message_loop.hpp"
#include "platform/posix/posix_support.hpp"
#include "platform/receive_buffer.hpp"
#include "platform/serial_port.hpp"

namespace tarn {

/// What the ports of a host share.
struct PortTable {
  std::map<int, std::string> deviceNames;  ///< the user's names, by port number
  std::function<void(std::string_view)> trace;

  /// Empty where the number can be no port.
  std::string DeviceName(int number) const;
};

/// 4 data bits do not exist here (error 380); 1.5 stop bits are two, but for 5 data bits.
class PosixSerialPort final : public SerialPort {
 public:
  PosixSerialPort(PosixMessageLoop& loop, PortTable& table);
  ~PosixSerialPort() override { Close(); }

  void PortNumber(std::int16_t number) override;
  std::int16_t PortNumber() const override { return number_; }
  void Settings(std::string_view settings) override;
  std::string Settings() const override { return settings_; }
  void ReceiveThreshold(std::int16_t length) override { buffer_.Threshold(length); }
  std::int16_t ReceiveThreshold() const override { return buffer_.Threshold(); }
  void EndCharacter(std::optional<char> end) override { buffer_.EndCharacter(end); }
  std::optional<char> EndCharacter() const override { return buffer_.EndCharacter(); }
  void PortOpen(bool open) override;
  bool PortOpen() const override { return static_cast<bool>(line_); }
  std::int32_t InBufferCount() const override { return buffer_.Readable(); }
  void ClearInput() override { buffer_.Clear(); }
  std::optional<char> Input() override { return buffer_.Read(); }
  void Output(std::string_view bytes) override;
  std::string DeviceName() const override { return deviceName_; }

 private:
  void Open();
  void Close();
  void LineGone();
  void OnReady(std::uint32_t events);
  void ReadLine(bool hungUp);
  void WriteQueue();
  void RequireClosed() const;
  std::string Title() const;

  PosixMessageLoop& loop_;
  PortTable& table_;
  std::int16_t number_ = 1;
  std::string settings_ = "9600,n,8,1";
  std::string deviceName_;  ///< while open
  std::string queue_;       ///< output that the line does not take yet
  ReceiveBuffer buffer_;
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< for what is posted
  OwnedFd line_;
  PosixMessageLoop::Watch watch_;
};

}  // namespace tarn
