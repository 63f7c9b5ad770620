#include "tools/tarnscale/monitor_model.hpp"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "tools/tarnscale/class_names.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/line_detail.hpp"
#include "tools/tarnscale/running_scales.hpp"
#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {
namespace {

using Key = Console::Key;
using Kind = ScaleEvent::Kind;

}  // namespace

MonitorModel::MonitorModel(MessageLoop& loop, TarnScaleServer& server, const Options& options,
                           const WallClock& clock)
    : OperatorTable(options.title, clock),
      loop_(loop),
      measuredAt_(loop.Now()),
      watch_(server, {}, clock, [this](const ScaleEvent& event) { HandleEvent(event); }) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    auto scale = server.GetScale(number);
    if (options.all || !scale || IsConfigured(*scale, number)) AddSlot(number, std::move(scale));
  }
  for (const ScaleEvent& event : FailureEvents(server.StartFailures(), Now())) {
    HandleEvent(event);
  }
  for (const StartFailure& failure : server.StartFailures()) {
    for (Slot& slot : slots_)
      slot.failedToStart |= slot.number == failure.number && !failure.isRetried;
  }
  if (const std::string hint = StartHint(server); !hint.empty()) Note(hint);
}

void MonitorModel::AddSlot(std::int16_t number, std::shared_ptr<TarnScale> scale) {
  Slot& slot = slots_.emplace_back();
  slot.number = number;
  slot.scale = std::move(scale);
  if (slot.scale) CountMessages(slot);
}

/// A protocol switches the activity lamp on with every valid message. The record's own event would
/// also count the reports of the watchdog.
void MonitorModel::CountMessages(Slot& slot) {
  slot.onChanged = slot.scale->PropertyChanged.Subscribe([&slot](std::string_view name) {
    if (name == "ActivityLED" && slot.scale->ActivityLED()) slot.rate.Count();
  });
}

void MonitorModel::MeasureRates() {
  const double now = loop_.Now();
  const double passed = now - measuredAt_;
  if (passed < RateMeter::kMeasuringTime) return;
  measuredAt_ = now;
  for (Slot& slot : slots_) slot.rate.Measure(passed);
}

// --- What is seen --------------------------------------------------------------------------

MonitorRow MonitorModel::RowOf(const Slot& slot) const {
  MonitorRow row;
  row.number = slot.number;
  if (!slot.scale) {
    row.condition = "not restored";
    return row;
  }
  const TarnScale& scale = *slot.scale;
  row.alias = scale.AliasName();
  row.connection = ConnectionText(scale);
  row.protocol = ProtocolText(scale);
  row.activityLed = scale.ActivityLED();
  row.reading = ReadingOf(scale);
  if (slot.reading && KeepsWeight(scale)) {
    const Reading condition = row.reading;
    row.reading = *slot.reading;
    row.reading.quality = condition.quality;
  }
  row.errorLed = scale.ErrorLED();
  row.readingsPerSecond = slot.rate.PerSecond();
  if (scale.Disabled())
    row.condition = IsConfigured(scale, slot.number) ? "disabled" : "not set up";
  else if (slot.failedToStart)
    row.condition = "not started";
  else
    row.condition = LineCondition(scale);
  return row;
}

MonitorSnapshot MonitorModel::Snapshot() {
  MeasureRates();
  MonitorSnapshot snapshot;
  for (const Slot& slot : slots_) snapshot.rows.push_back(RowOf(slot));
  Complete(snapshot);
  const Slot* selected = SelectedSlot();
  if (showsLine_ && selected != nullptr && selected->scale)
    snapshot.detail = LineDetail(*selected->scale);
  if (selected != nullptr) snapshot.prompt = Prompt(selected->number).value_or(snapshot.prompt);
  return snapshot;
}

void MonitorModel::HandleEvent(const ScaleEvent& event) {
  switch (event.kind) {
    case Kind::NewWeight:
      return TakeReading(event);
    case Kind::NewDataReady:
    case Kind::Variables:
      return NotePassing(event.scale, EventWords(event));
    case Kind::PrintRecord:
    case Kind::TimeoutError:
    case Kind::CommLossError:
    case Kind::InfoMessage:
    case Kind::StartFailure:
    case Kind::Condition:
      return Note(EventWords(event));
    default:
      return;  // the table shows it
  }
}

void MonitorModel::TakeReading(const ScaleEvent& event) {
  for (Slot& slot : slots_) {
    if (slot.number != event.scale || !KeepsWeight(*slot.scale)) continue;
    if (event.reading.net == kNoDataText) continue;
    slot.reading = event.reading;
    slot.reading->noData = false;
  }
}

// --- Keys -------------------------------------------------------------------------------------

bool MonitorModel::HandleKey(Key key, char character) {
  if (key == Key::Character && character == kControlC) return false;
  return HandlePromptKey(key, character) || HandleCommonKey(key, character) ||
         HandleCharacter(character);
}

bool MonitorModel::HandleCharacter(char character) {
  if (character == 'q') return false;
  if (character == 'i') showsLine_ = !showsLine_;
  if (character == 'e') Start();
  if (character == 'd') Disable();
  HandleCommandKey(character);
  return true;
}

std::vector<std::string> MonitorModel::Help() const {
  std::vector<std::string> lines = {
      "Up Down k j   select a scale; Page and Home and End work, too",
      "[ ]           older and newer lines below the table",
  };
  const std::vector<std::string> commands = CommandHelp();
  lines.insert(lines.end(), commands.begin(), commands.end());
  lines.insert(lines.end(), {
                                "e             enable and start, or start again",
                                "d             disable",
                                "i             the line of the selected scale, or no more",
                                "q             quit",
                                "",
                                "active        messages of the terminal come in",
                                "ERR           the terminal is silent, or what it sends is wrong",
                                "/s            messages a second",
                            });
  return lines;
}

MonitorModel::Slot* MonitorModel::SelectedSlot() {
  return slots_.empty() ? nullptr : &slots_[Selected()];
}

template <class Action>
void MonitorModel::WithSelected(std::string_view what, Action action) {
  Slot* slot = SelectedSlot();
  if (slot == nullptr) return;
  const auto scale = slot->scale;
  const std::string title = ScaleTitle(slot->number, scale ? scale->AliasName() : std::string());
  if (!scale) return Note(title + ": its entry in the settings file is damaged");
  try {
    Note(title + ": " + std::string(what) + action(*slot));
  } catch (const std::exception& error) {
    Note(title + ": " + std::string(what) + " failed: " + error.what());
  }
}

void MonitorModel::Give(const ScaleCommand& command, double tare) {
  WithSelected(command.name, [&](Slot& slot) -> std::string {
    const std::string hindrance = CommandHindrance(*slot.scale, command);
    if (!hindrance.empty()) return ": " + hindrance;
    GiveCommand(*slot.scale, command, tare);
    return GoesToTerminal(command.command) ? " sent" : " asked for";
  });
}

void MonitorModel::Start() {
  WithSelected("start", [](Slot& slot) -> std::string {
    slot.scale->StopScale();
    slot.scale->Disabled(false);
    slot.scale->RunScale();
    slot.failedToStart = false;
    slot.reading.reset();
    return "ed (the settings file stays as it is)";
  });
}

void MonitorModel::Disable() {
  WithSelected("disable", [](Slot& slot) -> std::string {
    slot.scale->StopScale();
    slot.scale->Disabled(true);
    return "d (the settings file stays as it is)";
  });
}

}  // namespace tarn::tool
