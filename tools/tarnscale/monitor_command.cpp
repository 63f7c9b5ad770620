// monitor: shows the scales of a settings file live in a terminal.
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/line_writer.hpp"
#include "tools/tarnscale/commands.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/live_output.hpp"
#include "tools/tarnscale/monitor_model.hpp"
#include "tools/tarnscale/screen.hpp"

namespace tarn::tool {
namespace {

constexpr std::size_t kLargestFrame = 1U << 20U;

/// The monitor on its screen, from entering it to leaving it.
class LiveMonitor {
 public:
  LiveMonitor(Program& program, MonitorModel& model, LineWriter& writer, int interval)
      : program_(program),
        model_(model),
        writer_(writer),
        timer_(program.Host().Loop().CreateTimer()) {
    program_.Trace([this](std::string_view text) { model_.Note(text); });
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
  LiveMonitor(const LiveMonitor&) = delete;
  LiveMonitor& operator=(const LiveMonitor&) = delete;
  ~LiveMonitor() {
    program_.Trace({});
    writer_.TryWrite(kLeaveScreen, 2 * kLargestFrame);
  }

 private:
  void HandleKey(Console::Key key, char character) {
    if (model_.HandleKey(key, character))
      Draw();
    else
      program_.Host().Loop().Quit();
  }

  /// A terminal that has not taken the drawing before yet gets the newest one later.
  void Draw() {
    if (!writer_.IsIdle() && drawn_) return;
    drawn_ = true;
    const Console::Size size = program_.Output().ScreenSize();
    const std::string frame = screen_.Update(DrawMonitor(model_.Snapshot(), size), size);
    if (!frame.empty()) writer_.TryWrite(frame, kLargestFrame);
  }

  Program& program_;
  MonitorModel& model_;
  LineWriter& writer_;
  Screen screen_;
  bool drawn_ = false;
  std::unique_ptr<Timer> timer_;
  Subscription onKey_;
  Subscription onTick_;
};

void Monitor(Program& program, const MonitorOptions& options, TarnScaleServer& server,
             LineWriter& writer) {
  const std::string& file = program.Options().file;
  MonitorModel model(program.Host().Loop(), server,
                     {.title = "tarnscale " + file, .all = options.all},
                     std::chrono::system_clock::now);
  if (model.RowCount() == 0) {
    throw Failure("no scale of '" + Printable(file) +
                  "' is configured: configure one with tarnscale set, or see all with --all");
  }
  const LiveMonitor live(program, model, writer, options.interval);
  KeepConnected(server);
  RunLoop(program, options.seconds);
}

}  // namespace

int MonitorCommand(Program& program, const MonitorOptions& options) {
  if (!program.Output().IsTerminal()) {
    return RunCommand(program, {.readingsOnly = true, .seconds = options.seconds});
  }
  auto connection = program.StartServer();
  LineWriter writer([&program](std::string_view bytes) { program.Output().Write(bytes); });
  std::int32_t any = 0;
  Monitor(program, options, *connection->TarnScaleServer(any), writer);
  connection.reset();
  FinishOutput(program, writer, kSuccess);
  return kSuccess;
}

}  // namespace tarn::tool
