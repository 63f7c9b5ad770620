#include "tools/tarnscale/single_scale.hpp"

#include "base/automation_error.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {

SingleScale::SingleScale(Program& program, int number)
    : OneScale(program), file_(program.Host(), program.Options().file) {
  file_.Load();
  file_.Scale(number);  // fails in words where there is none
  scale_ = file_.At(number);
  program.NoteUnusedPorts([this](std::int16_t n) { return file_.At(n); });
  file_.Site().Log().StoreEachLine(true);
  file_.Site().Log().Stream(program.OpenLog());
  file_.Site().Log().Enabled(!program.Options().log.empty());
  onPrint_ = scale_->PrintData()->NewWeight.Subscribe(
      [this] { TakePrint(ReadingOf(*scale_->PrintData())); });
  onWeight_ = scale_->WeightData()->NewWeight.Subscribe(
      [this] { TakeReading(ReadingOf(*scale_->WeightData())); });
  onRecord_ = scale_->TarnRecordTemplateData()->NewDataReady.Subscribe(
      [this] { TakeRecord(FieldsOf(*scale_->TarnRecordTemplateData())); });
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

bool SingleScale::CommandsFollowReadings() const {
  return scale_->Protocol()->CommandsFollowReadings();
}

std::string SingleScale::Hindrance(const ScaleCommand& command) const {
  return CommandHindrance(*scale_, command);
}

void SingleScale::Give(const ScaleCommand& command, double tare) {
  try {
    GiveCommand(*scale_, command, tare);
  } catch (const AutomationError& error) {
    throw Failure(Title() + ": " + error.what());
  }
}

}  // namespace tarn::tool
