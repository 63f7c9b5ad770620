#include "protocols/serial_line.hpp"

#include <utility>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

constexpr const char* kNoLine = "The protocol has no serial connection";

}  // namespace

void SerialLine::Connection(std::shared_ptr<_Connection> connection) {
  if (!connection) {
    onReceive_.Reset();
    mvarComPort.reset();
    connection_.reset();
    return;
  }
  auto serial = std::dynamic_pointer_cast<SerialConnection>(std::move(connection));
  if (!serial) return;  // what was held before stays
  connection_ = std::move(serial);
  mvarComPort = connection_->SaxPort();
  onReceive_ = mvarComPort ? mvarComPort->Receive.Subscribe(receive_) : Subscription();
}

SerialConnection& SerialLine::Serial() const {
  return Required(connection_, kNoLine);
}

void SerialLine::Send(std::string_view bytes) const {
  Required(mvarComPort, kNoLine).Output(bytes);
}

}  // namespace tarn
