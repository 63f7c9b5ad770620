// Template records, over a serial line and over TCP with keep-alive texts in them.
//
// The first byte chooses: bit 0 the way of the network, bits 1 and 2 the texts of the template. The
// second gives the number of fields. Then, in what arrives, 0xF1 to 0xFF let time pass, 0xF0 ends a
// piece, and on the network 0xEF is a keep-alive text and 0xEE a piece that ends inside one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "connections/serial_connection.hpp"
#include "protocols/keep_alive.hpp"
#include "protocols/template_protocol.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "tests/fakes/fake_host.hpp"

namespace tarn {
namespace {

using Records = std::vector<std::string>;

void Check(bool holds) {
  if (!holds) std::abort();
}

struct Texts {
  const char *start, *delimiter, *terminator;
};
constexpr Texts kTexts[] = {{"", ",", "\r\n"}, {"#", ",", ";"}, {"", "::", ""}, {"##", "", "\r"}};

/// A scale with a template whose line takes what the fuzzer makes.
class Line {
 public:
  Line(bool network, const Texts& texts, std::int16_t numFields) : network_(network) {
    const auto ethernet = NewObject<EthernetConnection>(*site_, "EthernetConnection");
    ethernet->IPAddress("127.0.0.2");
    scale_->ScaleNumber(1);
    if (network)
      scale_->Connection(ethernet);
    else
      scale_->Connection(NewObject<_Connection>(*site_, "SerialConnection"));
    scale_->Protocol(NewObject<_Protocol>(
        *site_, network ? "KesDemandTemplateProtocol" : "DemandTemplateProtocol"));
    const auto config =
        std::dynamic_pointer_cast<TemplateProtocol>(scale_->Protocol())->TemplateConfig();
    config->NumFields(numFields);
    config->StartString(texts.start);
    config->Delimiter(texts.delimiter);
    config->Terminator(texts.terminator);
    scale_->Disabled(false);
    scale_->RunScale();
    if (network) Socket().Accept();
    onRecord_ = scale_->TarnRecordTemplateData()->NewDataReady.Subscribe([this, numFields] {
      std::string text;
      for (std::int16_t i = 1; i <= numFields; ++i) {
        text += scale_->TarnRecordTemplateData()->FieldData(i) + "\n";
      }
      records.push_back(text);
    });
  }
  ~Line() { Check(host_.traces.empty()); }

  void Deliver(const std::string& bytes) {
    if (bytes.empty()) return;
    if (network_)
      Socket().Deliver(bytes);
    else
      host_.ports.back()->Deliver(bytes);
    host_.loop.RunPending();
  }
  void Pass(double milliseconds) { host_.loop.Advance(milliseconds); }

  Records records;

 private:
  FakeSocket& Socket() { return *host_.sockets.front(); }

  bool network_;
  FakeHost host_;
  std::shared_ptr<ServerSite> site_ = std::make_shared<ServerSite>(host_);
  std::shared_ptr<TarnScale> scale_ = NewObject<TarnScale>(*site_, "TarnScale");
  Subscription onRecord_;
};

/// Without its keep-alive texts a stream gives the same records, only later: a text that arrives is
/// an occasion to take a record that waits. Holds where no record ends before its last field, and
/// for text that is free of exclamation marks.
void CheckKeepAlives(std::int16_t numFields, std::string_view bytes) {
  Line with(true, {"", ",", ""}, numFields);
  Line without(true, {"", ",", ""}, numFields);
  std::string piece;
  std::string plain;
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (byte == 0xEF) piece += kKeepAliveText;
    if (byte == 0xEE || byte >= 0xF0) {
      const std::size_t inside = byte == 0xEE ? 1 + plain.size() % (kKeepAliveText.size() - 1) : 0;
      with.Deliver(piece + std::string(kKeepAliveText.substr(0, inside)));
      if (inside > 0) with.Deliver(std::string(kKeepAliveText.substr(inside)));
      without.Deliver(std::exchange(plain, {}));
      piece.clear();
    }
    if (byte >= 0xEE || c == '!') continue;
    piece += c;
    plain += c;
  }
  with.Deliver(piece);
  without.Deliver(plain);
  Check(with.records.size() >= without.records.size());
  Check(std::equal(without.records.begin(), without.records.end(), with.records.begin()));
}

/// Against the plainest way to do the same.
void CheckFilter(const std::string& bytes) {
  std::string plain = bytes;
  for (auto at = plain.find(kKeepAliveText); at != plain.npos; at = plain.find(kKeepAliveText)) {
    plain.erase(at, kKeepAliveText.size());
  }
  std::string filtered = bytes;
  const bool front = RemoveKeepAlives(filtered);
  Check(filtered == plain);
  Check(!front || filtered.size() < bytes.size());
  Check(UnfinishedKeepAlive(filtered) <= std::min(filtered.size(), kKeepAliveText.size() - 1));
}

}  // namespace
}  // namespace tarn

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn;
  if (size < 3) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  const bool network = (data[0] & 1U) != 0;
  const auto numFields = static_cast<std::int16_t>(1 + data[1] % 20);
  CheckFilter(std::string(bytes));
  CheckKeepAlives(numFields, bytes);

  Line line(network, kTexts[data[0] >> 1U & 3U], numFields);
  std::string piece;
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (network && byte == 0xEF) piece += kKeepAliveText;
    if (byte < 0xF0) {
      piece += c;
      continue;
    }
    line.Deliver(std::exchange(piece, {}));
    line.Pass((byte - 0xF0) * 60.0);
  }
  line.Deliver(piece);
  line.Pass(2000);
  return 0;
}
