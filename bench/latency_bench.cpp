// Time from the last byte of a frame written into a line to the handler of NewWeight: a terminal on
// a separate thread writes frames at odd moments, the server reads them over a pseudo-terminal.
//
// Usage: bench_latency [FRAMES]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/number_text.hpp"
#include "connections/serial_connection.hpp"
#include "platform/native_host.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"

namespace tarn {
namespace {

using Clock = std::chrono::steady_clock;

/// The weight of a frame is its number, by which the handler finds the moment of writing.
std::string FrameOf(std::size_t number) {
  return std::string("\x02\x2A\x30\x20") +
         FormatNumber(static_cast<double>(number), NumberPattern("000000")) + "000000\r";
}

void WriteFrames(NativeHost& host, TerminalLine& line, std::vector<Clock::time_point>& written) {
  std::mt19937 random(1);
  for (std::size_t number = 1; number < written.size(); ++number) {
    host.Loop().RunUntil([] { return false; }, static_cast<std::int32_t>(2 + random() % 4));
    const std::string frame = FrameOf(number);
    line.Write(frame.substr(0, frame.size() - 1));
    written[number] = Clock::now();
    line.Write("\r");
  }
}

int Measure(std::size_t frames) {
  const auto folder = std::filesystem::temp_directory_path();
  const std::string place =
      (folder / ("bench-line-" + std::to_string(std::random_device()()))).string();
  std::vector<Clock::time_point> written(frames + 1);
  std::vector<double> microseconds;

  const auto terminalHost = CreateNativeHost({});
  const auto line = terminalHost->CreateTerminalLine(place);

  HostOptions options;
  options.portMap[1] = place;
  const auto host = CreateNativeHost(options);
  const auto site = std::make_shared<ServerSite>(*host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  scale->ScaleNumber(1);
  scale->Connection(NewObject<_Connection>(*site, "SerialConnection"));
  scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
  scale->Disabled(false);
  scale->RunScale();
  const auto onWeight = scale->WeightData()->NewWeight.Subscribe([&] {
    const auto now = Clock::now();
    const auto number = static_cast<std::size_t>(scale->WeightData()->NetWeightValue());
    if (scale->WeightData()->NoDataError() || number == 0) return;
    microseconds.push_back(
        std::chrono::duration<double, std::micro>(now - written[number]).count());
  });

  std::thread terminal([&] { WriteFrames(*terminalHost, *line, written); });
  host->Loop().RunUntil([&] { return microseconds.size() >= frames; },
                        static_cast<std::int32_t>(frames) * 20 + 2000);
  terminal.join();

  if (microseconds.empty()) {
    std::fprintf(stderr, "no frame arrived\n");
    return EXIT_FAILURE;
  }
  std::sort(microseconds.begin(), microseconds.end());
  const auto at = [&](double part) {
    return microseconds[static_cast<std::size_t>(part *
                                                 static_cast<double>(microseconds.size() - 1))];
  };
  std::printf("frames %zu of %zu: median %.0f us, 99th percentile %.0f us, worst %.0f us\n",
              microseconds.size(), frames, at(0.5), at(0.99), at(1));
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  const long frames = argc > 1 ? std::atol(argv[1]) : 2000;
  return tarn::Measure(static_cast<std::size_t>(std::clamp(frames, 1L, 900000L)));
}
