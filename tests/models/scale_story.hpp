// The same story twice: a scale with a protocol and a scale with that protocol's model live through
// the same steps, and what their clients see must be the same.
#pragma once

#include <array>
#include <charconv>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "tests/models/random_cases.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {

/// One of the two scales, with a host of its own.
struct ScaleSide {
  ScaleSide() { site->Winsock(1); }  // is made then

  FakeHost host;
  std::shared_ptr<ServerSite> site = std::make_shared<ServerSite>(host);
  std::shared_ptr<TarnScale> scale = NewObject<TarnScale>(*site, "TarnScale");
  std::string trace;
  std::vector<Subscription> subscriptions;
  bool fails = false;  ///< a handler, at the next reading

  FakeSerialPort& Port() { return *host.ports.back(); }
  FakeSocket& Socket() { return *host.sockets.front(); }

  /// What is made at every step of every story is made cheaply: appended, and numbers not printed.
  template <class Record>
  static void AppendReading(std::string& text, const Record& r) {
    for (const std::string* part :
         {&r.GrossWeight(), &r.TareWeight(), &r.NetWeight(), &r.Units()}) {
      (text += *part) += '|';
    }
    for (const double value : {r.GrossWeightValue(), r.TareWeightValue(), r.NetWeightValue()}) {
      std::array<char, 32> digits;
      text.append(digits.data(), std::to_chars(digits.begin(), digits.end(), value).ptr) += ' ';
    }
  }
  std::string State() {
    const auto& record = *scale->WeightData();
    std::string text;
    text.reserve(256);
    AppendReading(text, record);
    const bool flags[] = {record.Motion(),    record.OutOfRange(),  record.AtZero(),
                          record.InNetMode(), record.NoDataError(), scale->ActivityLED(),
                          scale->ErrorLED(),  scale->watchdog(),    scale->PRState()};
    for (std::size_t i = 0; i < std::size(flags); ++i) text += flags[i] ? "MRZNEaewp"[i] : '-';
    const auto sent = host.ports.empty() ? Socket().sent.size() : Port().written.size();
    AppendReading(text += ' ', *scale->PrintData());
    return text += std::to_string(sent);
  }
  void Watch(Event<>& event, const char* name, std::function<std::string()> state) {
    subscriptions.push_back(event.Subscribe([this, name, state = std::move(state)] {
      ((trace.append(name) += ' ') += state()) += '\n';
    }));
  }

  void Do(const std::string& what, const std::function<void(ScaleSide&)>& step) {
    ((trace += "> ") += what) += '\n';
    if (const int error = ErrorOf([&] { step(*this); })) {
      trace += "error " + std::to_string(error) + "\n";
    }
    for (const std::string& call : std::exchange(Socket().calls, {})) trace += call + "\n";
    for (const std::string& sent : std::exchange(Socket().sent, {})) trace += "sent " + sent + "\n";
    int threshold = 0;
    if (!host.ports.empty()) {
      trace += "sent " + std::exchange(Port().written, {}) + "\n";
      threshold = Port().ReceiveThreshold();
    }
    for (const int number : {threshold, static_cast<int>(scale->UpdateRate()),
                             scale->ActivityTimeoutTime(), scale->ActivityTimer()->TimeoutTime()}) {
      trace += std::to_string(number) + " ";
    }
    (trace += State()) += '\n';
  }
};

class ScaleStory {
 public:
  using Step = std::function<void(ScaleSide&)>;

  ScaleStory(Random& chance, const std::string& decimal, const char* connection,
             const char* protocol,
             const std::function<std::shared_ptr<_Protocol>(ScaleSide&)>& itsModel)
      : random(chance) {
    for (ScaleSide* side : {&real, &model}) {
      TarnScale& scale = *side->scale;
      side->host.locale.decimal = decimal;
      scale.ScaleNumber(1);
      scale.Connection(NewObject<_Connection>(*side->site, connection));
      scale.Connection()->IsBidirectional(true);
      scale.Disabled(false);
      const auto state = [side] { return side->State(); };
      side->Watch(scale.WeightData()->StatusChange, "StatusChange", state);
      side->Watch(scale.WeightData()->NewWeight, "NewWeight", state);
      side->Watch(scale.PrintData()->NewWeight, "Print", state);
      side->Watch(scale.NewStatus, "NewStatus", state);
      side->subscriptions.push_back(scale.WeightData()->NewWeight.Subscribe([side] {
        if (std::exchange(side->fails, false)) ThrowOverflow();
      }));
    }
    real.Do("bind", [&](ScaleSide& side) {
      side.scale->Protocol(NewObject<_Protocol>(*side.site, protocol));
    });
    model.Do("bind", [&](ScaleSide& side) { side.scale->Protocol(itsModel(side)); });
  }
  ~ScaleStory() { ExpectSameStory(real.trace, model.trace); }

