#include "tools/tarnscale/single_scale.hpp"

#include <algorithm>
#include <utility>

#include "base/automation_error.hpp"
#include "outlets/scale_commands.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {

SingleScale::SingleScale(Program& program, int number)
    : program_(program), file_(program.Host(), program.Options().file) {
  file_.Load();
  file_.Scale(number);  // fails in words where there is none
  scale_ = file_.At(number);
  program.NoteUnusedPorts([this](std::int16_t n) { return file_.At(n); });
  file_.Site().Log().StoreEachLine(true);
  file_.Site().Log().Stream(program.OpenLog());
  file_.Site().Log().Enabled(!program.Options().log.empty());
  onPrint_ = scale_->PrintData()->NewWeight.Subscribe(
      [this] { print_ = ReadingOf(*scale_->PrintData()); });
  onWeight_ = scale_->WeightData()->NewWeight.Subscribe([this] {
    Reading reading = ReadingOf(*scale_->WeightData());
    if (!reading.net.empty() && reading.net != kNoDataText) reading_ = std::move(reading);
  });
  onRecord_ = scale_->TarnRecordTemplateData()->NewDataReady.Subscribe(
      [this] { record_ = FieldsText(FieldsOf(*scale_->TarnRecordTemplateData())); });
  onInterrupted_ = program.Output().Interrupted.Subscribe([this] { interrupted_ = true; });
}

void SingleScale::Start() {
  try {
    scale_->RunScale();
  } catch (const AutomationError& error) {
    std::string text = Title() + ": " + error.what();
    if (error.Number() == ErrorNumber::PermissionDenied)
      text += "; on Linux your user must be in the device's group, usually dialout";
    throw Failure(text);
  }
}

void SingleScale::AwaitLine(double seconds) {
  // A network connection takes its time.
  WaitFor([this] { return LineCondition(*scale_).empty(); }, seconds);
  if (const std::string condition = LineCondition(*scale_); !condition.empty())
    throw Failure(Title() + ": nothing can be sent: " + condition, kTimedOut);
}

bool SingleScale::WaitFor(const std::function<bool()>& condition, double seconds) {
  program_.Host().Loop().RunUntil([&] { return interrupted_ || condition(); },
                                  static_cast<std::int32_t>(std::clamp(seconds * 1000, 1.0, 1e9)));
  return condition();
}

void SingleScale::Forget() {
  reading_.reset();
  print_.reset();
  record_.reset();
}

}  // namespace tarn::tool
