// What the monitor knows and what its keys do; drawing and the terminal are elsewhere.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "platform/console.hpp"
#include "platform/message_loop.hpp"
#include "server/tarn_scale_server.hpp"
#include "tools/tarnscale/event_watch.hpp"
#include "tools/tarnscale/monitor_view.hpp"
#include "tools/tarnscale/scale_commands.hpp"

namespace tarn::tool {

/// The loop and the server outlive it.
class MonitorModel {
 public:
  struct Options {
    std::string title;
    bool all = false;  ///< all 32 slots instead of the configured ones
  };

  MonitorModel(MessageLoop& loop, TarnScaleServer& server, Options options, WallClock clock);
  MonitorModel(const MonitorModel&) = delete;
  MonitorModel& operator=(const MonitorModel&) = delete;

  MonitorSnapshot Snapshot();
  /// False where the key asks for the end.
  bool HandleKey(Console::Key key, char character);
  /// A line among the events, with the time in front.
  void Note(std::string_view text);

  std::size_t RowCount() const { return slots_.size(); }

 private:
  static constexpr std::size_t kKeptEvents = 200;
  static constexpr double kMeasuringTime = 1000;  // milliseconds

  struct Slot {
    std::int16_t number = 0;
    std::shared_ptr<TarnScale> scale;  ///< none where it could not be restored
    bool failedToStart = false;
    std::optional<std::string> lastState;
    std::optional<Reading> reading;  ///< the latest weight, where no data follows each
    std::uint64_t messages = 0;
    std::uint64_t messagesBefore = 0;
    double readingsPerSecond = 0;
    Subscription onChanged;
  };

  void AddSlot(std::int16_t number, std::shared_ptr<TarnScale> scale);
  void CountMessages(Slot& slot);
  void MeasureRates();
  MonitorRow RowOf(const Slot& slot) const;
  void HandleEvent(const ScaleEvent& event);
  void TakeReading(const ScaleEvent& event);
  void NoteStateChange(Slot& slot, const ScaleEvent& event);

  void MoveSelection(int rows);
  bool HandleCharacter(char character);
  void HandlePromptKey(Console::Key key, char character);
  void Give(const ScaleCommand& command, double tare = 0);
  void GivePresetTare(const std::string& text);
  void Start();
  void Disable();
  /// Does something to the selected scale; what it throws becomes a line among the events.
  template <class Action>
  void WithSelected(std::string_view what, Action action);
  Slot* Selected();

  MessageLoop& loop_;
  Options options_;
  WallClock clock_;
  std::deque<Slot> slots_;  ///< its elements stay where they are
  std::size_t selected_ = 0;
  std::deque<std::string> events_;
  std::optional<std::string> tareText_;  ///< while the preset tare is asked for
  double measuredAt_ = 0;
  EventWatch watch_;
};

}  // namespace tarn::tool
