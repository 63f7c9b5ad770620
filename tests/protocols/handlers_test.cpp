// A client may do anything in a handler in the middle of a reading, and its own objects at any
// call.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "protocols/template_protocol.hpp"
#include "shareddata/kes_sd_protocol.hpp"
#include "tests/support/client_summit.hpp"
#include "tests/support/summit_fixture.hpp"

namespace tarn {
namespace {

struct Line {
  const char* protocol;
  int type;
  std::vector<std::string> messages;  ///< a reading, and then once more
};

const std::string kContinuous = "\x02+8 001234000100\r";  // asks for a print
const std::vector<Line> kLines = {
    {"TarnContinuousProtocol", 1, {kContinuous + kContinuous}},
    {"TarnContinuousProtocol", 4, {"\x02+( 001234\r\x02+( 001234\r"}},
    {"MiraProtocol", 6, {"S S 123.4 kg\r\nS D 123.4 kg\r\n"}},
    {"MiraProtocol", 7, {"S D 123.4 kg\r\nS S 123.4 kg\r\n"}},
    {"GenericProtocol", 24, {"\r 123.4  mkg     \x03\r 123.4  mkg     \x03"}},
    {"GenericProtocol", 28, {"   123.4 kg    \r\n   123.4 kg    \r\n"}},
    {"DemandTemplateProtocol", 18, {"1,2,3,", "4,5,6,7", ",8,9,"}},
    {"KesDemandTemplateProtocol", 19, {"1,2,3,", "4,5,6,7", ",8,9,"}},
    {"KesSDProtocol",
     14,
     {Reply("/k1/_safl", "\x21\x12") + Reply("/k1/wt101", "1") + Reply("/k1/wt102", "1") +
          Reply("/k1/ws102", "0") + Reply("/k1/wt103", "oz"),
      Reply("/k1/wt103", "kg")}},
    {"SummitProtocol",
     0,
     {ReplyOf("u_001", 1, "\x01"), ReplyOf("aaaaa", 1, "1234"), ReplyOf("bb", 1, "1234"),
      ReplyOf("ccccc", 1, "12345678"), ReplyOf("x", 7, ""), ReplyOf("aaaaa", 1, "1234")}},
};

class Handlers : public SummitFixture {
 protected:
  bool IsSerial() const { return !host.ports.empty(); }

  void Start(const Line& line) {
    host.ports.clear();
    scale = NewScale();
    const auto protocol = NewObject<_Protocol>(*site, line.protocol);
    watched = protocol;
    const bool network = std::string(line.protocol).find_first_of("KS") == 0;
    scale->Connection(
        NewObject<_Connection>(*site, network ? "EthernetConnection" : "SerialConnection"));
    scale->Protocol(protocol);
    protocol->pType(ProtocolType{line.type});
    calls = 0;
    if (const auto summit = std::dynamic_pointer_cast<SummitProtocol>(protocol)) {
      const auto config = std::make_shared<ClientConfig>();
      config->tags = {ClientConfig::Tag("aaaaa", SDTagType::SDLongType, 4),
                      ClientConfig::Tag("bb", SDTagType::SDLongType, 4),
                      ClientConfig::Tag("ccccc", SDTagType::SDLongArrayType, 8)};
      config->tags[1]->TriggerRequired(true);
      config->resets = {"r_001", "r_002"};
      config->triggers = {"u_001"};
      config->trigger = ClientConfig::Tag("u_001", SDTagType::SDBitType, 1);
      const auto data = std::make_shared<ClientData>();
      config->called = data->called = [this] { Called(); };
      summit->Configuration(config);
      scale->SummitData(data);
    }
    if (const auto records = std::dynamic_pointer_cast<TemplateProtocol>(protocol)) {
      records->TemplateConfig()->NumFields(3);
    }
    if (const auto shared = std::dynamic_pointer_cast<KesSDProtocol>(protocol)) {
      shared->scaleNum("A");
    }
    scale->Connection()->IsBidirectional(true);
    scale->Disabled(false);
    scale->RunScale();
    scale->ActivityTimer()->TimeoutTime(0);  // the scale's own watchdog does not look on
    Socket(1).Accept();
    const auto record = scale->WeightData();
    const auto fields = scale->TarnRecordTemplateData();
    for (Event<>* event : {&record->StatusChange, &record->NewWeight, &scale->NewStatus,
                           &scale->PrintData()->NewWeight, &fields->NewDataReady,
                           &fields->TimeoutError, &fields->ConfigChanged}) {
      subscriptions.push_back(event->Subscribe([this] { Called(); }));
    }
    const auto taken = [this, raw = record.get(), texts = fields.get()] {
      if (raw->NetWeight() == "123.4" || raw->NetWeight() == "1" || texts->FieldData(1) == "1") {
        ++readings;
      }
    };
    subscriptions.push_back(record->NewWeight.Subscribe(taken));
    subscriptions.push_back(fields->NewDataReady.Subscribe(taken));
  }
  FakeSocket& Socket(std::int16_t number) {
    return dynamic_cast<FakeSocket&>(*site->Winsock(number));
  }
  void Called() {
    if (++calls == at) deed();
  }
  /// How many readings came of it; of a terminal's variables how many requests.
  std::size_t Feed(const Line& line) {
    FakeSocket& link = Socket(1);
    const std::size_t sent = link.sent.size();
    readings = 0;
    for (const std::string& message : line.messages) {
      host.loop.Post([this, &link, &message] {
        host.ports.empty() ? link.Deliver(message) : Port().Deliver(message);
      });
      host.loop.Advance(600);
    }
    host.loop.Advance(2000);
    return line.type == 0 ? link.sent.size() - sent : readings;
  }

