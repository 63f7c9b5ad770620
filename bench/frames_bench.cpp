// Frames a second on one core: from the bytes of a line to the handler of NewWeight.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "connections/serial_connection.hpp"
#include "protocols/continuous_frame.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

const std::string kStandardFrame = std::string("\x02\x2B\x30\x20") +
                                   "001234"
                                   "000100"
                                   "\r\x55";
const std::string kShortFrame = std::string("\x02\x2B\x30\x20") +
                                "001234"
                                "\r\x55";

/// A running scale on a line whose bytes the benchmark delivers.
struct Line {
  explicit Line(ProtocolType type) {
    serial = NewObject<SerialConnection>(*site, "SerialConnection");
    scale->ScaleNumber(1);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
    scale->Protocol()->pType(type);
    scale->Disabled(false);
    scale->RunScale();
    onWeight = scale->WeightData()->NewWeight.Subscribe([this] {
      ++readings;
      benchmark::DoNotOptimize(scale->WeightData()->NetWeightValue());
    });
  }

  FakeHost host;
  std::shared_ptr<ServerSite> site = std::make_shared<ServerSite>(host);
  std::shared_ptr<TarnScale> scale = NewObject<TarnScale>(*site, "TarnScale");
  std::shared_ptr<SerialConnection> serial;
  long readings = 0;
  Subscription onWeight;
};

void Run(benchmark::State& state, ProtocolType type, const std::string& piece) {
  Line line(type);
  FakeSerialPort& port = *line.host.ports.back();
  for (auto _ : state) port.Deliver(piece);
  state.SetItemsProcessed(line.readings);
  state.counters["frames/s"] =
      benchmark::Counter(static_cast<double>(line.readings), benchmark::Counter::kIsRate);
}

void StandardFrames(benchmark::State& state) {
  Run(state, ProtocolType::TarnContinuousStandard, kStandardFrame);
}
BENCHMARK(StandardFrames);

void ShortFrames(benchmark::State& state) {
  Run(state, ProtocolType::TarnContinuousShort, kShortFrame);
}
BENCHMARK(ShortFrames);

/// As a busy line hands them over: many at once.
void StandardFramesInPiecesOfTwenty(benchmark::State& state) {
  std::string piece;
  for (int i = 0; i < 20; ++i) piece += kStandardFrame;
  Run(state, ProtocolType::TarnContinuousStandard, piece);
}
BENCHMARK(StandardFramesInPiecesOfTwenty);

/// The parsing alone, without the line and the record.
void ParseStandardFrame(benchmark::State& state) {
  const std::string text = kStandardFrame.substr(1, kStandardFrameLength);
  for (auto _ : state) {
    ContinuousFrame frame;
    frame.ReadStatusAndWeight(text);
    frame.ReadTareAndGross(text);
    benchmark::DoNotOptimize(frame.NetWeight("."));
    benchmark::DoNotOptimize(frame.GrossWeight("."));
    benchmark::DoNotOptimize(frame.TareWeight("."));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ParseStandardFrame);

}  // namespace
}  // namespace tarn
