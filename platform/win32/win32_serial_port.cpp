#include "platform/win32/win32_serial_port.hpp"

#include <utility>

#include "base/automation_error.hpp"
#include "platform/serial_settings.hpp"

namespace tarn {

Win32SerialPort::Win32SerialPort(Surroundings surroundings)
    : surroundings_(std::move(surroundings)),
      buffer_(surroundings_.loop, [this] { Receive.Raise(); }) {}

void Win32SerialPort::PortNumber(std::int16_t number) {
  if (number != number_) RequireClosed();
  number_ = number;
}

void Win32SerialPort::Settings(std::string_view settings) {
  if (settings != settings_) RequireClosed();
  settings_ = settings;
}

void Win32SerialPort::PortOpen(bool open) {
  if (open == PortOpen()) return;
  if (open) {
    Open();
  } else {
    Close();
  }
}

void Win32SerialPort::Open() {
  const std::string device = surroundings_.deviceOf(number_);
  Win32OpenPort port =
      OpenWin32Port(surroundings_.openPorts, device, PortTitle(number_, device), settings_);
  buffer_.CharacterTime(ParseSerialSettings(settings_).CharacterTime());
  buffer_.Clear();
  line_ = std::make_unique<Win32Line>(
      surroundings_.loop, std::move(port),
      Win32Line::Listener{[this](std::string_view bytes) { buffer_.Arrived(bytes); },
                          [this](const std::string& why) { LineGone(why); }});
  device_ = device;
}

void Win32SerialPort::Close() {
  line_.reset();
  device_.clear();
  buffer_.Clear();
}

void Win32SerialPort::LineGone(const std::string& why) {
  const std::string title = PortTitle(number_, device_);
  Close();
  surroundings_.trace("The " + title + " went away: " + why);
  surroundings_.loop.Post([this, alive = std::weak_ptr<int>(alive_)] {
    if (!alive.expired() && !line_) Lost.Raise();
  });
}

void Win32SerialPort::ClearInput() {
  if (line_) line_->DiscardInput();
  buffer_.Clear();
}

void Win32SerialPort::Output(std::string_view bytes) {
  if (!line_)
    throw AutomationError(ErrorNumber::PortNotOpen,
                          "The " + PortTitle(number_, device_) + " is not open");
  if (line_->Queued() + bytes.size() > kMaxQueuedOutput) {
    throw AutomationError(ErrorNumber::DeviceInputOutput,
                          "The output queue of " + PortTitle(number_, device_) + " is full");
  }
  line_->Send(bytes);
}

void Win32SerialPort::RequireClosed() const {
  if (!PortOpen()) return;
  throw AutomationError(ErrorNumber::PortNotClosed,
                        "The " + PortTitle(number_, device_) + " is open");
}

}  // namespace tarn
