// The kernel's figures of this process: from /proc, where there is one.
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>

#include "platform/process_facts.hpp"

namespace tarn {
namespace {

double SecondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::optional<std::uint64_t> ResidentBytes() {
  std::uint64_t pages = 0;
  std::uint64_t resident = 0;
  std::ifstream file("/proc/self/statm");
  if (!(file >> pages >> resident)) return std::nullopt;
  return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

/// Without the one that the listing itself needs.
std::optional<std::uint64_t> OpenDescriptors() {
  std::error_code error;
  std::filesystem::directory_iterator entries("/proc/self/fd", error);
  if (error) return std::nullopt;
  std::uint64_t count = 0;
  for (; entries != std::filesystem::directory_iterator(); entries.increment(error)) ++count;
  return count - 1;
}

/// The 22nd value of the line, in ticks since the system started. The program's name, in
/// parentheses, may hold anything.
std::optional<double> StartedAt() {
  constexpr int kBehindName = 20;
  std::ifstream file("/proc/self/stat");
  std::string line(std::istreambuf_iterator<char>(file), {});
  const auto name = line.rfind(')');
  if (name == line.npos) return std::nullopt;
  std::istringstream values(line.substr(name + 1));
  std::string ticks;
  for (int i = 0; i < kBehindName; ++i) values >> ticks;
  timespec sinceBoot{};
  if (!values || clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0) return std::nullopt;
  const double up =
      static_cast<double>(sinceBoot.tv_sec) + static_cast<double>(sinceBoot.tv_nsec) / 1e9;
  const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
  return now.count() - up + std::stod(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace

ProcessFacts PresentProcessFacts() {
  // Worked out once, since it would waver with the two clocks.
  static const std::optional<double> startedAt = StartedAt();
  ProcessFacts facts{.residentBytes = ResidentBytes(),
                     .openDescriptors = OpenDescriptors(),
                     .startedAt = startedAt};
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) == 0)
    facts.cpuSeconds = SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime);
  return facts;
}

}  // namespace tarn