  std::function<void()> deed;
  int at = 0, calls = 0;
  std::size_t readings = 0;
  std::weak_ptr<_Protocol> watched;
};

TEST_F(Handlers, MayDoAnythingAtAnyCall) {
  const auto protocol = [this] { return watched.lock(); };
  const auto foreign = NewScale(2);
  enum Then { kGoesOn, kEnds, kEither };
  const struct {
    const char* name;
    std::function<void()> deed;
    Then then;
  } cases[] = {
      {"throw", [] { throw std::runtime_error("the client failed"); }, kGoesOn},
      {"wait", [this] { host.loop.RunUntil([] { return false; }, 3000); }, kGoesOn},
      {"run", [this] { scale->RunScale(); }, kEither},
      {"bytes", [this] { IsSerial() ? Port().Deliver("\r\n\x03") : Socket(1).Deliver("1,2"); },
       kGoesOn},
      {"type", [&] { protocol()->pType(ProtocolType{26}); }, kEither},
      {"no record", [&] { protocol()->WeightData(nullptr); }, kEither},
      {"another data object",
       [this] { scale->SummitData(NewObject<_SummitData>(*site, "SummitData")); }, kGoesOn},
      {"no data object", [this] { scale->SummitData(nullptr); }, kGoesOn},
      {"no configuration",
       [&] {
         if (const auto summit = std::dynamic_pointer_cast<SummitProtocol>(protocol())) {
           summit->Configuration(nullptr);
         }
         if (const auto records = std::dynamic_pointer_cast<TemplateProtocol>(protocol())) {
           records->TemplateConfig(nullptr);
         }
       },
       kEither},
      {"stop", [this] { scale->StopScale(); }, kEnds},
      {"disable", [this] { scale->Disabled(true); }, kEnds},
      {"no scale", [&] { protocol()->myScale(nullptr); }, kEnds},
      {"another scale", [&] { protocol()->myScale(foreign); }, kEither},
      {"no connection", [&] { protocol()->Connection(nullptr); }, kEnds},
      // A protocol on a port deliberately keeps it when it gets a connection of another kind.
      {"another connection",
       [this] {
         scale->Connection(IsSerial() ? nullptr : NewObject<_Connection>(*site, "NoConnection"));
       },
       kEnds},
      {"another protocol", [this] { scale->Protocol(NewObject<_Protocol>(*site, "NoProtocol")); },
       kEnds},
      {"let go of the scale", [this] { scale.reset(); }, kEnds},
  };
  for (const Line& line : kLines) {
    for (const auto& one : cases) {
      deed = one.deed;
      for (at = 1;; ++at) {
        SCOPED_TRACE(std::string(line.protocol) + ": " + one.name + " at " + std::to_string(at));
        subscriptions.clear();
        Start(line);
        if (scale) scale->printRequest();
        Feed(line);
        if (calls < at) break;
        const std::size_t then = Feed(line);
        EXPECT_TRUE(one.then == kEither || (then > 0) == (one.then == kGoesOn));
        subscriptions.clear();
        if (scale) scale->StopScale();
        scale.reset();
        EXPECT_TRUE(watched.expired());
        if (HasFailure()) return;
      }
      EXPECT_GT(at, 4);
    }
  }
}

}  // namespace
}  // namespace tarn
