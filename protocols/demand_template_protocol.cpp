#include "protocols/demand_template_protocol.hpp"

#include "base/automation_error.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

void DemandTemplateProtocol::Connect() {
  line_.Serial().ReceiveThresholdLength(1);
  const auto scale = myScale();
  Required(scale, "The protocol has no scale").ActivityTimeoutTime(0);
  scale->watchdog(false);
  scale->UpdateRate(0);
  scale->ActivityLED(false);
  scale->ErrorLED(false);
  mvarRecordStarted = false;
}

void DemandTemplateProtocol::P() {
  line_.Send(DemandBytes());
}

void DemandTemplateProtocol::mvarComPort_Receive() {
  const auto port = line_.Port();
  while (port->InBufferCount() > 0) {
    if (const auto character = port->Input()) mvarRxBuffer.push_back(*character);
  }
  TakeRecord();
}

}  // namespace tarn
