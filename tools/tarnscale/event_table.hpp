// A table of scales whose events come from another process, as lines of text.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message_loop.hpp"
#include "tools/tarnscale/live_table.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

/// The settings file says which scales there are and how they are connected; everything else is
/// what the lines say. The loop outlives the table.
class EventTable final : public LiveTable {
 public:
  EventTable(const MessageLoop& loop, const ScaleFile& file, std::string title, WallClock clock);

  MonitorSnapshot Snapshot() override;
  bool HandleKey(Console::Key key, char character) override;
  std::size_t RowCount() const override { return slots_.size(); }

  /// Takes an event as `tarnscale run --json` prints it. Any other line joins the list of events as
  /// it stands.
  void HandleLine(std::string_view line);

 private:
  static constexpr double kWeightTime = 2000;  // milliseconds

  struct Slot {
    MonitorRow row;
    RateMeter rate;
    double weightAt = 0;  ///< when the latest weight came
  };

  std::vector<std::string> Help() const override;
  void HandleEvent(const ScaleEvent& event);
  void TakeReading(Slot& slot, const Reading& reading);

  const MessageLoop& loop_;
  std::deque<Slot> slots_;
  double measuredAt_;
};

}  // namespace tarn::tool
