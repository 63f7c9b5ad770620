#include "outlets/scale_event.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <utility>

#include "base/number_text.hpp"
#include "platform/utf8.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {
namespace {

using Kind = ScaleEvent::Kind;

/// The names for programs are those of the published events; the words are for people.
struct KindNames {
  Kind kind;
  const char* name;
  const char* word;
};
constexpr std::array kKinds = {
    KindNames{Kind::NewWeight, "NewWeight", "weight"},
    KindNames{Kind::StatusChange, "StatusChange", "status"},
    KindNames{Kind::PrintRecord, "PrintRecord", "print"},
    KindNames{Kind::NewStatus, "NewStatus", "lamps"},
    KindNames{Kind::UpdateWeight, "UpdateWeight", "update"},
    KindNames{Kind::NewDataReady, "NewDataReady", "record"},
    KindNames{Kind::TimeoutError, "TimeoutError", "record not complete in time"},
    KindNames{Kind::Variables, "Variables", "variables"},
    KindNames{Kind::CommLossError, "CommLossError", "terminal does not answer"},
    KindNames{Kind::ScaleConfigurationChange, "ScaleConfigurationChange", "configuration changed"},
    KindNames{Kind::InfoMessage, "InfoMessage", "info"},
    KindNames{Kind::StartFailure, "StartFailure", "not started"},
    KindNames{Kind::Lost, "Lost", "lost"},
    KindNames{Kind::Condition, "Condition", "condition"},
};

const KindNames& NamesOf(Kind kind) {
  return kKinds[static_cast<std::size_t>(kind)];
}

std::string Milliseconds(WallTime time) {
  const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch());
  const std::string thousand = std::to_string(1000 + (sinceEpoch.count() % 1000 + 1000) % 1000);
  return "." + thousand.substr(1);
}

std::string LampsText(const ScaleEvent& event) {
  return std::string("activity ") + (event.activityLed ? "on" : "off") + ", error " +
         (event.errorLed ? "on" : "off");
}

std::string LostText(const ScaleEvent& event) {
  return std::to_string(event.lostReadings) + " readings and " + std::to_string(event.lostEvents) +
         " other events, since the output was not read in time";
}

std::string ConditionText(const Reading& reading) {
  const std::string_view quality = reading.quality ? QualityName(*reading.quality) : "unknown";
  const std::string words = Printable(reading.conditionWords);
  return std::string(quality) + (words.empty() ? "" : ": " + words);
}

std::string Details(const ScaleEvent& event) {
  if (event.HasWeights()) {
    const std::string state = StateText(event.reading);
    return WeightsText(event.reading) + (state.empty() ? "" : " (" + state + ")");
  }
  switch (event.kind) {
    case Kind::NewStatus:
      return LampsText(event);
    case Kind::NewDataReady:
    case Kind::Variables:
      return FieldsText(event.fields);
    case Kind::InfoMessage:
    case Kind::StartFailure:
      return Printable(event.message);
    case Kind::Lost:
      return LostText(event);
    case Kind::Condition:
      return ConditionText(event.reading);
    default:
      return {};
  }
}

}  // namespace

bool ScaleEvent::HasWeights() const {
  return kind == Kind::NewWeight || kind == Kind::StatusChange || kind == Kind::PrintRecord ||
         kind == Kind::UpdateWeight;
}

const char* EventName(Kind kind) {
  return NamesOf(kind).name;
}

std::optional<Kind> KindOf(std::string_view eventName) {
  for (const KindNames& names : kKinds) {
    if (names.name == eventName) return names.kind;
  }
  return std::nullopt;
}

Reading ReadingOf(const WeightData& record) {
  return {.gross = record.GrossWeight(),
          .tare = record.TareWeight(),
          .net = record.NetWeight(),
          .units = record.Units(),
          .grossValue = record.GrossWeightValue(),
          .tareValue = record.TareWeightValue(),
          .netValue = record.NetWeightValue(),
          .motion = record.Motion(),
          .atZero = record.AtZero(),
          .outOfRange = record.OutOfRange(),
          .inNetMode = record.InNetMode(),
          .noData = record.NoDataError()};
}

Reading ReadingOf(const TarnScale& scale) {
  Reading reading = ReadingOf(*scale.WeightData());
  Condition condition = scale.Condition()->Present();
  reading.quality = condition.quality;
  if (condition.reason != ConditionReason::None) reading.reason = ReasonName(condition.reason);
  reading.conditionWords = std::move(condition.words);
  reading.age = condition.age;
  return reading;
}

Reading ReadingOf(const PrintData& record) {
  Reading reading;
  reading.gross = record.GrossWeight();
  reading.tare = record.TareWeight();
  reading.net = record.NetWeight();
  reading.units = record.Units();
  reading.grossValue = record.GrossWeightValue();
  reading.tareValue = record.TareWeightValue();
  reading.netValue = record.NetWeightValue();
  return reading;
}

