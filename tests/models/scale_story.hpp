// A scale and its model, side by side: each step of a story is done to both, and both write down
// what their clients see.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/models/random_cases.hpp"
#include "tests/models/scale_model.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {

/// Wakes its reader with each delivery after which enough characters wait, whatever they are.
class PlainPort final : public SerialPort {
 public:
  void Deliver(const std::string& bytes) {
    if (!open) return;
    waiting += bytes;
    if (InBufferCount() >= threshold) Receive.Raise();
  }
  std::string waiting, written;
  std::int16_t threshold = 1;
  bool open = false;

  void PortNumber(std::int16_t /*number*/) override {}
  std::int16_t PortNumber() const override { return 1; }
  void Settings(std::string_view /*settings*/) override {}
  std::string Settings() const override { return {}; }
  void ReceiveThreshold(std::int16_t length) override { threshold = length; }
  std::int16_t ReceiveThreshold() const override { return threshold; }
  void EndCharacter(std::optional<char> /*end*/) override {}
  std::optional<char> EndCharacter() const override { return {}; }
  void PortOpen(bool value) override { open = value; }
  bool PortOpen() const override { return open; }
  std::int32_t InBufferCount() const override { return static_cast<std::int32_t>(waiting.size()); }
  void ClearInput() override { waiting.clear(); }
  std::optional<char> Input() override {
    if (waiting.empty()) return {};
    const char character = waiting.front();
    waiting.erase(0, 1);
    return character;
  }
  void Output(std::string_view bytes) override {
    if (!open) throw AutomationError(ErrorNumber::PortNotOpen, "The port is not open");
    written += bytes;
  }
  std::string DeviceName() const override { return {}; }
};

