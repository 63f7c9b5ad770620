// Any bytes, in any pieces, at any moments, on a line with the continuous protocol. The first byte
// chooses the layout; a byte above 0xF0 lets time pass instead of arriving.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "connections/serial_connection.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "tests/fakes/fake_host.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn;
  if (size < 2) return 0;
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  scale->ScaleNumber(1);
  scale->Connection(NewObject<_Connection>(*site, "SerialConnection"));
  scale->Protocol(NewObject<_Protocol>(*site, "TarnContinuousProtocol"));
  scale->Protocol()->pType(ProtocolType{data[0] % 7});
  scale->Disabled(false);
  scale->RunScale();
  FakeSerialPort& port = *host.ports.back();

  std::string piece;
  for (std::size_t i = 1; i < size; ++i) {
    if (data[i] <= 0xF0) {
      piece.push_back(static_cast<char>(data[i]));
      continue;
    }
    port.Deliver(std::exchange(piece, {}));
    host.loop.Advance((data[i] - 0xF0) * 10.0);
  }
  port.Deliver(piece);
  host.loop.Advance(2000);

  // Nothing is left that would never be read, no fault went unnoticed, and the record is sound.
  if (port.InBufferCount() >= port.ReceiveThreshold()) std::abort();
  if (!host.traces.empty()) std::abort();
  const auto record = scale->WeightData();
  if (record->GrossWeight().size() > 32 || record->Units().size() > 3) std::abort();
  return 0;
}
