// The serial-port control over a COM port.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/receive_buffer.hpp"
#include "platform/serial_port.hpp"
#include "platform/win32/win32_line.hpp"

namespace tarn {

class Win32SerialPort final : public SerialPort {
 public:
  /// What the ports of one host share.
  struct Surroundings {
    MessageLoop& loop;
    std::shared_ptr<Win32PortTable> openPorts;
    std::function<std::string(std::int16_t number)> deviceOf;
    std::function<void(std::string_view)> trace;
  };

  explicit Win32SerialPort(Surroundings surroundings);

  void PortNumber(std::int16_t number) override;
  std::int16_t PortNumber() const override { return number_; }
  void Settings(std::string_view settings) override;
  std::string Settings() const override { return settings_; }
  void ReceiveThreshold(std::int16_t length) override { buffer_.Threshold(length); }
  std::int16_t ReceiveThreshold() const override { return buffer_.Threshold(); }
  void EndCharacter(std::optional<char> end) override { buffer_.EndCharacter(end); }
  std::optional<char> EndCharacter() const override { return buffer_.EndCharacter(); }
  void PortOpen(bool open) override;
  bool PortOpen() const override { return line_ != nullptr; }
  std::int32_t InBufferCount() const override { return buffer_.Readable(); }
  void ClearInput() override;
  std::optional<char> Input() override { return buffer_.Read(); }
  void Output(std::string_view bytes) override;
  std::string DeviceName() const override { return device_; }

 private:
  void Open();
  void Close();
  void LineGone(const std::string& why);
  void RequireClosed() const;

  Surroundings surroundings_;
  std::int16_t number_ = 1;
  std::string settings_ = "9600,n,8,1";
  std::string device_;
  ReceiveBuffer buffer_;
  std::shared_ptr<int> alive_ = std::make_shared<int>();  // for what is posted
  std::unique_ptr<Win32Line> line_;                       // the first to go: it feeds the buffer
};

}  // namespace tarn
