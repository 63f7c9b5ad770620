// Frames and lines a second on one core: from the bytes of a line to the handler of NewWeight.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "connections/serial_connection.hpp"
#include "protocols/continuous_frame.hpp"
#include "protocols/generic_frame.hpp"
#include "protocols/keep_alive.hpp"
#include "protocols/mira_reply.hpp"
#include "protocols/template_protocol.hpp"
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

const std::string kMiraReply = "S S     123.45 kg\r\n";
const std::string kGenericFrame = "\x02M    123.4 kg        \r\n";

/// A running scale on a line whose bytes the benchmark delivers.
struct Line {
  Line(const char* protocol, ProtocolType type) {
    serial = NewObject<SerialConnection>(*site, "SerialConnection");
    scale->ScaleNumber(1);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, protocol));
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

void Run(benchmark::State& state, ProtocolType type, const std::string& piece,
         const char* protocol = "TarnContinuousProtocol", int framesInPiece = 1) {
  Line line(protocol, type);
  FakeSerialPort& port = *line.host.ports.back();
  for (auto _ : state) {
    port.Deliver(piece);
    port.written.clear();
  }
  const auto frames = state.iterations() * framesInPiece;
  if (line.readings < frames) state.SkipWithError("a frame was lost");
  state.SetItemsProcessed(frames);
  state.counters["frames/s"] =
      benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kIsRate);
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
  Run(state, ProtocolType::TarnContinuousStandard, piece, "TarnContinuousProtocol", 20);
}
BENCHMARK(StandardFramesInPiecesOfTwenty);

/// A scale that repeats its weight by itself, and one that is asked for each.
void MiraReplies(benchmark::State& state) {
  Run(state, ProtocolType::Mira_Level_0_SIR, kMiraReply, "MiraProtocol");
}
BENCHMARK(MiraReplies);

void MiraRepliesEachAskedFor(benchmark::State& state) {
  Run(state, ProtocolType::Mira_Level_0_Mode_Commands, kMiraReply, "MiraProtocol");
}
BENCHMARK(MiraRepliesEachAskedFor);

void GenericFrames(benchmark::State& state) {
  Run(state, ProtocolType::GSE550, kGenericFrame, "GenericProtocol");
}
BENCHMARK(GenericFrames);

void SplitMiraReplyAlone(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(SplitMiraReply(kMiraReply));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SplitMiraReplyAlone);

void ParseGenericFrameAlone(benchmark::State& state) {
  GenericFrameDef definition;
  definition.Load(ProtocolType::GSE550);
  for (auto _ : state) benchmark::DoNotOptimize(ParseGenericFrame(definition, kGenericFrame));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ParseGenericFrameAlone);

/// Records of five fields, from the bytes of a line to the handler of NewDataReady.
const std::string kTemplateRecord = "A0042,133.40,10.00,123.40,kg\r\n";

void RunTemplate(benchmark::State& state, const char* protocolClass, const char* connectionClass,
                 const std::string& piece) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  const auto protocol = NewObject<TemplateProtocol>(*site, protocolClass);
  protocol->TemplateConfig()->NumFields(5);
  protocol->TemplateConfig()->Terminator("\r\n");
  scale->ScaleNumber(1);
  scale->Connection(NewObject<_Connection>(*site, connectionClass));
  scale->Protocol(protocol);
  scale->Disabled(false);
  scale->RunScale();
  auto& socket = dynamic_cast<FakeSocket&>(*site->Winsock(1));
  const bool network = socket.State() == SocketState::Connecting;
  if (network) socket.Accept();
  const auto data = scale->TarnRecordTemplateData();
  std::int64_t records = 0;
  const auto onRecord = data->NewDataReady.Subscribe([&] {
    ++records;
    benchmark::DoNotOptimize(data->FieldData(4));
  });
  for (auto _ : state) {
    if (network)
      socket.Deliver(piece);
    else
      host.ports.back()->Deliver(piece);
  }
  if (records != state.iterations()) state.SkipWithError("a record was lost");
  state.counters["frames/s"] =
      benchmark::Counter(static_cast<double>(records), benchmark::Counter::kIsRate);
}

void TemplateRecords(benchmark::State& state) {
  RunTemplate(state, "DemandTemplateProtocol", "SerialConnection", kTemplateRecord);
}
BENCHMARK(TemplateRecords);

void TemplateRecordsOverTcp(benchmark::State& state) {
  RunTemplate(state, "KesDemandTemplateProtocol", "EthernetConnection", kTemplateRecord);
}
BENCHMARK(TemplateRecordsOverTcp);

void TemplateRecordsOverTcpWithKeepAlives(benchmark::State& state) {
  std::string piece = kTemplateRecord;
  piece.insert(8, kKeepAliveText);
  RunTemplate(state, "KesDemandTemplateProtocol", "EthernetConnection", piece);
}
BENCHMARK(TemplateRecordsOverTcpWithKeepAlives);

/// What the record of a line and the condition of its readings cost for each frame: a part of
/// StandardFrames above.
void CountStandardFrameAlone(benchmark::State& state) {
  Line line("TarnContinuousProtocol", ProtocolType::TarnContinuousStandard);
  line.host.ports.back()->Deliver(kStandardFrame);
  line.host.loop.RunPending();
  ReadingCondition& condition = *line.scale->Condition();
  double now = 0;
  for (auto _ : state) {
    condition.Line()->Entered(kStandardFrame, ++now);
    condition.FrameTaken();
    condition.Taken();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(CountStandardFrameAlone);

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
