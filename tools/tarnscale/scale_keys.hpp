// The settings of a scale as KEY=VALUE: one table for what can be set, shown and looked up. A new
// connection or protocol adds its rows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "scale/scale_site.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn::tool {

using KeyValue = std::variant<bool, double, std::string>;

/// "yes", "9600", "even".
std::string ValueText(const KeyValue& value);

struct ScaleKey {
  enum class Place { Scale, Connection, Protocol, Configuration };

  std::string_view name;
  Place place;
  /// The connection or protocol class, or the class of a terminal data set's configuration, that
  /// has the setting; the same key may have a row for each. Empty: there for every scale.
  std::string_view className;
  std::string values;  ///< what may be written, for people
  std::string help;    ///< empty where the row of another class says the same
  KeyValue (*get)(const TarnScale& scale);
  /// Throws UsageError, in words that follow "KEY=VALUE: ".
  void (*set)(TarnScale& scale, ScaleSite& site, std::string_view value);
  bool shown = true;  ///< false for a second way to write what another key shows
  /// Whether the setting has an effect with the others that the scale has now; null: always.
  bool (*matters)(const TarnScale& scale) = nullptr;

  /// Whether the scale, with the connection and protocol that it has now, has this setting.
  bool Fits(const TarnScale& scale) const;
};

std::span<const ScaleKey> ScaleKeys();

/// Applies several in an order in which they fit: connection, protocol and type before what belongs
/// to them. Throws as ApplyPair; some may have been applied then.
void ApplyPairs(TarnScale& scale, ScaleSite& site, std::vector<std::string> pairs);

/// Applies "KEY=VALUE". Throws UsageError where the pair, the key or the value is wrong or does not
/// fit the scale's present connection or protocol; the scale is then as it was.
void ApplyPair(TarnScale& scale, ScaleSite& site, std::string_view pair);

/// All keys with their values and meaning, a line each.
std::string KeyHelp();

}  // namespace tarn::tool
