// The system's figures of this process.
#include <windows.h>

#include <psapi.h>

#include "platform/process_facts.hpp"

namespace tarn {
namespace {

double SecondsOf(const FILETIME& time) {
  constexpr double kSecond = 1e7;  // in units of 100 ns
  constexpr double kHighPart = 4294967296.0;
  return (time.dwHighDateTime * kHighPart + time.dwLowDateTime) / kSecond;
}

}  // namespace

ProcessFacts PresentProcessFacts() {
  constexpr double kFrom1601To1970 = 11'644'473'600;
  ProcessFacts facts;
  FILETIME created{};
  FILETIME ended{};
  FILETIME kernel{};
  FILETIME user{};
  const HANDLE process = GetCurrentProcess();
  if (GetProcessTimes(process, &created, &ended, &kernel, &user) != 0) {
    facts.cpuSeconds = SecondsOf(kernel) + SecondsOf(user);
    facts.startedAt = SecondsOf(created) - kFrom1601To1970;
  }
  PROCESS_MEMORY_COUNTERS memory{};
  if (K32GetProcessMemoryInfo(process, &memory, sizeof memory) != 0)
    facts.residentBytes = memory.WorkingSetSize;
  DWORD handles = 0;
  if (GetProcessHandleCount(process, &handles) != 0) facts.openDescriptors = handles;
  return facts;
}

}  // namespace tarn
