// The table of the monitor: what it shows of a running server and what its keys do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "outlets/event_watch.hpp"
#include "platform/console.hpp"
#include "platform/message_loop.hpp"
#include "server/tarn_scale_server.hpp"
#include "tools/tarnscale/operator_table.hpp"

namespace tarn::tool {

/// The loop and the server outlive it.
class MonitorModel final : public OperatorTable {
 public:
  struct Options {
    std::string title;
    bool all = false;  ///< all 32 slots instead of the configured ones
  };

  MonitorModel(MessageLoop& loop, TarnScaleServer& server, const Options& options,
               const WallClock& clock);

  MonitorSnapshot Snapshot() override;
  bool HandleKey(Console::Key key, char character) override;
  std::size_t RowCount() const override { return slots_.size(); }

 private:
  struct Slot {
    std::int16_t number = 0;
    std::shared_ptr<TarnScale> scale;  ///< null when it could not be restored
    bool failedToStart = false;
    std::optional<Reading> reading;  ///< the latest weight, where no data follows each
    RateMeter rate;
    Subscription onChanged;
  };

  void AddSlot(std::int16_t number, std::shared_ptr<TarnScale> scale);
  void CountMessages(Slot& slot);
  void MeasureRates();
  MonitorRow RowOf(const Slot& slot) const;
  void HandleEvent(const ScaleEvent& event);
  void TakeReading(const ScaleEvent& event);

  std::vector<std::string> Help() const override;
  bool HandleCharacter(char character);
  void Give(const ScaleCommand& command, double tare) override;
  void Start();
  void Disable();
  /// Runs the action on the selected scale. An exception becomes a line among the events.
  template <class Action>
  void WithSelected(std::string_view what, Action action);
  Slot* SelectedSlot();

  MessageLoop& loop_;
  std::deque<Slot> slots_;  ///< its elements stay where they are
  bool showsLine_ = false;  ///< of the selected scale
  double measuredAt_ = 0;
  EventWatch watch_;
};

}  // namespace tarn::tool
