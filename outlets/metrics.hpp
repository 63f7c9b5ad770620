// The scales and the program as figures for a monitoring system, in Prometheus' text format 0.0.4.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "outlets/scale_state.hpp"
#include "platform/process_facts.hpp"

namespace tarn {

inline constexpr std::string_view kMetricsType = "text/plain; version=0.0.4; charset=utf-8";

/// Weighings since the start.
struct WeighingCounts {
  std::uint64_t kept = 0;
  std::uint64_t refused = 0;  ///< those that could not be kept
};

struct ScaleFigures {
  ScaleState state;
  WeighingCounts weighings;
};

struct ProgramFigures {
  std::string version;
  std::size_t connections = 0;   ///< of HTTP, those of event readers included
  std::size_t eventReaders = 0;  ///< that hold a stream
  double timerDelay = 0;         ///< milliseconds: the longest of the last minute
  ProcessFacts process{};
};

/// A scale that is disabled has counters, but neither a state nor a weight.
std::string MetricsText(std::span<const ScaleFigures> scales, const ProgramFigures& program);

}  // namespace tarn
