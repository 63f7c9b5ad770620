// What the protocols share that gather characters until a frame is whole, and that look after a
// line that has fallen silent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "protocols/serial_protocol.hpp"

namespace tarn {

class ActivityTimer;

/// The characters of the line are gathered from one event to the next. What stands in the buffer
/// when the end character comes is a frame; what grows too long without one is thrown away, and the
/// record shows no data. A complete frame, sound or not, is a sign of life for the scale.
class FramedProtocol : public SerialProtocol {
 public:
  using SerialProtocol::myScale;
  /// Also follows the scale's activity timer. The scale's own watchdog hears of a time-out first,
  /// so its lamp is out by then when nothing came.
  void myScale(const std::shared_ptr<TarnScale>& scale) override;
  /// Empties the buffer; every character wakes the protocol.
  void Connect() override;

 protected:
  using SerialProtocol::SerialProtocol;

  virtual bool IsStart(char /*character*/) const { return false; }
  virtual bool IsEnd(char character) const = 0;
  virtual std::size_t LongestFrame() const = 0;
  /// Milliseconds of silence until the scale looks after the line.
  virtual std::int32_t SilenceTime() const = 0;
  /// Files a frame, its start and end characters included. Lets no failure of the frame out.
  virtual void ParseFrame(const std::string& frame, tarn::WeightData& record) = 0;
  /// The line of an enabled scale is silent.
  virtual void AskAgain() = 0;

  /// Held while it is written to: a handler may take it from the protocol. Error 91 without one.
  std::shared_ptr<tarn::WeightData> Record() const;
  /// Does what an event of a timer is for, unless the scale is gone. A failure is traced and ends
  /// here: other scales and clients wait for the same event.
  void Attempt(const std::function<void(TarnScale& scale)>& work);

 private:
  void mvarComPort_Receive() final;
  void TakeFrame(const std::string& frame);
  void myActivityTimer_TimedOut();

  std::string mvarRxBuffer;
  std::shared_ptr<ActivityTimer> myActivityTimer;
  Subscription onTimedOut_;
};

}  // namespace tarn
