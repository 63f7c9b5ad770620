#include "protocols/demand_template_protocol.hpp"

#include <utility>

#include "base/automation_error.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

void DemandTemplateProtocol::Connection(std::shared_ptr<_Connection> connection) {
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

void DemandTemplateProtocol::Connect() {
  const auto self = shared_from_this();
  Required(serialConnection_, "The protocol has no serial connection").ReceiveThresholdLength(1);
  const auto scale = myScale();
  Required(scale, "The protocol has no scale").ActivityTimeoutTime(0);
  scale->watchdog(false);
  scale->UpdateRate(0);
  scale->ActivityLED(false);
  scale->ErrorLED(false);
  mvarRecordStarted = false;
}

void DemandTemplateProtocol::P() {
  Required(mvarComPort, "The protocol has no serial connection").Output(DemandBytes());
}

void DemandTemplateProtocol::mvarComPort_Receive() {
  StartRecord();
  while (mvarComPort->InBufferCount() > 0) {
    if (const auto character = mvarComPort->Input()) mvarRxBuffer.push_back(*character);
  }
  TakeRecord();
}

}  // namespace tarn
