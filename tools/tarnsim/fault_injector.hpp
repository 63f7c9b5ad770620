// Faults of real lines, on request and the same for the same seed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/tarnsim/random.hpp"

namespace tarn::sim {

/// Something that happens every `every` milliseconds and lasts `length`; never where `every` is 0.
struct Schedule {
  double every = 0;
  double length = 0;

  /// The first time is a whole period after the start.
  bool Holds(double now) const;
};

/// Parses EVERY/LENGTH, such as 30s/5s. Throws UsageError.
Schedule ParseSchedule(std::string_view text);

/// Probabilities from 0 to 1.
struct FaultOptions {
  double noise = 0;     ///< of a random byte in front of a character of a frame
  double burst = 0;     ///< of 1 to kLongestBurst random bytes in front of a frame
  double drop = 0;      ///< of a character to be lost
  double repeat = 0;    ///< of a character to be sent twice
  double cut = 0;       ///< of a frame to end early
  double silence = 0;   ///< of a frame not to be sent at all
  Schedule silent{};    ///< no frames begin
  Schedule vanished{};  ///< the line is taken away

  bool SpoilsFrames() const;
};

/// Decides frame by frame, in the order in which they are sent.
class FaultInjector {
 public:
  static constexpr std::size_t kLongestBurst = 20;

  /// Random bytes have `dataBits` bits.
  FaultInjector(const FaultOptions& options, int dataBits, std::uint64_t seed);

  /// Returns what arrives of a frame that is sent now; nothing while the line is silent.
  std::string Spoil(std::string_view frame, double now);
  bool Vanished(double now) const { return options_.vanished.Holds(now); }

 private:
  char RandomByte();
  void AppendNoise(std::string& bytes, std::size_t count);
  void AppendSpoilt(std::string& bytes, char c);

  FaultOptions options_;
  std::size_t byteValues_;
  Random random_;
};

}  // namespace tarn::sim
