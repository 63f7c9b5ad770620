// Keeps a live table on the terminal and hands it the keys.
#pragma once

#include <memory>

#include "base/event.hpp"
#include "platform/line_writer.hpp"
#include "tools/tarnscale/live_table.hpp"
#include "tools/tarnscale/program.hpp"
#include "tools/tarnscale/screen.hpp"

namespace tarn::tool {

/// Has the whole screen from its constructor to its destructor. All that it refers to outlives it.
class LiveScreen {
 public:
  /// Draws at most every `interval` milliseconds.
  LiveScreen(Program& program, LiveTable& table, LineWriter& writer, int interval);
  LiveScreen(const LiveScreen&) = delete;
  LiveScreen& operator=(const LiveScreen&) = delete;
  ~LiveScreen();

 private:
  void HandleKey(Console::Key key, char character);
  void Draw();

  Program& program_;
  LiveTable& table_;
  LineWriter& writer_;
  Screen screen_;
  bool drawn_ = false;
  std::unique_ptr<Timer> timer_;
  Subscription onKey_;
  Subscription onTick_;
};

}  // namespace tarn::tool
