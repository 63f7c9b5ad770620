// The common part of the data sets: error flags, clearing and events.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/event.hpp"
#include "scale/summit_data.hpp"

namespace tarn {

/// Values stay until a round brings others, or until a reported error clears them all. A value that
/// does not fit where it belongs is error 6 or 9 of the operation that brings it.
class TerminalData : public SummitData {
 public:
  std::string_view DataObjectName() const override { return ClassName(); }

  /// Setting it clears the values and raises NewDataReady, then CommLossError; clearing it raises
  /// nothing.
  void CommLossError(bool value) override;
  bool CommLossError() const override { return commLossError_; }
  /// Setting it clears the values and raises NewDataReady; clearing it raises nothing.
  void NoDataError(bool value) override;
  bool NoDataError() const override { return noDataError_; }
  void ConfigurationChanged() override { ConfigChanged.Raise(); }
  void DataUpdated() override { NewDataReady.Raise(); }
  /// Clears both flags, without events.
  void ResetState() override;

  Event<> CommLossErrorEvent;
  Event<> ConfigChanged;
  Event<> NewDataReady;

 protected:
  virtual void Clear() = 0;

 private:
  bool commLossError_ = false;
  bool noDataError_ = false;
};

/// The place of a value, taken from the name of its variable: the first two characters, the scale
/// number, which is the third, and the last two. Scale 0 where the third is not 1 to 4.
struct TagPlace {
  explicit TagPlace(std::string_view tagName);
  bool Is(std::string_view otherPrefix, std::string_view otherSuffix) const {
    return prefix == otherPrefix && suffix == otherSuffix;
  }

  std::string_view prefix;
  std::string_view suffix;
  std::int32_t scale = 0;
};

/// The row of a table that has a prefix and a suffix; null where there is none.
template <class Table>
auto FindRule(const Table& table, const TagPlace& place) -> decltype(&*table.begin()) {
  for (const auto& rule : table) {
    if (place.Is(rule.prefix, rule.suffix)) return &rule;
  }
  return nullptr;
}

/// Where a name stands in a list, from 1; 0 where it is not there.
template <class Names>
std::int32_t PlaceInList(const Names& names, std::string_view name) {
  std::int32_t number = 0;
  for (const std::string_view candidate : names) {
    ++number;
    if (candidate == name) return number;
  }
  return 0;
}

}  // namespace tarn
