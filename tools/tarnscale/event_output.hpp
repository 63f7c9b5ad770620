// Writes events as lines, and drops some when the reader is too slow.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "outlets/scale_event.hpp"

namespace tarn::tool {

/// Output must neither block the scales nor grow without bound. So a slow reader first loses
/// readings, since the next reading replaces each of them. It loses other events only when eight
/// times as much waits. When half of what waited has been read, a line reports how many were lost,
/// and readings go on.
class EventOutput {
 public:
  static constexpr std::size_t kReadingBound = 1U << 20U;  ///< bytes that wait at most
  static constexpr std::size_t kEventBound = 8U << 20U;

  /// As LineWriter::TryWrite.
  using TryWrite = std::function<bool(std::string_view bytes, std::size_t bound)>;

  /// `format` makes the line of an event, without its end.
  EventOutput(std::string (*format)(const ScaleEvent& event), TryWrite tryWrite);

  void Write(const ScaleEvent& event);
  /// Reports at the end what was lost and has not been reported yet.
  void ReportLost(WallTime time) { ReportLost(time, kEventBound); }

 private:
  static constexpr std::size_t kGoOnBound = kReadingBound / 2;

  bool IsLosing() const { return lostReadings_ > 0 || lostEvents_ > 0; }
  void ReportLost(WallTime time, std::size_t bound);
  bool WriteLine(const ScaleEvent& event, std::size_t bound);

  std::string (*format_)(const ScaleEvent& event);
  TryWrite tryWrite_;
  std::uint64_t lostReadings_ = 0;
  std::uint64_t lostEvents_ = 0;
};

}  // namespace tarn::tool
