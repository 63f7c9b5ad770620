// Random numbers that are the same for a seed on every system. The standard library's distributions
// differ from one library to the next; its generators do not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace tarn::sim {

class Random {
 public:
  /// Users of one seed take different streams, so that none disturbs the numbers of the others.
  Random(std::uint64_t seed, std::uint64_t stream) : engine_(seed * 0x9E3779B97F4A7C15U + stream) {}

  /// 0 up to, but without, 1.
  double Unit() { return static_cast<double>(engine_() >> 11U) * 0x1p-53; }
  double Between(double low, double high) { return low + (high - low) * Unit(); }
  bool Chance(double probability) { return probability > 0 && Unit() < probability; }
  std::size_t Below(std::size_t count) {
    return static_cast<std::size_t>(Unit() * static_cast<double>(count));
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace tarn::sim
