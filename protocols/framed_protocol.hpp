// The common part of the protocols that gather characters until a frame is complete, and that query
// a line that has fallen silent.
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

/// Characters are gathered across events of the line. The contents of the buffer up to the end
/// character are a frame; a buffer that grows too long without one is discarded, and the record
/// then shows no data. Every complete frame, valid or not, counts as activity of the scale.
class FramedProtocol : public SerialProtocol {
 public:
  using SerialProtocol::myScale;
  /// Also subscribes to the scale's activity timer. The scale's own watchdog is notified first, so
  /// its activity lamp is already off when nothing has arrived.
  void myScale(const std::shared_ptr<TarnScale>& scale) override;
  /// Empties the buffer, and asks the port for an event with every character.
  void Connect() override;

 protected:
  using SerialProtocol::SerialProtocol;

  virtual bool IsStart(char /*character*/) const { return false; }
  virtual bool IsEnd(char character) const = 0;
  virtual std::size_t LongestFrame() const = 0;
  /// Milliseconds of silence until AskAgain is called.
  virtual std::int32_t SilenceTime() const = 0;
  /// Stores a frame, start and end characters included, in the record. Catches what fails in it.
  virtual void ParseFrame(const std::string& frame, tarn::WeightData& record) = 0;
  /// The line of an enabled scale is silent.
  virtual void AskAgain() = 0;

  /// The weight record, to be held while it is written, since a handler may take it away from the
  /// protocol. Error 91 without one.
  std::shared_ptr<tarn::WeightData> Record() const;
  /// Asks the terminal of an enabled scale, from an event of a timer. A failure is traced and goes
  /// no further: other scales and clients wait for the same event.
  void Ask(const std::function<void(const TarnScale& scale)>& ask);

 private:
  void mvarComPort_Receive() final;
  void TakeFrame(const std::string& frame);
  void myActivityTimer_TimedOut();

  std::string mvarRxBuffer;
  std::shared_ptr<ActivityTimer> myActivityTimer;
  Subscription onTimedOut_;
};

}  // namespace tarn