  void Do(const std::string& what, const Step& step) {
    real.Do(what, step);
    model.Do(what, step);
  }
  /// Without its end character the port wakes the protocol in the middle of frames, too.
  void Run() {
    Do("run", [this](ScaleSide& side) {
      side.scale->RunScale();
      if (!side.host.ports.empty()) side.Port().EndCharacter(end);
      side.Socket().Accept();
    });
  }
  void Rate(double rate) {
    Do("rate", [rate](ScaleSide& side) { side.scale->UpdateRate(rate); });
  }
  void Type(int type) {
    Do("type " + std::to_string(type),
       [type](ScaleSide& side) { side.scale->Protocol()->pType(ProtocolType{type}); });
  }
  void Deliver(const std::string& bytes) {
    Do("receive " + bytes, [&](ScaleSide& side) {
      side.host.ports.empty() ? side.Socket().Deliver(bytes) : side.Port().Deliver(bytes);
      side.host.loop.RunPending();
    });
  }
  /// In pieces of any length, and between them things happen.
  void DeliverCut(const std::string& bytes) {
    const int longest = random.Chance(50) ? 400 : 12;
    for (std::size_t at = 0; at < bytes.size();) {
      const std::size_t length = 1 + random.Size(longest);
      Deliver(bytes.substr(at, length));
      at += length;
      if (random.Chance(15)) Any();
    }
  }

  /// What is the same for every protocol: time passes, a client does something.
  void Any() {
    static constexpr double kTares[] = {0, 12.5, -0.5, 100, 0.1 + 0.2, 1e15};
    double tare = random.OneOf(kTares);
    const bool flag = random.Chance(30);
    const int ticks = random.Below(8) + 1;
    const Step deeds[] = {
        [&](ScaleSide& side) { side.host.loop.Advance(ticks * 200); },
        [](ScaleSide& side) { side.scale->C(); },
        [](ScaleSide& side) { side.scale->P(); },
        [](ScaleSide& side) { side.scale->T(); },
        [](ScaleSide& side) { side.scale->Z(); },
        [&](ScaleSide& side) { side.scale->SetTare(tare); },
        [&](ScaleSide& side) { side.scale->printRequest(flag); },
        [&](ScaleSide& side) { side.scale->Connection()->IsBidirectional(!flag); },
        [](ScaleSide& side) { side.scale->StopScale(); },
        [&](ScaleSide& side) { side.scale->Disabled(flag); },
        [](ScaleSide& side) { side.fails = true; },
    };
    static const std::string often = "0000000000011122233344455566678";
    const int deed = random.Chance(4) ? 9 + random.Below(2) : random.OneOf(often) - '0';
    random.Chance(5) ? Run() : Do("deed " + std::to_string(deed), deeds[deed]);
  }

  Random& random;
  ScaleSide real, model;
  std::optional<char> end;
};

/// What the models of protocols on a port have in common.
class ModelProtocol : public Protocol {
 public:
  ModelProtocol(ScaleSide& itsSide, int type) : Protocol(ProtocolType{type}), side(itsSide) {
    if (side.host.ports.empty()) return;
    onReceive_ = side.Port().Receive.Subscribe([this] { Receive(); });
    onTimedOut_ = side.scale->ActivityTimer()->TimedOutEvent.Subscribe([this] { TimedOut(); });
  }

 protected:
  virtual void Receive() {}
  virtual void TimedOut() {}

  int Type() const { return static_cast<int>(pType()); }
  tarn::WeightData& Record() { return *side.scale->WeightData(); }
  void Prepare(int threshold, int timeout) {
    std::dynamic_pointer_cast<SerialConnection>(side.scale->Connection())
        ->ReceiveThresholdLength(static_cast<std::int16_t>(threshold));
    side.scale->ActivityTimeoutTime(timeout);
  }
  /// One character, or an empty text.
  std::string Input() {
    const auto character = side.Port().Input();
    return character ? std::string(1, *character) : "";
  }
  std::string Utf8(const std::string& bytes) { return side.host.locale.FromBytes(bytes); }
  /// From the last "." on, else from the last ",", the first "." becomes the user's separator.
  std::string Localized(std::string text) {
    auto at = text.rfind('.');
    if (at == std::string::npos) at = text.rfind(',');
    const auto point = at == std::string::npos ? at : text.find('.', at);
    return point == std::string::npos ? text : text.replace(point, 1, side.host.locale.decimal);
  }

  ScaleSide& side;

 private:
  Subscription onReceive_, onTimedOut_;
};

}  // namespace tarn
