#include "protocols/framed_protocol.hpp"

#include <exception>
#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

void FramedProtocol::myScale(const std::shared_ptr<TarnScale>& scale) {
  Protocol::myScale(scale);
  myActivityTimer = scale ? scale->ActivityTimer() : nullptr;
  onTimedOut_ =
      myActivityTimer
          ? myActivityTimer->TimedOutEvent.Subscribe([this] { myActivityTimer_TimedOut(); })
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
  // Handlers of the record's events may replace this protocol or close the port.
  const auto self = shared_from_this();
  const auto port = Line().Port();
  while (port->InBufferCount() > 0) {
    const std::optional<char> character = port->Input();
    if (!character) break;
    if (IsStart(*character)) mvarRxBuffer.clear();
    mvarRxBuffer.push_back(*character);
    // The buffer is emptied first: a handler may wait, and let the next characters in meanwhile.
    if (IsEnd(*character)) TakeFrame(std::exchange(mvarRxBuffer, {}));
    if (mvarRxBuffer.size() > LongestFrame()) {
      mvarRxBuffer.clear();
      Record()->NoDataError(true);
    }
  }
}

void FramedProtocol::TakeFrame(const std::string& frame) {
  const auto scale = myScale();
  Required(scale, "The protocol has no scale");
  ParseFrame(frame, *Record());
  scale->ActivityLED(true);
  scale->watchdog(false);
}

void FramedProtocol::myActivityTimer_TimedOut() {
  Attempt([this](const TarnScale& scale) {
    if (!scale.Disabled() && !scale.ActivityLED()) AskAgain();
  });
}

void FramedProtocol::Attempt(const std::function<void(TarnScale& scale)>& work) {
  const auto self = shared_from_this();
  const auto scale = myScale();
  if (!scale) return;
  try {
    work(*scale);
  } catch (const std::exception& error) {
    System().Trace(scale->AliasName() + " was not asked for its weight: " + error.what());
  }
}

}  // namespace tarn
