// How good the present reading of a scale is, why, and what to do about it.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"

namespace tarn {

/// The numbers are published.
enum class Quality : std::int32_t {
  Off = 0,    ///< the scale does not run
  Good = 1,   ///< the reading is live
  Stale = 2,  ///< there is no reading yet, or the last one is too old
  Error = 3,  ///< the link is broken, or what the terminal sends is no reading
};

/// The numbers are published; new ones follow at the end.
enum class ConditionReason : std::int32_t {
  None = 0,
  Disabled,
  Stopped,
  NoConnection,
  NotStarted,
  Waiting,
  NoByte,
  NoFrame,
  NoWeight,
  NotUnderstood,
  TerminalError,
  VariableUnknown,
  RecordIncomplete,
  PortGone,
  PortMissing,
  PortBusy,
  NoPermission,
  BadSettings,
  LineFailed,
  Connecting,
  NameUnknown,
  Refused,
  Unreachable,
  ConnectionLost,
  LocalPortBusy,
};

/// The words for programs: "good", "NoByte".
std::string_view QualityName(Quality quality);
std::string_view ReasonName(ConditionReason reason);
/// Nothing for a word that no quality has.
std::optional<Quality> QualityNamed(std::string_view name);
/// What to do, without what changes from second to second.
std::string_view ReasonWords(ConditionReason reason);
/// The reason that stands for an error of a port or socket.
ConditionReason ReasonOf(ErrorNumber number);

/// What a connection knows of its link.
struct LinkState {
  /// False for a connection that cannot say whether its link is open, a client's for one.
  bool known = false;
  /// Why the link is not open; None where it is.
  ConditionReason fault = ConditionReason::None;
  /// Why nothing may arrive although the link is open: a datagram could not be delivered.
  ConditionReason suspicion = ConditionReason::None;
  /// When the link is tried again, by the loop's clock; below 0 where nobody tries.
  double retryAt = -1;
  /// What silence may mean, in words.
  std::string_view silence = {};
};

struct Condition {
  Quality quality = Quality::Off;
  ConditionReason reason = ConditionReason::Stopped;
  std::string words;  ///< what is the matter and what to do; empty while all is well
  /// Milliseconds since the last byte of the latest reading's frame; none before the first one.
  std::optional<double> age;
  /// When that was, by the clock of the wall at the moment of asking.
  std::optional<std::chrono::system_clock::time_point> readAt;
  double readingsPerSecond = 0;
};

}  // namespace tarn
