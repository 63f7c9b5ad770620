// Events as lines of the output, and what becomes of them when the reader is slow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "tools/tarnscale/scale_event.hpp"

namespace tarn::tool {

/// Output must neither block the scales nor grow without bound. So a slow reader first loses
/// readings, since the next one makes each of them old; other events only when eight times as much
/// waits. Both are counted. Readings go on once half of what waited is read, behind a line that
/// says how many were lost.
class EventOutput {
 public:
  static constexpr std::size_t kReadingBound = 1U << 20U;  ///< bytes that wait at most
  static constexpr std::size_t kEventBound = 8U << 20U;

  /// As LineWriter::TryWrite.
  using TryWrite = std::function<bool(std::string_view bytes, std::size_t bound)>;

  EventOutput(bool json, TryWrite tryWrite);

  void Write(const ScaleEvent& event);
  /// Says at the end what was lost and not reported yet.
  void TellLost(WallTime time) { TellLost(time, kEventBound); }

 private:
  static constexpr std::size_t kGoOnBound = kReadingBound / 2;

  bool IsLosing() const { return lostReadings_ > 0 || lostEvents_ > 0; }
  void TellLost(WallTime time, std::size_t bound);
  bool WriteLine(const ScaleEvent& event, std::size_t bound);

  bool json_;
  TryWrite tryWrite_;
  std::uint64_t lostReadings_ = 0;
  std::uint64_t lostEvents_ = 0;
};

}  // namespace tarn::tool
