// A simulated client library of the terminals' own network, for tests and trials: its four
// functions read and write a table of variables within the process.
//
// The environment variable TARN_KESAPI_VARIABLES names a text file with a line for each variable,
// such as
//   /a1/wt102=  12.5
// It is read at the first call, whether or not the process has registered. Written values stay
// within the process. Each call adds a line to the file that TARN_KESAPI_TRACE names.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>

#ifdef _WIN32
#ifdef _WIN64
#define KES_API extern "C" __declspec(dllexport) std::int32_t
#else
#define KES_API extern "C" __declspec(dllexport) std::int32_t __stdcall
#endif
#else
#define KES_API extern "C" __attribute__((visibility("default"))) std::int32_t
#endif

namespace {

constexpr std::int32_t kSuccess = 0;
constexpr std::int32_t kNoSuchVariable = 1;

using Variables = std::map<std::string, std::string>;

std::string FileNamedBy(const char* variable) {
  const char* name = std::getenv(variable);
  return name != nullptr ? name : "";
}

void Trace(const std::string& call) {
  const std::string name = FileNamedBy("TARN_KESAPI_TRACE");
  if (!name.empty()) std::ofstream(name, std::ios::app | std::ios::binary) << call << '\n';
}

Variables ReadTable() {
  Variables table;
  std::ifstream file(FileNamedBy("TARN_KESAPI_VARIABLES"));
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const auto equals = line.find('=');
    if (equals != std::string::npos) table[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return table;
}

Variables& Table() {
  static Variables table = ReadTable();
  return table;
}

}  // namespace

KES_API KesRegisterProcess(std::int32_t number) {
  Trace("KesRegisterProcess " + std::to_string(number));
  return kSuccess;
}

KES_API KesCloseProcess() {
  Trace("KesCloseProcess");
  return kSuccess;
}

/// The number is the length of the value, which may have 0 bytes in it.
KES_API KesWrite(const char* address, std::int32_t number, const char* value) {
  Trace(std::string("KesWrite ") + address + " " + std::to_string(number) + " " + value);
  const auto variable = Table().find(address);
  if (variable == Table().end()) return kNoSuchVariable;
  variable->second = number > 0 ? std::string(value, static_cast<std::size_t>(number)) : value;
  return kSuccess;
}

/// Writes at most as many characters as the smaller of the two numbers; a 0 is no limit.
KES_API KesRead(const char* address, std::int32_t first, char* buffer, std::int32_t second) {
  Trace(std::string("KesRead ") + address + " " + std::to_string(first) + " " +
        std::to_string(second));
  const auto variable = Table().find(address);
  if (variable == Table().end()) return kNoSuchVariable;
  std::size_t length = variable->second.size();
  for (const std::int32_t limit : {first, second}) {
    if (limit > 0) length = std::min(length, static_cast<std::size_t>(limit));
  }
  std::memcpy(buffer, variable->second.data(), length);
  return kSuccess;
}
