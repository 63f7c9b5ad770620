// Any bytes, in any pieces, at any moments, on a line with a protocol. A byte above 0xF0 lets time
// pass instead of arriving.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "connections/serial_connection.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "tests/fakes/fake_host.hpp"

namespace tarn {

/// Ends the program where something is left that would never be read, a fault went unnoticed or a
/// text of the record has grown beyond what its line can carry.
inline void FuzzSerialLine(const char* protocol, ProtocolType type, std::string_view bytes,
                           std::size_t longestText) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  scale->ScaleNumber(1);
  const auto serial = NewObject<_Connection>(*site, "SerialConnection");
  serial->IsBidirectional(true);
  scale->Connection(serial);
  scale->Protocol(NewObject<_Protocol>(*site, protocol));
  scale->Protocol()->pType(type);
  scale->Disabled(false);
  scale->RunScale();
  FakeSerialPort& port = *host.ports.back();

  std::string piece;
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (byte <= 0xF0) {
      piece.push_back(c);
      continue;
    }
    port.Deliver(std::exchange(piece, {}));
    host.loop.Advance((byte - 0xF0) * 10.0);
    if ((byte & 1U) != 0) scale->Z();
  }
  port.Deliver(piece);
  host.loop.Advance(2000);

  if (port.InBufferCount() >= port.ReceiveThreshold()) std::abort();
  if (!host.traces.empty()) std::abort();
  const auto record = scale->WeightData();
  for (const std::string* text :
       {&record->GrossWeight(), &record->TareWeight(), &record->NetWeight(), &record->Units()}) {
    if (text->size() > longestText) std::abort();
  }
}

}  // namespace tarn
