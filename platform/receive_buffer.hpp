// The receive side of a serial port: keeps the bytes that arrive and decides when to announce them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/line_record.hpp"
#include "platform/message_loop.hpp"

namespace tarn {

/// Real lines hand over their bytes in arbitrary pieces, down to one at a time. An adapter that
/// works in packets puts pauses of some 16 ms into the middle of a frame, and a busy machine longer
/// ones. A reader that is woken one byte before the end of a frame and drains what waits loses that
/// frame. So with an end character only whole frames are shown to the reader: what follows the last
/// end character is held back until the next one arrives. If none arrives, the bytes are shown as
/// they are once the line has been quiet for kQuietCharacters character times (at least kQuietFloor
/// milliseconds), or when more than a threshold's worth of bytes has waited for kHoldFactor such
/// times.
class ReceiveBuffer {
 public:
  static constexpr double kQuietCharacters = 4;
  static constexpr double kQuietFloor = 250;  // milliseconds
  static constexpr double kHoldFactor = 4;
  static constexpr std::size_t kMaxWaiting = 256U << 10U;  ///< bytes

  /// `announce` is called from the loop when bytes are to be read, never after the buffer has been
  /// destroyed; it may destroy the buffer.
  ReceiveBuffer(MessageLoop& loop, std::function<void()> announce);
  ReceiveBuffer(const ReceiveBuffer&) = delete;
  ReceiveBuffer& operator=(const ReceiveBuffer&) = delete;
  ~ReceiveBuffer();

  void Threshold(std::int16_t length);
  std::int16_t Threshold() const { return threshold_; }
  void EndCharacter(std::optional<char> end);
  std::optional<char> EndCharacter() const { return end_; }
  void CharacterTime(double milliseconds) { characterTime_ = milliseconds; }
  /// Where arriving bytes are counted; may be null.
  void Record(std::shared_ptr<LineRecord> record) { record_ = std::move(record); }
  const std::shared_ptr<LineRecord>& Record() const { return record_; }

  /// Takes in what the line delivered and announces it when due. Called from the loop. Beyond
  /// kMaxWaiting the oldest bytes are discarded.
  void Arrived(std::string_view bytes);

  std::int32_t Readable() const;
  std::optional<char> Read();
  void Clear();

 private:
  static constexpr std::size_t kCompactAt = 4096;

  bool Due() const;
  void Announce();
  void WatchQuiet();
  void QuietTick();
  double QuietTime() const;
  void DropRead();
  void DropBeyondBound();

  MessageLoop& loop_;
  std::function<void()> announce_;
  std::unique_ptr<Timer> quietTimer_;
  std::shared_ptr<LineRecord> record_;
  std::string bytes_;
  std::size_t front_ = 0;      ///< index of the first unread byte
  std::size_t readable_ = 0;   ///< index behind the last byte that may be read
  std::uint64_t changes_ = 0;  ///< counts what gives a reader something new to do
  std::int16_t threshold_ = 1;
  std::optional<char> end_;
  double characterTime_ = 1;
  double lastArrival_ = 0;
  double heldSince_ = 0;  ///< since when the bytes behind the last end character are held back
  bool announcing_ = false;
  std::shared_ptr<bool> alive_;  ///< false once destroyed, for an announcement under way
  Subscription quietSubscription_;
};

}  // namespace tarn
