// Counts frames that get lost on saturated lines: a thread writes endless numbered frames into many
// pseudo-terminals at the pace of their lines, cut wherever a piece happens to end, and the server
// looks for gaps in the numbers that it reads.
//
// Usage: bench_loss [LINES] [SECONDS] [BAUD_INDEX]      (32 lines, 10 s, 9 = 115200 baud)
#include <algorithm>
#include <atomic>
#include <cmath>
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

constexpr long kNumbers = 1000000;  // six digits

/// One terminal: frame after frame, the weight of each its number.
class Terminal {
 public:
  Terminal(NativeHost& host, const std::string& place) : line_(host.CreateTerminalLine(place)) {}

  /// Hands over so many bytes, as far as the line takes them; the rest comes with the next call.
  void Carry(std::size_t bytes) {
    wanted_ += bytes;
    while (unsent_.size() < wanted_) unsent_ += NextFrame();
    const std::size_t sent = line_->Write(std::string_view(unsent_).substr(0, wanted_));
    unsent_.erase(0, sent);
    wanted_ -= sent;
  }

 private:
  std::string NextFrame() {
    number_ = (number_ + 1) % kNumbers;
    return std::string("\x02\x2A\x30\x20") +
           FormatNumber(static_cast<double>(number_), NumberPattern("000000")) + "000000\r\x55";
  }

  std::unique_ptr<TerminalLine> line_;
  std::string unsent_;
  std::size_t wanted_ = 0;
  long number_ = 0;
};

/// One scale, and what is missing between its readings.
struct Reader {
  Reader(const std::shared_ptr<ServerSite>& site, std::int16_t number, CommBaudRate baud)
      : scale(NewObject<TarnScale>(*site, "TarnScale")) {
    const auto serial = NewObject<SerialConnection>(*site, "SerialConnection");
    serial->ComPort(number);
    serial->BaudRate(baud);
    scale->ScaleNumber(number);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
    scale->Disabled(false);
    scale->RunScale();
    onWeight = scale->WeightData()->NewWeight.Subscribe([this] { Take(); });
  }

  void Take() {
    if (scale->WeightData()->NoDataError() || scale->WeightData()->NetWeight().empty()) return;
    const long number = std::lround(scale->WeightData()->NetWeightValue());
    if (number == last) return;  // the watchdog repeats a reading
    if (last >= 0) lost += (number - last + kNumbers) % kNumbers - 1;
    last = number;
    ++read;
  }

  std::shared_ptr<TarnScale> scale;
  long last = -1;
  long read = 0;
  long lost = 0;
  Subscription onWeight;
};

void FeedLines(NativeHost& host, std::vector<Terminal>& terminals, double bytesPerMillisecond,
               const std::atomic<bool>& ended) {
  std::mt19937 random(1);
  MessageLoop& loop = host.Loop();
  double before = loop.Now();
  while (!ended) {
    loop.RunUntil([] { return false; }, static_cast<std::int32_t>(1 + random() % 12));
    const double now = loop.Now();
    const auto bytes = static_cast<std::size_t>((now - before) * bytesPerMillisecond);
    before += static_cast<double>(bytes) / bytesPerMillisecond;
    for (Terminal& terminal : terminals) terminal.Carry(bytes);
  }
}

int Measure(int lines, int seconds, int baudIndex) {
  const auto folder = std::filesystem::temp_directory_path() /
                      ("bench-loss-" + std::to_string(std::random_device()()));
  std::filesystem::create_directory(folder);
  const auto terminalHost = CreateNativeHost({});
  HostOptions options;
  std::vector<Terminal> terminals;
  for (int n = 1; n <= lines; ++n) {
    options.portMap[n] = (folder / std::to_string(n)).string();
    terminals.emplace_back(*terminalHost, options.portMap[n]);
  }
  const auto host = CreateNativeHost(options);
  const auto site = std::make_shared<ServerSite>(*host);
  std::vector<std::unique_ptr<Reader>> readers;
  for (int n = 1; n <= lines; ++n) {
    readers.push_back(
        std::make_unique<Reader>(site, static_cast<std::int16_t>(n), CommBaudRate{baudIndex}));
  }

  const double baud = std::atof(std::string(BaudRatePiece(CommBaudRate{baudIndex})).c_str());
  constexpr double kBitsPerCharacter = 11;  // 7 data bits, parity, two stop bits
  std::atomic<bool> ended = false;
  std::thread feeder(
      [&] { FeedLines(*terminalHost, terminals, baud / kBitsPerCharacter / 1000, ended); });
  host->Loop().RunUntil([] { return false; }, seconds * 1000);
  ended = true;
  feeder.join();

  long read = 0;
  long lost = 0;
  for (const auto& reader : readers) {
    read += reader->read;
    lost += reader->lost;
  }
  std::printf("%d lines: %ld frames read, %ld lost\n", lines, read, lost);
  readers.clear();
  terminals.clear();
  std::filesystem::remove_all(folder);
  return EXIT_SUCCESS;
}

}  // namespace
}  // namespace tarn

int main(int argc, char** argv) {
  const auto argument = [&](int at, int usual, int most) {
    return argc > at ? std::clamp(std::atoi(argv[at]), 1, most) : usual;
  };
  return tarn::Measure(argument(1, 32, 32), argument(2, 10, 3600), argument(3, 9, 12));
}
