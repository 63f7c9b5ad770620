#include "tools/tarnsim/fault_injector.hpp"

#include <cmath>

#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace tarn::sim {
namespace {

constexpr std::uint64_t kFaultStream = 3;  // no other part of a terminal uses it

}  // namespace

bool Schedule::Holds(double now) const {
  return every > 0 && now >= every && std::fmod(now, every) < length;
}

Schedule ParseSchedule(std::string_view text) {
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) {
    throw UsageError("\"" + std::string(text) +
                     "\" is no schedule: write EVERY/LENGTH, such as 30s/5s");
  }
  const Schedule schedule{ParseDuration(text.substr(0, slash)),
                          ParseDuration(text.substr(slash + 1))};
  if (!(schedule.length > 0 && schedule.length < schedule.every)) {
    throw UsageError("In the schedule \"" + std::string(text) +
                     "\" the length must be above 0 and shorter than the period");
  }
  return schedule;
}

bool FaultOptions::SpoilsFrames() const {
  return noise > 0 || burst > 0 || drop > 0 || repeat > 0 || cut > 0;
}

FaultInjector::FaultInjector(const FaultOptions& options, int dataBits, std::uint64_t seed)
    : options_(options), byteValues_(std::size_t{1} << dataBits), random_(seed, kFaultStream) {}

std::string FaultInjector::Spoil(std::string_view frame, double now) {
  if (options_.silent.Holds(now) || random_.Chance(options_.silence)) return {};
  if (!options_.SpoilsFrames()) return std::string(frame);
  std::string bytes;
  if (random_.Chance(options_.burst)) AppendNoise(bytes, 1 + random_.Below(kLongestBurst));
  if (random_.Chance(options_.cut)) frame = frame.substr(0, random_.Below(frame.size()));
  for (const char c : frame) AppendSpoilt(bytes, c);
  return bytes;
}

char FaultInjector::RandomByte() {
  return static_cast<char>(random_.Below(byteValues_));
}

void FaultInjector::AppendNoise(std::string& bytes, std::size_t count) {
  for (; count > 0; --count) bytes += RandomByte();
}

void FaultInjector::AppendSpoilt(std::string& bytes, char c) {
  if (random_.Chance(options_.noise)) bytes += RandomByte();
  if (random_.Chance(options_.drop)) return;
  bytes += c;
  if (random_.Chance(options_.repeat)) bytes += c;
}

}  // namespace tarn::sim
