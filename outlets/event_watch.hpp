// Subscribes to a server and its scales and reports what happens as values.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "base/event.hpp"
#include "outlets/scale_event.hpp"
#include "server/tarn_scale_server.hpp"

namespace tarn {

/// Its handlers only copy the records and pass the copies on. Follows scales that a reload
/// replaces.
class EventWatch {
 public:
  using Sink = std::function<void(const ScaleEvent& event)>;

  struct Selection {
    bool readingsOnly = false;  ///< NewWeight, PrintRecord; records and variables
    bool updates = false;       ///< UpdateWeight too
  };

  EventWatch(TarnScaleServer& server, Selection selection, WallClock clock, Sink sink);

  /// Reports the present condition of a scale, changed or not.
  void ReportCondition(std::int16_t number);

 private:
  using Subscriptions = std::vector<Subscription>;

  void Watch(std::int16_t number);
  void WatchRecord(TarnScale& scale, Subscriptions& subscriptions);
  void WatchVariables(TarnScale& scale, Subscriptions& subscriptions);
  void TellReading(ScaleEvent::Kind kind, const TarnScale& scale);
  void TellPrint(const TarnScale& scale);
  void TellCondition(const TarnScale& scale);
  void TellRecord(const TarnScale& scale);
  void TellVariables(const TarnScale& scale, std::vector<Field>& former);
  void TellStatus(ScaleEvent::Kind kind, const TarnScale& scale);
  ScaleEvent EventOf(ScaleEvent::Kind kind, const TarnScale& scale) const;

  WallClock clock_;
  Sink sink_;
  TarnScaleServer& server_;
  Selection selection_;
  std::array<std::vector<Subscription>, kScaleCount> ofScale_;
  std::vector<Subscription> subscriptions_;
};

/// Returns the failures of a start as events.
std::vector<ScaleEvent> FailureEvents(const std::vector<StartFailure>& failures, WallTime time);

}  // namespace tarn
