// The present state of a scale as a value: what every outlet shows of it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "outlets/json_writer.hpp"
#include "outlets/scale_event.hpp"

namespace tarn {

/// The alias of a scale that nobody has named.
std::string NewAlias(int number);
/// Whether any setting of the scale differs from those of a new configuration.
bool IsConfigured(const TarnScale& scale, int number);

/// Whether the latest weight stays the one to be shown although the no-data state has followed it:
/// some protocols end every reading with that state, and the terminal sends.
bool KeepsWeight(const TarnScale& scale);

struct ScaleState {
  int scale = 0;
  std::string alias;
  bool enabled = false;
  /// When the last byte of the reading came, by the clock of the wall; the moment of asking before
  /// the first reading.
  WallTime time;
  Reading reading;
  double readingsPerSecond = 0;
  LineCounters counters;  ///< since the start
  std::string lastError;  ///< of the line
  /// The latest record of a template scale, the variables of a diagnosed one; none for others.
  std::optional<std::vector<Field>> fields;
};

ScaleState StateOf(const TarnScale& scale, WallTime now);

/// The object that stands for a scale's weight wherever one appears: over HTTP, in events, in
/// messages of a broker. Its names are those of OPC 40200. A weight whose text is no number is
/// null.
void WriteWeight(JsonWriter& json, const ScaleState& state);
std::string WeightJson(const ScaleState& state);

/// The members of the three weights, as numbers and as texts, and of their unit.
void WriteReading(JsonWriter& json, const Reading& reading);

/// The member "fields": a list, since a name may occur twice.
void WriteFields(JsonWriter& json, const std::vector<Field>& fields);

/// The number that a weight's text shows; nothing for "Error", "*******" and the like.
std::optional<double> ShownNumber(const std::string& text);

}  // namespace tarn
