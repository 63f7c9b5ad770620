#include "tools/tarnscale/live_screen.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace tarn::tool {
namespace {

constexpr std::size_t kLargestFrame = 1U << 20U;

}  // namespace

LiveScreen::LiveScreen(Program& program, LiveTable& table, LineWriter& writer, int interval)
    : program_(program),
      table_(table),
      writer_(writer),
      timer_(program.Host().Loop().CreateTimer()) {
  program_.Trace([this](std::string_view text) { table_.Note(text); });
  program_.Output().ReadKeys();
  program_.Output().GuardScreen(kLeaveScreen);
  onKey_ = program_.Output().KeyPressed.Subscribe(
      [this](Console::Key key, char character) { HandleKey(key, character); });
  onTick_ = timer_->Tick.Subscribe([this] { Draw(); });
  timer_->Interval(interval);
  timer_->Enabled(true);
  writer_.TryWrite(kEnterScreen, kLargestFrame);
  Draw();
}

LiveScreen::~LiveScreen() {
  program_.Trace({});
  writer_.TryWrite(kLeaveScreen, 2 * kLargestFrame);
}

void LiveScreen::HandleKey(Console::Key key, char character) {
  if (table_.HandleKey(key, character))
    Draw();
  else
    program_.Host().Loop().Quit();
}

/// A terminal that has not taken the previous drawing yet gets the newest one later.
void LiveScreen::Draw() {
  if (!writer_.IsIdle() && drawn_) return;
  drawn_ = true;
  const Console::Size size = program_.Output().ScreenSize();
  const std::string frame = screen_.Update(DrawMonitor(table_.Snapshot(), size), size);
  if (!frame.empty()) writer_.TryWrite(frame, kLargestFrame);
}

}  // namespace tarn::tool
