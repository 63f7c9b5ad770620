// Bytes of the network on both sides of a shared-data exchange. The first byte chooses: a reply
// that a message loads, datagrams that a scale's protocol gets, requests and tables that a
// simulated terminal gets.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "connections/ethernet_connection.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "shareddata/kes_message.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tools/tarnsim/load_script.hpp"
#include "tools/tarnsim/shared_data_terminal.hpp"
#include "tools/tarnsim/usage_error.hpp"

namespace {

using namespace tarn;

std::int16_t NumberAt(std::string_view bytes, std::size_t at) {
  return bytes.size() < at + 2 ? std::int16_t{0} : FromLittleEndian<std::int16_t>(bytes.substr(at));
}

/// A count, an index and an available length, then the reply.
void TryReply(std::string_view bytes) {
  if (bytes.size() < 6) return;
  const FakeLocale locale;
  KesMessage message(locale);
  const std::string_view reply = bytes.substr(6);
  const std::int16_t loaded = message.LoadReply(reply, NumberAt(bytes, 0));
  const std::size_t data = reply.size() - std::min(reply.size(), kMessageHeaderLength);
  if (loaded < 0 || static_cast<std::size_t>(loaded) > data) std::abort();
  const std::int16_t index = NumberAt(bytes, 2);
  const std::int16_t available = NumberAt(bytes, 4);
  message.GetBit(available);
  message.GetShort(index, available);
  message.GetLong(index, available);
  message.GetFloat(index, available);
  message.GetDouble(index, available);
  message.GetLongText(index, available);
  const std::string text = message.GetString(index, available);
  const std::string chars = message.GetCharArray(index, available);
  const std::string all = message.GetByteArray(index, available);
  const auto most = static_cast<std::size_t>(index < 0 ? 0 : index);
  if (chars.size() > most || all.size() > most || text.size() > 2 * most) std::abort();
  message.ReplySource();
}

/// Each datagram has a byte for its length in front; 255 stands for a tick of the scale.
void TryArrivals(std::string_view bytes) {
  FakeHost host;
  const auto site = std::make_shared<ServerSite>(host);
  const auto scale = NewObject<TarnScale>(*site, "TarnScale");
  scale->ScaleNumber(1);
  const auto ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
  const auto protocol = NewObject<KesSDProtocol>(*site, "KesSDProtocol");
  protocol->scaleNum("a");
  scale->Connection(ethernet);
  scale->Protocol(protocol);
  scale->Disabled(false);
  scale->RunScale();
  auto& socket = dynamic_cast<FakeSocket&>(*ethernet->mvarSocket());
  while (!bytes.empty()) {
    const auto length = static_cast<std::uint8_t>(bytes.front());
    bytes.remove_prefix(1);
    if (length == 255) {
      host.loop.Advance(100);
    } else {
      socket.Deliver(bytes.substr(0, length));
      bytes.remove_prefix(std::min<std::size_t>(length, bytes.size()));
    }
    // A tick asks for one variable, a reply of 29 bytes or more for one each.
    if (socket.sent.size() > 254 / kMessageHeaderLength) std::abort();
    for (const std::string& request : std::exchange(socket.sent, {})) {
      if (request.size() != 201) std::abort();
    }
  }
}

void TryTerminal(std::string_view bytes) {
  sim::SharedDataTerminal::Options options;
  const std::size_t end = std::min(bytes.find('\0'), bytes.size());
  try {
    sim::AddVariables(options.table, sim::ScaleVariables('a'));
    sim::AddVariables(options.table, bytes.substr(0, end));
  } catch (const sim::UsageError&) {
    // refused
  }
  options.graduation = sim::MakeGraduation(100, 0.01, {});
  sim::SharedDataTerminal terminal(
      options,
      std::make_unique<sim::Indicator>(sim::Indicator::Options{options.graduation},
                                       sim::ParseLoadScript("load 5"), sim::LoadModel::Options{}));
  std::size_t longest = 0;
  const auto answer = terminal.Answer.Subscribe(
      [&](std::string_view reply, const sim::Peer&) { longest = std::max(longest, reply.size()); });
  for (double now = 0; now < 100; now += 50) {
    terminal.Tick(now);
    terminal.Receive(bytes.substr(end), {"127.0.0.1", 1701});
    for (const auto& [name, variable] : options.table.variables) {
      std::string request(kMessageHeaderLength, '\0');
      request.replace(14, name.size(), name);
      request[24] = static_cast<char>(now > 0 ? kReadCommand : kWriteCommand);
      terminal.Receive(request, {"127.0.0.1", 1701});
    }
  }
  if (longest > sizeof(ReplyMessageStruct)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 3 == 0)
    TryReply(bytes);
  else if (data[0] % 3 == 1)
    TryArrivals(bytes);
  else
    TryTerminal(bytes);
  return 0;
}
