#include "tools/tarnscale/event_table.hpp"

#include <algorithm>
#include <utility>

#include "scale/weight_data.hpp"
#include "tools/tarnscale/class_names.hpp"

namespace tarn::tool {

std::vector<EventTable::Row> EventTable::RowsOf(const ScaleFile& file) {
  std::vector<Row> rows;
  for (int number = 1; number <= kScaleCount; ++number) {
    const auto scale = file.At(number);
    if (!scale || !IsConfigured(*scale, number)) continue;
    rows.push_back({number, scale->AliasName(), ConnectionText(*scale), ProtocolText(*scale)});
  }
  return rows;
}

EventTable::EventTable(const MessageLoop& loop, const std::vector<Row>& rows, std::string title,
                       WallClock clock)
    : OperatorTable(std::move(title), std::move(clock)), loop_(loop), measuredAt_(loop.Now()) {
  for (const Row& known : rows) {
    MonitorRow& row = slots_.emplace_back().row;
    row.number = known.number;
    row.alias = known.alias;
    row.connection = known.connection;
    row.protocol = known.protocol;
    row.condition = "no event yet";
  }
}

MonitorSnapshot EventTable::Snapshot() {
  const double passed = loop_.Now() - measuredAt_;
  const bool measures = passed >= RateMeter::kMeasuringTime;
  if (measures) measuredAt_ += passed;
  MonitorSnapshot snapshot;
  for (Slot& slot : slots_) {
    if (measures) slot.rate.Measure(passed);
    slot.row.readingsPerSecond = slot.rate.PerSecond();
    snapshot.rows.push_back(slot.row);
  }
  Complete(snapshot);
  snapshot.prompt = "? help  q quit  j/k row  [ ] older and newer lines";
  if (!slots_.empty()) {
    const int selected = slots_[Selected()].row.number;
    snapshot.prompt = Prompt(selected).value_or(give_ ? "" : snapshot.prompt);
  }
  return snapshot;
}

bool EventTable::HandleKey(Console::Key key, char character) {
  if (character == kControlC) return false;
  if (HandlePromptKey(key, character) || HandleCommonKey(key, character)) return true;
  if (give_) HandleCommandKey(character);
  return character != 'q';
}

void EventTable::Give(const ScaleCommand& command, double tare) {
  give_(slots_[Selected()].row.number, command, tare);
}

std::vector<std::string> EventTable::Help() const {
  std::vector<std::string> lines = {"Up Down k j   select a row; Page and Home and End work, too",
                                    "[ ]           older and newer lines below the table"};
  const std::vector<std::string> commands = give_ ? CommandHelp() : std::vector<std::string>();
  lines.insert(lines.end(), commands.begin(), commands.end());
  lines.emplace_back("q             quit");
  return lines;
}

void EventTable::Disconnected(const std::string& why) {
  for (Slot& slot : slots_) {
    slot.row.reading.quality = Quality::Error;
    slot.row.condition = "no connection";
    slot.row.activityLed = false;
  }
  Note("no connection to the server: " + why);
}

void EventTable::HandleLine(std::string_view line) {
  if (const auto event = EventOfJson(line))
    HandleEvent(*event);
  else if (!line.empty())
    Note(line);
}

/// A fixed-layout scale ends every frame with "no data", so its weight stays for a moment.
void EventTable::TakeReading(Slot& slot, const Reading& reading) {
  const bool isWeight = reading.net != kNoDataText;
  if (isWeight) slot.weightAt = loop_.Now();
  if (isWeight || loop_.Now() - slot.weightAt >= kWeightTime) slot.row.reading = reading;
}

void EventTable::HandleEvent(const ScaleEvent& event) {
  using Kind = ScaleEvent::Kind;
  const auto slot = std::find_if(slots_.begin(), slots_.end(), [&event](const Slot& known) {
    return known.row.number == event.scale;
  });
  if (slot == slots_.end()) return Note(EventWords(event));
  MonitorRow& row = slot->row;
  row.condition.clear();
  switch (event.kind) {
    case Kind::NewWeight:
    case Kind::UpdateWeight:
      slot->rate.Count();
      [[fallthrough]];
    case Kind::StatusChange:
      return TakeReading(*slot, event.reading);
    case Kind::NewStatus:
      row.activityLed = event.activityLed;
      row.errorLed = event.errorLed;
      return;
    case Kind::Condition:
      row.reading.quality = event.reading.quality;
      return Note(EventWords(event));
    case Kind::NewDataReady:
    case Kind::Variables:
      slot->rate.Count();
      return NotePassing(event.scale, EventWords(event));
    default:
      Note(EventWords(event));
  }
}

}  // namespace tarn::tool
