// What is known of a line: what has passed through it, counted where it happens.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/line_tap.hpp"
#include "platform/message_loop.hpp"

namespace tarn {

/// Errors that the driver of a serial port has found in what it received. Where a system reports
/// flags and no numbers, each report counts once.
struct PortErrors {
  std::uint64_t parity = 0;
  std::uint64_t framing = 0;
  std::uint64_t overrun = 0;
};

struct LineCounters {
  std::uint64_t bytesIn = 0;
  std::uint64_t bytesOut = 0;
  std::uint64_t frames = 0;
  std::uint64_t rejectedLength = 0;    ///< frames of another length than the dialect's
  std::uint64_t rejectedParse = 0;     ///< frames whose contents are not understood
  std::uint64_t rejectedOverflow = 0;  ///< bytes without an end, dropped
  std::uint64_t rejectedTimeout = 0;   ///< records without an end, replies that did not come
  std::uint64_t parityErrors = 0;
  std::uint64_t framingErrors = 0;
  std::uint64_t overrunErrors = 0;
  std::uint64_t reopenings = 0;  ///< links that broke and were connected again
  std::uint64_t commandsSent = 0;
  std::uint64_t commandsAnswered = 0;  ///< where the dialect has answers
};

struct LineCounterRow {
  std::string_view name;  ///< for programs and people
  std::uint64_t LineCounters::*member;
};
/// In the order of the numbers under which clients know them, from 0.
inline constexpr std::array kLineCounters = {
    LineCounterRow{"bytesIn", &LineCounters::bytesIn},
    LineCounterRow{"bytesOut", &LineCounters::bytesOut},
    LineCounterRow{"frames", &LineCounters::frames},
    LineCounterRow{"rejectedLength", &LineCounters::rejectedLength},
    LineCounterRow{"rejectedParse", &LineCounters::rejectedParse},
    LineCounterRow{"rejectedOverflow", &LineCounters::rejectedOverflow},
    LineCounterRow{"rejectedTimeout", &LineCounters::rejectedTimeout},
    LineCounterRow{"parityErrors", &LineCounters::parityErrors},
    LineCounterRow{"framingErrors", &LineCounters::framingErrors},
    LineCounterRow{"overrunErrors", &LineCounters::overrunErrors},
    LineCounterRow{"reopenings", &LineCounters::reopenings},
    LineCounterRow{"commandsSent", &LineCounters::commandsSent},
    LineCounterRow{"commandsAnswered", &LineCounters::commandsAnswered},
};

/// One for each scale; the port or socket that serves the scale holds it too. Used on the loop's
/// thread only. Times are milliseconds of the loop's clock, below 0 for what has not happened.
class LineRecord {
 public:
  static constexpr std::size_t kRecent = 256;  ///< bytes
  static constexpr std::size_t kLongestError = 256;

  explicit LineRecord(MessageLoop& loop) : loop_(loop) {}
  LineRecord(const LineRecord&) = delete;
  LineRecord& operator=(const LineRecord&) = delete;

  /// Every byte that a line receives passes here, piece by piece as it came and before anybody
  /// reads it, and every byte that is sent passes Left. Nothing else counts bytes.
  void Entered(std::string_view bytes, double now) {
    lastArrival_ = now;
    if (tap_) tap_->Arrived(bytes);
    withoutFrameCount_ = total.frames == framesAtArrival_ ? withoutFrameCount_ + bytes.size() : 0;
    framesAtArrival_ = total.frames;
    Keep(bytes);
  }
  void Left(std::string_view bytes) {
    total.bytesOut += bytes.size();
    if (tap_) tap_->Sent(bytes);
  }
  /// From now on the tap sees what passes; null for none.
  void Tap(std::shared_ptr<LineTap> tap) { tap_ = std::move(tap); }

  /// Called now and then, so that the port need not be asked for its errors with every piece.
  void Count(const PortErrors& more) {
    if (std::exchange(framesAtCount_, total.frames) != total.frames) withoutFrame_ = {};
    withoutFrame_.parity += more.parity;
    withoutFrame_.framing += more.framing;
    total.parityErrors += more.parity;
    total.framingErrors += more.framing;
    total.overrunErrors += more.overrun;
  }
  /// What went wrong, in the words of the trace.
  void Failed(std::string what) {
    lastError_ = std::move(what);
    if (lastError_.size() > kLongestError) lastError_.resize(kLongestError);
    lastErrorAt_ = loop_.Now();
  }

  /// The latest bytes that came in pieces without a frame, not more than kRecent.
  std::string BytesWithoutFrame() const {
    return total.frames == framesAtArrival_ ? Latest(withoutFrameCount_) : std::string();
  }
  /// The latest bytes that came, not more than kRecent.
  std::string Latest(std::uint64_t most) const {
    const std::uint64_t count = std::min({most, total.bytesIn, std::uint64_t{kRecent}});
    std::string bytes;
    for (std::uint64_t i = total.bytesIn - count; i < total.bytesIn; ++i) {
      bytes += recent_[i % kRecent];
    }
    return bytes;
  }
  /// Errors of the port since a frame was last seen to come.
  const PortErrors& ErrorsWithoutFrame() const { return withoutFrame_; }

  double Now() const { return loop_.Now(); }
  double LastArrival() const { return lastArrival_; }
  const std::string& LastError() const { return lastError_; }
  double LastErrorAt() const { return lastErrorAt_; }

  void Reset() { atReset_ = total; }
  LineCounters SinceReset() const {
    LineCounters since = total;
    for (const LineCounterRow& row : kLineCounters) since.*row.member -= atReset_.*row.member;
    return since;
  }

  LineCounters total;  ///< since the start; incremented where the thing happens

 private:
  void Keep(std::string_view bytes) {
    if (bytes.empty()) return;
    total.bytesIn += bytes.size();
    if (bytes.size() > kRecent) bytes.remove_prefix(bytes.size() - kRecent);
    const std::size_t place = (total.bytesIn - bytes.size()) % kRecent;
    const std::size_t first = std::min(bytes.size(), kRecent - place);
    std::memcpy(recent_.data() + place, bytes.data(), first);
    std::memcpy(recent_.data(), bytes.data() + first, bytes.size() - first);
  }

  MessageLoop& loop_;
  std::shared_ptr<LineTap> tap_;
  LineCounters atReset_;
  std::array<char, kRecent> recent_{};   ///< the byte of number n at n % kRecent
  std::uint64_t withoutFrameCount_ = 0;  ///< bytes in pieces without a frame
  std::uint64_t framesAtArrival_ = 0;
  std::uint64_t framesAtCount_ = 0;
  PortErrors withoutFrame_;
  double lastArrival_ = -1;
  std::string lastError_;
  double lastErrorAt_ = -1;
};

}  // namespace tarn
