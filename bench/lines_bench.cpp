// What many lines cost the server: processor time and memory while it reads real pseudo-terminals,
// every reading delivered to a handler of NewWeight.
//
// Usage: bench_lines SECONDS BAUD_INDEX FOLDER LINE...      (bench/saturated_lines.sh starts it)
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "connections/serial_connection.hpp"
#include "platform/native_host.hpp"
#include "scale/tarn_scale.hpp"
#include "server/tarn_scale_server.hpp"

namespace tarn {
namespace {

/// Kilobytes by their name in the system's account of this process; 0 where it keeps none.
long Memory(const std::string& name) {
  std::ifstream status("/proc/self/status");
  std::string key;
  long value = 0;
  while (status >> key) {
    if (key == name + ":" && status >> value) return value;
  }
  return 0;
}

int Measure(int seconds, int baudIndex, const std::vector<std::string>& lines,
            const std::string& folder) {
  HostOptions options;
  options.settingsPlace = folder + "/bench-store.ini";
  for (std::size_t i = 0; i < lines.size(); ++i)
    options.portMap[static_cast<int>(i + 1)] = lines[i];
  const auto host = CreateNativeHost(options);
  host->Settings().Set("Settings", "LogFile", folder + "/bench.log");
  TarnScaleServer server(*host, StartMode::EachScale);

  long readings = 0;
  std::vector<Subscription> subscriptions;
  for (std::int16_t n = 1; n <= static_cast<std::int16_t>(lines.size()); ++n) {
    const auto site = std::make_shared<ServerSite>(*host);
    const auto scale = server.GetScale(n);
    const auto serial = NewObject<SerialConnection>(*site, "SerialConnection");
    serial->ComPort(n);
    serial->BaudRate(CommBaudRate{baudIndex});
    serial->Parity(CommParity::NoParity);
    serial->DataBits(CommDataBits::Eight);
    serial->StopBits(CommStopBits::One);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
    scale->Disabled(false);
    scale->RunScale();
    subscriptions.push_back(scale->WeightData()->NewWeight.Subscribe([&] { ++readings; }));
  }

  const auto idle = [] { return false; };
  host->Loop().RunUntil(idle, 1000);
  readings = 0;
  const std::clock_t processorBefore = std::clock();
  const auto before = std::chrono::steady_clock::now();
  host->Loop().RunUntil(idle, seconds * 1000);
  const double elapsed =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count();
  const double processor = static_cast<double>(std::clock() - processorBefore) / CLOCKS_PER_SEC;

  std::printf("%zu lines: %.0f readings/s, %.1f %% of one core, resident %.1f MB (peak %.1f MB)\n",
              lines.size(), static_cast<double>(readings) / elapsed, 100 * processor / elapsed,
              static_cast<double>(Memory("VmRSS")) / 1024,
              static_cast<double>(Memory("VmHWM")) / 1024);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "Usage: bench_lines SECONDS BAUD_INDEX FOLDER LINE...\n");
    return 2;
  }
  return tarn::Measure(std::atoi(argv[1]), std::atoi(argv[2]), {argv + 4, argv + argc}, argv[3]);
}
