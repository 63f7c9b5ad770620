// Chooses which readings of many are printed.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "outlets/scale_event.hpp"

namespace tarn::tool {

/// Only readings are left out; every other event passes.
class EventFilter {
 public:
  struct Options {
    bool stable = false;         ///< only weights that may be used, without motion
    bool changes = false;        ///< only where the weight, the unit or a flag changed
    double every = 0;            ///< seconds between two readings of a scale at least
    std::optional<int> count{};  ///< after so many lines IsDone
  };

  explicit EventFilter(const Options& options) : options_(options) {}

  bool Passes(const ScaleEvent& event);
  bool IsDone() const { return options_.count && passed_ >= *options_.count; }

 private:
  struct Latest {
    std::string text;
    WallTime time;
  };

  bool PassesReading(const ScaleEvent& event);

  Options options_;
  std::map<int, Latest> latest_;  ///< what was printed of each scale
  std::int64_t passed_ = 0;
};

}  // namespace tarn::tool
