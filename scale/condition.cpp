#include "scale/condition.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace tarn {
namespace {

using enum ConditionReason;

constexpr std::array<std::string_view, 4> kQualities = {"off", "good", "stale", "error"};

struct ReasonRow {
  ConditionReason reason;
  std::string_view name;
  std::string_view words;
};
constexpr std::array kReasons = {
    ReasonRow{None, "None", ""},
    ReasonRow{Disabled, "Disabled", "the scale is disabled"},
    ReasonRow{Stopped, "Stopped", "the scale is stopped"},
    ReasonRow{NoConnection, "NoConnection", "no connection is configured"},
    ReasonRow{NotStarted, "NotStarted", "the scale did not start"},
    ReasonRow{Waiting, "Waiting", "waits for the first reading"},
    ReasonRow{NoByte, "NoByte", "no byte"},
    ReasonRow{NoFrame, "NoFrame", "bytes arrive but no frame"},
    ReasonRow{NoWeight, "NoWeight", "frames arrive, but none with a weight: check the dialect"},
    ReasonRow{NotUnderstood, "NotUnderstood",
              "what arrives is not understood: check the dialect and the line settings"},
    ReasonRow{TerminalError, "TerminalError", "the terminal answers with an error"},
    ReasonRow{VariableUnknown, "VariableUnknown",
              "terminal answers, variable unknown: check the terminal's type and scale letter"},
    ReasonRow{RecordIncomplete, "RecordIncomplete",
              "a record did not end in time: check the template"},
    ReasonRow{PortGone, "PortGone", "port gone"},
    ReasonRow{PortMissing, "PortMissing", "there is no such port: check its number"},
    ReasonRow{PortBusy, "PortBusy", "the port is in use, here or in another program"},
    ReasonRow{NoPermission, "NoPermission", "no permission to open the port"},
    ReasonRow{BadSettings, "BadSettings", "the port refuses the line settings"},
    ReasonRow{LineFailed, "LineFailed", "the line failed"},
    ReasonRow{Connecting, "Connecting", "connecting to the terminal"},
    ReasonRow{NameUnknown, "NameUnknown",
              "the name of the terminal does not resolve: check it, or the name server"},
    ReasonRow{Refused, "Refused",
              "the terminal's address answers, its port is closed: check terminal and address"},
    ReasonRow{Unreachable, "Unreachable",
              "the terminal cannot be reached: network, terminal off, or wrong address"},
    ReasonRow{ConnectionLost, "ConnectionLost", "the terminal has closed the connection"},
    ReasonRow{LocalPortBusy, "LocalPortBusy", "the local network port is in use"},
};

constexpr bool InOrder() {
  for (std::size_t i = 0; i < kReasons.size(); ++i) {
    if (static_cast<std::size_t>(kReasons[i].reason) != i) return false;
  }
  return true;
}
static_assert(InOrder());

const ReasonRow& RowOfReason(ConditionReason reason) {
  return kReasons.at(static_cast<std::size_t>(reason));
}

}  // namespace

std::string_view QualityName(Quality quality) {
  return kQualities.at(static_cast<std::size_t>(quality));
}

std::optional<Quality> QualityNamed(std::string_view name) {
  const auto found = std::find(kQualities.begin(), kQualities.end(), name);
  if (found == kQualities.end()) return std::nullopt;
  return static_cast<Quality>(found - kQualities.begin());
}

std::string_view ReasonName(ConditionReason reason) {
  return RowOfReason(reason).name;
}

std::string_view ReasonWords(ConditionReason reason) {
  return RowOfReason(reason).words;
}

/// Above 10000 stand the numbers of the network.
ConditionReason ReasonOf(ErrorNumber number) {
  switch (static_cast<int>(number)) {
    case 8002:
      return PortMissing;
    case 8005:
      return PortBusy;
    case 70:
    case 10013:
      return NoPermission;
    case 380:
      return BadSettings;
    case 10048:
      return LocalPortBusy;
    case 10053:
    case 10054:
      return ConnectionLost;
    case 10061:
      return Refused;
    case 10049:
    case 10050:
    case 10051:
    case 10060:
    case 10065:
      return Unreachable;
    case 11001:
    case 11002:
    case 11003:
    case 11004:
      return NameUnknown;
    default:
      return LineFailed;
  }
}

}  // namespace tarn
