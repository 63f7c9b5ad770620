// What shared-data terminals cost the server: read cycles a second over the loopback network, each
// cycle of a scale begun as soon as its last one has been published.
//
// Usage: bench_cycles SECONDS TERMINALS FOLDER     (bench/shared_data.sh starts it)
// The terminals are at 127.0.1.1, 127.0.1.2 and so on.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "platform/native_host.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "server/tarn_scale_server.hpp"
#include "shareddata/kes_sd_protocol.hpp"

namespace tarn {
namespace {

int Measure(int seconds, int terminals, const std::string& folder) {
  HostOptions options;
  options.settingsPlace = folder + "/bench-store.ini";
  const auto host = CreateNativeHost(options);
  host->Settings().Set("Settings", "LogFile", folder + "/bench.log");
  TarnScaleServer server(*host, StartMode::EachScale);
  const auto site = std::make_shared<ServerSite>(*host);

  long cycles = 0;
  std::vector<Subscription> subscriptions;
  for (int n = 1; n <= terminals; ++n) {
    const auto scale = server.GetScale(static_cast<std::int16_t>(n));
    const auto ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
    ethernet->IPAddress("127.0.1." + std::to_string(n));
    const auto protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
    protocol->scaleNum("a");
    scale->Connection(ethernet);
    scale->Protocol(protocol);
    scale->Disabled(false);
    scale->RunScale();
    subscriptions.push_back(scale->WeightData()->NewWeight.Subscribe([&, scale] {
      ++cycles;
      host->Loop().Post([scale] { scale->UpdateWeight.Raise(); });
    }));
  }

  const std::clock_t before = std::clock();
  host->Loop().RunUntil([] { return false; }, seconds * 1000);
  const double spent = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
  std::printf("%d terminals: %.0f cycles a second, %.1f us of processor time a cycle, %.0f %%\n",
              terminals, static_cast<double>(cycles) / seconds,
              spent * 1e6 / static_cast<double>(cycles > 0 ? cycles : 1), spent * 100 / seconds);
  return cycles > 0 ? 0 : 1;
}

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: bench_cycles SECONDS TERMINALS FOLDER\n", stderr);
    return 2;
  }
  return tarn::Measure(std::atoi(argv[1]), std::atoi(argv[2]), argv[3]);
}
