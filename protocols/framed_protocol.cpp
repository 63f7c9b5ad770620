#include "protocols/framed_protocol.hpp"

#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "platform/attempt.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

void FramedProtocol::myScale(const std::shared_ptr<TarnScale>& scale) {
  Protocol::myScale(scale);
  myActivityTimer = scale ? scale->ActivityTimer() : nullptr;
  onTimedOut_ = myActivityTimer ? myActivityTimer->TimedOutEvent.Subscribe(
                                      this, &FramedProtocol::myActivityTimer_TimedOut)
                                : Subscription();
}

void FramedProtocol::Connect() {
  SerialConnection& serial = Line().Serial();
  const auto scale = myScale();
  serial.ReceiveThresholdLength(1);
  Required(scale, "The protocol has no scale").ActivityTimeoutTime(SilenceTime());
  mvarRxBuffer.clear();
}

std::shared_ptr<WeightData> FramedProtocol::Record() const {
  Required(mvarWeightData, "The protocol has no weight record");
  return mvarWeightData;
}

void FramedProtocol::mvarComPort_Receive() {
  const auto port = Line().Port();
  while (port->InBufferCount() > 0) {
    const std::optional<char> character = port->Input();
    if (!character) break;
    if (IsStart(*character)) mvarRxBuffer.clear();
    mvarRxBuffer.push_back(*character);
    // The buffer is emptied first: a handler may wait in the loop, and more characters may arrive.
    if (IsEnd(*character)) TakeFrame(std::exchange(mvarRxBuffer, {}));
    if (mvarRxBuffer.size() > LongestFrame()) {
      mvarRxBuffer.clear();
      NotUnderstood(ReadingCondition::Reject::Overflow);
      Record()->NoDataError(true);
    }
  }
}

void FramedProtocol::TakeFrame(const std::string& frame) {
  const auto scale = myScale();
  Required(scale, "The protocol has no scale").Condition()->FrameTaken();
  ParseFrame(frame, *Record());
  scale->ActivityLED(true);
  scale->watchdog(false);
}

void FramedProtocol::myActivityTimer_TimedOut() {
  Ask([this](const TarnScale& scale) {
    if (!scale.ActivityLED()) AskAgain();
  });
}

void FramedProtocol::Ask(const std::function<void(const TarnScale& scale)>& ask) {
  const auto scale = myScale();
  // A scale that is disabled while it runs keeps its timers, but not its line.
  if (!scale || scale->Disabled()) return;
  Attempt(System(), scale->Title() + ": it was not asked for its weight", [&] { ask(*scale); });
}

}  // namespace tarn