class ScaleStory {
 public:
  ScaleStory(Random& chance, ScaleModel& itsModel, std::string_view protocolClass)
      : random(chance), model(itsModel) {
    host.locale.decimal = model.decimal;
    scale = NewObject<TarnScale>(*site, "TarnScale");
    scale->ScaleNumber(1);
    const auto serial = NewObject<SerialConnection>(*site, "SerialConnection");
    serial->SaxPort(port);
    serial->IsBidirectional(true);
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, protocolClass));
    scale->Disabled(false);
    scale->UpdateRate(0);
    model.ClearWeight();
    model.trace.clear();
    Watch(scale->WeightData()->StatusChange, "StatusChange");
    Watch(scale->WeightData()->NewWeight, "NewWeight");
    Watch(scale->PrintData()->NewWeight, "Print");
    Watch(scale->NewStatus, "NewStatus");
  }

  /// Does one thing to the scale and to its model.
  void Step(const std::string& what, const std::function<void()>& real,
            const std::function<void()>& modelled) {
    trace_ += "> " + what + "\n";
    model.trace += "> " + what + "\n";
    const int error = ErrorOf(real);
    if (error != 0) trace_ += "error " + std::to_string(error) + "\n";
    try {
      modelled();
    } catch (const RunTimeError& modelError) {
      model.trace += "error " + std::to_string(modelError.number) + "\n";
    }
    const auto end = [](const std::string& sent, int threshold, int timeout, int left,
                        const ScaleState& state) {
      return "sent " + Shown(sent) + " threshold " + std::to_string(threshold) + " time-out " +
             std::to_string(timeout) + ", left " + std::to_string(left) + "\n" + state.Text();
    };
    trace_ += end(std::exchange(port->written, {}), port->threshold, scale->ActivityTimeoutTime(),
                  scale->ActivityTimer()->TimeoutTime(), State());
    model.trace += end(std::exchange(model.sent, {}), model.threshold, model.activityTimeoutTime,
                       model.activityTimer.ticks * 200, model);
  }

  void Run() {
    Step(
        "run", [&] { scale->RunScale(); }, [&] { model.RunScale(); });
  }
  void Type(int type) {
    Step(
        "type " + std::to_string(type), [&] { scale->Protocol()->pType(ProtocolType{type}); },
        [&] { model.Type(type); });
  }
  void Deliver(const std::string& bytes) {
    Step(
        "receive " + Shown(bytes), [&] { port->Deliver(bytes); }, [&] { model.Deliver(bytes); });
  }
  /// In pieces of any length, and between them things happen.
  void DeliverCut(const std::string& bytes) {
    const int longest = random.Chance(50) ? 400 : 12;
    for (std::size_t at = 0; at < bytes.size();) {
      const std::string piece =
          bytes.substr(at, static_cast<std::size_t>(1 + random.Below(longest)));
      Deliver(piece);
      at += piece.size();
      if (random.Chance(15)) Any();
    }
  }

  /// What is the same for every protocol: time passes, a client does something.
  void Any() {
    const int deed = random.Below(100);
    if (deed < 45) {
      for (int ticks = random.Below(8); ticks >= 0; --ticks) {
        Step(
            "200 ms", [&] { host.loop.Advance(200); }, [&] { model.Tick(); });
      }
    } else if (deed < 80) {
      const char command = random.OneOf(std::string("CPTZS"));
      const auto tare = random.OneOf(kTares);
      Step(
          std::string("command ") + command, [&] { Press(command, tare.value); },
          [&] { model.Command(command, tare.text); });
    } else if (deed < 88) {
      const bool now = random.Chance(50);
      Step(
          "print", [&] { scale->printRequest(now); },
          [&] { now ? model.Print() : model.RequestPrint(); });
    } else if (deed < 92) {
      const bool both = random.Chance(70);
      Step(
          "direction", [&] { scale->Connection()->IsBidirectional(both); },
          [&] { model.bidirectional = both; });
    } else if (deed < 95) {
      Step(
          "stop", [&] { scale->StopScale(); }, [&] { model.StopScale(); });
    } else if (deed < 97) {
      const bool disabled = random.Chance(30);
      Step(
          "disabled", [&] { scale->Disabled(disabled); }, [&] { model.Disabled(disabled); });
    } else {
      Run();
    }
  }

  void ExpectTheSame() const { ExpectSameStory(trace_, model.trace); }

  Random& random;
  ScaleModel& model;
  FakeHost host;
  std::shared_ptr<ServerSite> site = std::make_shared<ServerSite>(host);
  std::shared_ptr<PlainPort> port = std::make_shared<PlainPort>();
  std::shared_ptr<TarnScale> scale;

 private:
  struct Tare {
    double value;
    const char* text;
  };
  static constexpr Tare kTares[] = {{0, "0"},     {12.5, "12.5"},     {-0.5, "-0.5"},
                                    {100, "100"}, {0.1 + 0.2, "0.3"}, {1e15, "1E+15"}};

  void Press(char command, double tare) {
    if (command == 'C') scale->C();
    if (command == 'P') scale->P();
    if (command == 'T') scale->T();
    if (command == 'Z') scale->Z();
    if (command == 'S') scale->SetTare(tare);
  }
  void Watch(Event<>& event, const char* name) {
    subscriptions_.push_back(
        event.Subscribe([this, name] { trace_ += name + (" " + State().Text()); }));
  }
  template <class Record>
  static ReadingState ReadingOf(const Record& r) {
    return {r.GrossWeight(),      r.TareWeight(),      r.NetWeight(),     r.Units(),
            r.GrossWeightValue(), r.TareWeightValue(), r.NetWeightValue()};
  }
  ScaleState State() const {
    const auto& weight = *scale->WeightData();
    return {
        ReadingOf(weight),  weight.Motion(),      weight.OutOfRange(),           weight.AtZero(),
        weight.InNetMode(), weight.NoDataError(), scale->ActivityLED(),          scale->ErrorLED(),
        scale->watchdog(),  scale->PRState(),     ReadingOf(*scale->PrintData())};
  }
  static std::string Shown(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
      if (c > ' ' && c < 127)
        text += c;
      else
        text += "<" + std::to_string(static_cast<unsigned char>(c)) + ">";
    }
    return text;
  }

  std::string trace_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace tarn
