#include "tools/tarnscale/event_table.hpp"

#include <algorithm>
#include <utility>

#include "scale/weight_data.hpp"
#include "tools/tarnscale/class_names.hpp"

namespace tarn::tool {

EventTable::EventTable(const MessageLoop& loop, const ScaleFile& file, std::string title,
                       WallClock clock)
    : LiveTable(std::move(title), std::move(clock)), loop_(loop), measuredAt_(loop.Now()) {
  for (int number = 1; number <= kScaleCount; ++number) {
    const auto scale = file.At(number);
    if (!scale || !IsConfigured(*scale, number)) continue;
    MonitorRow& row = slots_.emplace_back().row;
    row.number = number;
    row.alias = scale->AliasName();
    row.connection = ConnectionText(*scale);
    row.protocol = ProtocolText(*scale);
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
  return snapshot;
}

bool EventTable::HandleKey(Console::Key key, char character) {
  if (character == kControlC) return false;
  return HandleCommonKey(key, character) || character != 'q';
}

std::vector<std::string> EventTable::Help() const {
  return {"Up Down k j   select a row; Page and Home and End work, too",
          "[ ]           older and newer lines below the table", "q             quit"};
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
