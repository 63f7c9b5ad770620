#include "protocols/serial_protocol.hpp"

#include <utility>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

constexpr const char* kNoLine = "The protocol has no serial connection";

}  // namespace

SerialProtocol::SerialProtocol(ProtocolType type, ScaleSite& site)
    : Protocol(type),
      mvarDecimalSeparator(site.System().Locale().DecimalSeparator()),
      system_(site.System()) {}

void SerialProtocol::Connection(std::shared_ptr<_Connection> connection) {
  if (!connection) {
    onReceive_.Reset();
    mvarComPort.reset();
    serialConnection_.reset();
    return;
  }
  auto serial = std::dynamic_pointer_cast<SerialConnection>(std::move(connection));
  if (!serial) return;  // what was held before stays
  serialConnection_ = std::move(serial);
  mvarComPort = serialConnection_->SaxPort();
  onReceive_ = mvarComPort ? mvarComPort->Receive.Subscribe([this] { mvarComPort_Receive(); })
                           : Subscription();
}

SerialConnection& SerialProtocol::Line() const {
  return Required(serialConnection_, kNoLine);
}

void SerialProtocol::Send(std::string_view bytes) {
  Required(mvarComPort, kNoLine).Output(bytes);
}

}  // namespace tarn
