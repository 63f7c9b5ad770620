// Any datagrams at the engine of the terminal data sets, with their own objects behind it. The
// first byte chooses the data set; with the BASIC exchange every type of variable is polled. Then
// deeds, each a byte and a length: raw bytes, a reply to the last request that carries the bytes, a
// single read that meanwhile gets them, or time.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "connections/ethernet_connection.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/support/fake_terminal.hpp"

namespace {

using namespace tarn;

/// What the last request asked for, answered with the bytes.
std::string Answer(const FakeSocket& socket, std::string_view bytes) {
  if (socket.sent.empty()) return std::string(bytes);
  const Request request(socket.sent.back());
  return ReplyOf(request.name, request.header.sequenceNumber, bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  scale->ScaleNumber(1);
  scale->Connection(NewObject<EthernetConnection>(*site, "EthernetConnection"));
  const auto engine = NewObject<SummitProtocol>(*site, "SummitProtocol");
  scale->Protocol(engine);
  engine->pType(ProtocolType{20 + data[0] % 4});
  const auto basic = std::dynamic_pointer_cast<TarnKesBasicData>(scale->SummitData());
  if (basic) {
    auto& config = dynamic_cast<TarnKesBasicConfig&>(*engine->Configuration());
    for (int type = 1; type <= 13; ++type) {
      config.AddVariable(std::to_string(type), "v" + std::to_string(type), SDTagType{type},
                         type < 9 ? 8 : 40, true, true);
    }
  }
  scale->Disabled(false);
  scale->RunScale();
  host.loop.Advance(200);

  FakeSocket& socket = *host.sockets.front();
  std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  while (input.size() >= 2) {
    const auto deed = static_cast<std::uint8_t>(input[0]);
    const std::string_view bytes = input.substr(2, static_cast<std::uint8_t>(input[1]));
    input.remove_prefix(2 + bytes.size());
    TagValue value;
    if (deed % 4 == 0) socket.Deliver(bytes);
    if (deed % 4 == 1) socket.Deliver(Answer(socket, bytes));
    if (deed % 4 == 2) {
      host.loop.Post([&socket, bytes] { socket.Deliver(Answer(socket, bytes)); });
      if (basic) basic->SDRead(std::to_string(deed / 4 % 16), value);
      if (basic) basic->SDWrite(std::to_string(deed / 4 % 16), value);
    }
    if (deed % 4 == 3) host.loop.Advance(10.0 * deed);
  }
  // The rounds go on, whatever came.
  if (engine->Configuration()->GetTagInfoCount() == 0) return 0;
  host.loop.Advance(3000);
  const std::size_t before = socket.sent.size();
  host.loop.Advance(3000);
  if (socket.sent.size() == before) std::abort();
  return 0;
}
