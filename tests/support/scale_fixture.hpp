// What the tests of scales, connections, protocols and the server share: a host of fakes, a site,
// and a line of text for everything that a record or a scale raises.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "connections/serial_connection.hpp"
#include "scale/tarn_scale.hpp"
#include "server/server_site.hpp"
#include "tests/fakes/fake_host.hpp"
#include "tests/support/error_of.hpp"

namespace tarn {

/// Writes down the events of a scale and its records by short names, in order.
class EventRecorder {
 public:
  void Watch(TarnScale& scale) {
    Add(scale.WeightData()->NewWeight, "NewWeight");
    Add(scale.WeightData()->StatusChange, "StatusChange");
    Add(scale.PrintData()->NewWeight, "Print");
    Add(scale.NewStatus, "NewStatus");
    Add(scale.ScaleConfigurationChange, "Configuration");
    Add(scale.UpdateWeight, "UpdateWeight");
  }
  void Add(Event<>& event, std::string name) {
    subscriptions_.push_back(event.Subscribe([this, name = std::move(name)] { Note(name); }));
  }
  void Note(const std::string& name) { text_ += text_.empty() ? name : " " + name; }
  /// The events since the last call.
  std::string Take() { return std::exchange(text_, {}); }

 private:
  std::string text_;
  std::vector<Subscription> subscriptions_;
};

class ScaleFixture : public testing::Test {
 protected:
  std::shared_ptr<TarnScale> NewScale(std::int16_t number = 1) {
    auto scale = NewObject<TarnScale>(*site, "TarnScale");
    scale->ScaleNumber(number);
    return scale;
  }

  /// A scale on a serial line with the protocol of that class, enabled, not yet running.
  std::shared_ptr<TarnScale> NewSerialScale(std::string_view protocolClass) {
    auto scale = NewScale();
    serial = NewObject<SerialConnection>(*site, "SerialConnection");
    scale->Connection(serial);
    scale->Protocol(NewObject<_Protocol>(*site, protocolClass));
    scale->Disabled(false);
    return scale;
  }
  FakeSerialPort& Port() { return *host.ports.back(); }

  FakeHost host;
  std::shared_ptr<ServerSite> site = std::make_shared<ServerSite>(host);
  std::shared_ptr<SerialConnection> serial;
};

}  // namespace tarn
