// What the operating system says about the running program.
#pragma once

#include <cstdint>
#include <optional>

namespace tarn {

/// What this system does not say is nothing.
struct ProcessFacts {
  std::optional<double> cpuSeconds{};              ///< of all threads, since the start
  std::optional<std::uint64_t> residentBytes{};    ///< memory
  std::optional<std::uint64_t> openDescriptors{};  ///< files, sockets, ports; handles on Windows
  std::optional<double> startedAt{};               ///< seconds since 1970
};

/// Asks the system; takes some ten microseconds and never waits.
ProcessFacts PresentProcessFacts();

}  // namespace tarn