bool IsValidWeight(const Reading& reading) {
  const bool isNumber = LocaleNumber(reading.net, ".") || LocaleNumber(reading.net, ",");
  return isNumber && !reading.outOfRange;
}

std::vector<Field> FieldsOf(const TarnRecordTemplateData& record) {
  const std::int16_t count = std::clamp<std::int16_t>(record.NumFields(), 0, record.MaxNumFields());
  std::vector<Field> fields;
  for (std::int16_t i = 1; i <= count; ++i) {
    fields.push_back({record.FieldName(i), record.FieldData(i)});
  }
  return fields;
}

std::string FieldsText(const std::vector<Field>& fields) {
  std::string text;
  for (const Field& field : fields) {
    text += (text.empty() ? "" : ", ") + Printable(field.name) + "=" + Printable(field.value);
  }
  return text;
}

std::string WeightsText(const Reading& reading) {
  const auto shown = [](const std::string& text) { return text.empty() ? "-" : Printable(text); };
  std::string text = "gross " + shown(reading.gross) + " tare " + shown(reading.tare) + " net " +
                     shown(reading.net);
  if (!reading.units.empty()) text += " " + Printable(reading.units);
  return text;
}

std::string StateText(const Reading& reading) {
  std::string text;
  const auto add = [&text](bool flag, std::string_view word) {
    if (!flag) return;
    if (!text.empty()) text += ' ';
    text += word;
  };
  if (reading.IsOld()) add(true, QualityName(*reading.quality));
  add(reading.noData, "no-data");
  add(reading.outOfRange, "out of range");
  add(reading.motion, "motion");
  add(reading.atZero, "zero");
  add(reading.inNetMode, "net");
  return text;
}

std::string EventWords(const ScaleEvent& event) {
  std::string text;
  if (event.scale != 0) text = ScaleTitle(event.scale, event.alias) + ": ";
  text += NamesOf(event.kind).word;
  const std::string details = Details(event);
  if (details.empty()) return text;
  const bool isSentence = event.kind == Kind::InfoMessage || event.kind == Kind::StartFailure;
  return text + (isSentence ? ": " : " ") + details;
}

std::string EventText(const ScaleEvent& event) {
  return LocalText(event.time) + "  " + EventWords(event);
}

void AppendCsv(std::string& line, std::string_view value) {
  line += ',';
  if (value.find_first_of(",\"") == value.npos) {
    line += Printable(value);
    return;
  }
  line += '"';
  for (const char c : Printable(value)) line += c == '"' ? std::string("\"\"") : std::string(1, c);
  line += '"';
}

std::string EventCsv(const ScaleEvent& event) {
  std::string line = UtcText(event.time) + "," + EventName(event.kind);
  const auto text = [&line](std::string_view value) { AppendCsv(line, value); };
  text(event.scale == 0 ? "" : std::to_string(event.scale));
  text(event.alias);
  const bool hasWeights = event.HasWeights();
  const bool hasFlags = hasWeights && event.kind != Kind::PrintRecord;
  const Reading& r = event.reading;
  for (const std::string& weight : {r.gross, r.tare, r.net, r.units})
    text(hasWeights ? weight : "");
  for (const bool flag : {r.motion, r.atZero, r.outOfRange, r.inNetMode, r.noData}) {
    text(!hasFlags ? "" : flag ? "1" : "0");
  }
  text(!hasWeights ? "" : IsValidWeight(r) ? "1" : "0");
  text(event.fields.empty() ? event.message : FieldsText(event.fields));
  return line;
}

/// By the calendar of the standard library: a system's own gmtime knows no time before 1970
/// everywhere.
std::string UtcText(WallTime time) {
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(std::chrono::floor<std::chrono::milliseconds>(time - day));
  std::string text = "0000-00-00T00:00:00.000Z";
  const auto put = [&text](std::size_t end, auto value) {
    for (auto rest = static_cast<unsigned>(value); rest != 0; rest /= 10)
      text[--end] = static_cast<char>('0' + rest % 10);
  };
  put(4, static_cast<int>(date.year()));
  put(7, static_cast<unsigned>(date.month()));
  put(10, static_cast<unsigned>(date.day()));
  put(13, clock.hours().count());
  put(16, clock.minutes().count());
  put(19, clock.seconds().count());
  put(23, clock.subseconds().count());
  return text;
}

std::string LocalText(WallTime time) {
  const std::time_t seconds =
      std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
  const std::tm* local = std::localtime(&seconds);
  if (local == nullptr) return UtcText(time);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", local);
  return text.data() + Milliseconds(time);
}

}  // namespace tarn
