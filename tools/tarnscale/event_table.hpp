// A table of scales whose events come from another process, as lines of text.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/message_loop.hpp"
#include "tools/tarnscale/operator_table.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

/// Which scales there are and how they are connected is known before; everything else is what the
/// events say. The loop outlives the table.
class EventTable final : public OperatorTable {
 public:
  struct Row {
    int number;
    std::string alias;
    std::string connection{};
    std::string protocol{};
  };
  /// The scales that a settings file sets up.
  static std::vector<Row> RowsOf(const ScaleFile& file);

  EventTable(const MessageLoop& loop, const std::vector<Row>& rows, std::string title,
             WallClock clock);

  using Giver = std::function<void(int scale, const ScaleCommand& command, double tare)>;
  /// From now on the keys of commands give them here.
  void OnCommand(Giver give) { give_ = std::move(give); }

  MonitorSnapshot Snapshot() override;
  bool HandleKey(Console::Key key, char character) override;
  std::size_t RowCount() const override { return slots_.size(); }

  /// Takes an event as `tarnscale run --json` prints it. Any other line joins the list of events as
  /// it stands.
  void HandleLine(std::string_view line);
  void HandleEvent(const ScaleEvent& event);
  /// No weight is live any more, for this reason.
  void Disconnected(const std::string& why);

 private:
  static constexpr double kWeightTime = 2000;  // milliseconds

  struct Slot {
    MonitorRow row;
    RateMeter rate;
    double weightAt = 0;  ///< when the latest weight came
  };

  std::vector<std::string> Help() const override;
  void Give(const ScaleCommand& command, double tare) override;
  void TakeReading(Slot& slot, const Reading& reading);

  const MessageLoop& loop_;
  Giver give_;
  std::deque<Slot> slots_;
  double measuredAt_;
};

}  // namespace tarn::tool
