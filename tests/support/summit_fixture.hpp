// A scale whose protocol polls terminal variables, at the first socket of a fake host.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "connections/ethernet_connection.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/terminal_data.hpp"
#include "tests/support/fake_terminal.hpp"
#include "tests/support/scale_fixture.hpp"

namespace tarn {

class SummitFixture : public ScaleFixture {
 protected:
  /// Not yet running.
  void Make(ProtocolType type) {
    scale = NewScale();  // a former one leaves its socket for good
    socket = std::dynamic_pointer_cast<FakeSocket>(site->Winsock(1));
    terminal = FakeTerminal(socket);
    const auto ethernet = NewObject<EthernetConnection>(*site, "EthernetConnection");
    ethernet->IPAddress("127.0.0.2");
    ethernet->SocketProtocol(0);  // as another protocol would leave them
    ethernet->RemotePort(1749);
    scale->Connection(ethernet);
    engine = NewObject<SummitProtocol>(*site, "SummitProtocol");
    scale->Protocol(engine);
    engine->pType(type);
    scale->Disabled(false);
    Watch();
  }
  void Watch() {
    subscriptions.clear();
    subscriptions.push_back(scale->NewStatus.Subscribe([this] {
      log += std::string("Lamps(") + (scale->ActivityLED() ? "A" : "") +
             (scale->ErrorLED() ? "E" : "") + ") ";
    }));
    if (const auto data = Data<TerminalData>()) {
      Note(data->NewDataReady, "New ");
      Note(data->CommLossErrorEvent, "Lost ");
      Note(data->ConfigChanged, "Config ");
    }
  }
  void Note(Event<>& event, const char* text) {
    subscriptions.push_back(event.Subscribe([this, text] { log += text; }));
  }
  FakeSocket& Socket() { return *socket; }
  template <class Kind>
  std::shared_ptr<Kind> Data() {
    return std::dynamic_pointer_cast<Kind>(scale->SummitData());
  }
  /// Lets time pass; the events and then the requests that came of it.
  std::string After(double milliseconds) {
    host.loop.Advance(milliseconds);
    return TakeLog();
  }
  std::string Deliver(const std::string& bytes) {
    Socket().Deliver(bytes);
    return TakeLog();
  }
  std::string TakeLog() { return std::exchange(log, {}) + terminal.Requests(); }

  std::shared_ptr<TarnScale> scale;
  std::shared_ptr<SummitProtocol> engine;
  std::shared_ptr<FakeSocket> socket;
  FakeTerminal terminal{nullptr};
  std::string log;
  std::vector<Subscription> subscriptions;
};

}  // namespace tarn
