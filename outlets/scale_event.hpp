// Events of a scale or the server as values, and as lines of text or JSON.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/line_record.hpp"
#include "scale/condition.hpp"
#include "scale/named_value.hpp"
#include "scale/print_data.hpp"
#include "scale/tarn_record_template_data.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"

namespace tarn {

using WallTime = std::chrono::system_clock::time_point;
using WallClock = std::function<WallTime()>;

/// A copy of a weight or print record; a print record has no flags.
struct Reading {
  std::string gross{};
  std::string tare{};
  std::string net{};
  std::string units{};
  double grossValue = 0;
  double tareValue = 0;
  double netValue = 0;
  bool motion = false;
  bool atZero = false;
  bool outOfRange = false;
  bool inNetMode = false;
  bool noData = false;
  // How good it is; nothing in what other programs wrote without it, and in a print record.
  std::optional<Quality> quality{};
  std::string reason{};          ///< the reason's word for programs; empty while all is well
  std::string conditionWords{};  ///< what is the matter and what to do
  std::optional<double> age{};   ///< milliseconds

  /// Whether the weights must not be taken for live ones.
  bool IsOld() const { return quality && *quality != Quality::Good; }
};

Reading ReadingOf(const WeightData& record);
/// The weights of the scale and their condition.
Reading ReadingOf(const TarnScale& scale);
Reading ReadingOf(const PrintData& record);

/// Whether the net weight may be used: the terminal sent a number, and the scale is in its range.
/// The no-data flag says less: it follows every reading of some protocols.
bool IsValidWeight(const Reading& reading);

/// "gross 133.4 tare 10.0 net 123.4 kg".
std::string WeightsText(const Reading& reading);
/// The flags that are set, and the quality unless it is good, as words: "stale motion net".
std::string StateText(const Reading& reading);

/// One field of a template record, or one value of the terminal's variables.
using Field = NamedValue;
/// Returns as many fields as the template of the record has.
std::vector<Field> FieldsOf(const TarnRecordTemplateData& record);
/// "Id=A17, Net=12.50".
std::string FieldsText(const std::vector<Field>& fields);

struct ScaleEvent {
  enum class Kind {
    NewWeight,
    StatusChange,
    PrintRecord,
    NewStatus,
    UpdateWeight,
    NewDataReady,   ///< a template record
    TimeoutError,   ///< a template record that did not end in time
    Variables,      ///< terminal variables that changed
    CommLossError,  ///< the terminal does not answer
    ScaleConfigurationChange,
    InfoMessage,
    StartFailure,
    Lost,       ///< events that a slow reader of the output has missed
    Condition,  ///< quality or reason have changed
  };

  Kind kind = Kind::NewWeight;
  WallTime time;
  int scale = 0;  ///< 0 for the server
  std::string alias;
  Reading reading;
  std::vector<Field> fields;                   ///< of NewDataReady and Variables
  PrintOrigin origin = PrintOrigin::Terminal;  ///< of PrintRecord
  bool activityLed = false;
  bool errorLed = false;
  std::string message;  ///< of InfoMessage and StartFailure
  std::int32_t style = 0;
  double readingsPerSecond = 0;  ///< of Condition
  LineCounters counters;         ///< of Condition, since the start
  std::string lastError;         ///< of Condition: of the line
  std::uint64_t lostReadings = 0;
  std::uint64_t lostEvents = 0;

  /// Whether the next one replaces it, so that a slow reader can do without it.
  bool IsReading() const { return kind == Kind::NewWeight || kind == Kind::UpdateWeight; }
  bool HasWeights() const;
};

/// The name of the published event: "NewWeight".
const char* EventName(ScaleEvent::Kind kind);
/// Nothing for a name that no event has.
std::optional<ScaleEvent::Kind> KindOf(std::string_view eventName);

/// One line without its end, with the local time in front.
std::string EventText(const ScaleEvent& event);
/// What happened, without time: "scale 1 (Line 1): print gross ...".
std::string EventWords(const ScaleEvent& event);
/// One JSON object on one line without its end; the time is UTC.
std::string EventJson(const ScaleEvent& event);
/// One line of comma-separated values, and the line of their names; the time is UTC.
std::string EventCsv(const ScaleEvent& event);
inline constexpr std::string_view kCsvHeader =
    "time,event,scale,alias,gross,tare,net,units,motion,atZero,outOfRange,inNetMode,noDataError,"
    "valid,fields";
/// Appends a comma and a value of such a line.
void AppendCsv(std::string& line, std::string_view value);
/// Reads a line of JSON back, without its time. Members that are missing keep their defaults.
/// Returns nothing when the line is no event.
std::optional<ScaleEvent> EventOfJson(std::string_view line);

/// "2024-06-01T12:34:56.789Z".
std::string UtcText(WallTime time);
/// "2024-06-01 14:34:56.789" by the user's clock.
std::string LocalText(WallTime time);

}  // namespace tarn
