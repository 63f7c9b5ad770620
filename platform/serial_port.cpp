#include "platform/serial_port.hpp"

#include <utility>

#include "platform/serial_settings.hpp"

namespace tarn {
namespace {

/// A port that has only a device, as a tool opens it, has the number 0.
std::string Title(std::int16_t number, const std::string& device) {
  if (number == 0 && !device.empty()) return "The port " + device;
  return "The port " + std::to_string(number) + (device.empty() ? "" : " (" + device + ")");
}

std::string InUseText(const std::string& holder) {
  return holder.empty() ? " is in use, here or in another program" : " is in use by " + holder;
}

}  // namespace

SerialPort::SerialPort(LineSystem& system)
    : system_(system), buffer_(system.Loop(), [this] { Receive.Raise(); }) {}

void SerialPort::PortNumber(std::int16_t number) {
  if (number != number_) RequireClosed();
  number_ = number;
}

void SerialPort::Settings(std::string_view settings) {
  if (settings != settings_) RequireClosed();
  settings_ = settings;
}

void SerialPort::PortOpen(bool open) {
  if (open == PortOpen()) return;
  if (open)
    Open();
  else
    Close();
}

void SerialPort::Open() {
  const SerialSettings settings = ParseSerialSettings(settings_);
  const bool isSet = !deviceSetting_.empty() && !system_.IsNamed(number_);
  const std::string device = isSet ? deviceSetting_ : system_.DeviceOf(number_);
  std::unique_ptr<NativeLine> line;
  try {
    if (device.empty()) throw AutomationError(ErrorNumber::InvalidPort, "There is no such port");
    line = system_.Open(device, settings,
                        {[this](std::string_view bytes) { buffer_.Arrived(bytes); },
                         [this](const std::string& why) { LineLost(why); }});
  } catch (const AutomationError& error) {
    const bool inUse = error.Number() == ErrorNumber::PortInUse;
    throw AutomationError(error.Number(), Title(number_, device) +
                                              (inUse ? InUseText(system_.HolderOf(device))
                                                     : " does not open: " + error.Description()));
  }
  buffer_.CharacterTime(settings.CharacterTime());
  line_ = std::move(line);
  counted_ = {};
  device_ = device;
}

void SerialPort::Record(std::shared_ptr<LineRecord> record) {
  buffer_.Record(std::move(record));
}

void SerialPort::CountErrors() {
  if (!line_ || !buffer_.Record()) return;
  const PortErrors found = line_->Errors();
  if (found.parity < counted_.parity || found.framing < counted_.framing ||
      found.overrun < counted_.overrun) {
    return;  // the device is gone
  }
  buffer_.Record()->Count({.parity = found.parity - counted_.parity,
                           .framing = found.framing - counted_.framing,
                           .overrun = found.overrun - counted_.overrun});
  counted_ = found;
}

void SerialPort::Close() {
  CountErrors();
  line_.reset();
  device_.clear();
  buffer_.Clear();
}

void SerialPort::LineLost(const std::string& why) {
  lostText_ = Title(number_, device_) + " went away: " + why;
  Close();
  if (buffer_.Record()) buffer_.Record()->Failed(lostText_);
  system_.Loop().Post([this, alive = std::weak_ptr<int>(alive_)] {
    if (alive.expired()) return;
    if (line_)
      system_.Trace(lostText_);
    else
      Lost.Raise();
  });
}

void SerialPort::ClearInput() {
  if (line_) line_->DiscardInput();
  buffer_.Clear();
}

void SerialPort::Output(std::string_view bytes) {
  if (!line_) Refuse(ErrorNumber::PortNotOpen, "is not open");
  if (line_->Queued() + bytes.size() > kMaxQueuedOutput) {
    Refuse(ErrorNumber::DeviceInputOutput, "does not send: its output queue is full");
  }
  if (line_->Send(bytes)) {
    if (buffer_.Record()) buffer_.Record()->Left(bytes);
    return;
  }
  LineLost("it takes no output");
  Refuse(ErrorNumber::PortNotOpen, "went away");
}

void SerialPort::RequireClosed() const {
  if (line_) Refuse(ErrorNumber::PortNotClosed, "is open");
}

void SerialPort::Refuse(ErrorNumber number, const std::string& what) const {
  throw AutomationError(number, Title(number_, device_) + " " + what);
}

}  // namespace tarn
