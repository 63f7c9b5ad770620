#include "protocols/serial_protocol.hpp"

#include "scale/tarn_scale.hpp"

namespace tarn {

void SerialProtocol::NotUnderstood(ReadingCondition::Reject why) const {
  if (const auto scale = myScale()) scale->Condition()->Rejected(why);
  Trouble(ConditionReason::NotUnderstood);
}

void SerialProtocol::Trouble(ConditionReason reason) const {
  if (const auto scale = myScale()) scale->Condition()->Trouble(reason);
}

}  // namespace tarn
