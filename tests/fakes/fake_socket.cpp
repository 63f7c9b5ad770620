// The fake sockets and the fake terminal network.
#include "tests/fakes/fake_socket.hpp"

#include <algorithm>
#include <utility>

#include "platform/socket_error.hpp"

namespace tarn {

class FakeNetwork::Native final : public NativeSocket {
 public:
  Native(FakeNetwork& network, std::function<void()> ready)
      : network_(network), ready_(std::move(ready)) {}
  ~Native() override {
    if (network_.native_ == this) network_.native_ = nullptr;
  }

  std::int32_t Bind(const NetworkAddress& here) override {
    port_ = here.port != 0 ? here.port : 50000;
    return 0;
  }
  std::uint16_t LocalPort() const override { return port_; }
  std::int32_t Connect(const NetworkAddress& /*to*/) override { return SocketError::kWouldBlock; }
  std::int32_t ConnectResult() override { return connectResult; }
  Count Send(std::string_view bytes) override {
    return {SendTo(bytes, {}), network_.stalled ? 0 : bytes.size()};
  }
  Count Receive(char* into, std::size_t length) override {
    if (stream.empty()) return {ended ? 0 : SocketError::kWouldBlock, 0};
    const std::size_t count = stream.copy(into, length);
    stream.erase(0, count);
    return {0, count};
  }
  std::int32_t SendTo(std::string_view bytes, const NetworkAddress& /*to*/) override {
    if (network_.stalled) return SocketError::kWouldBlock;
    network_.reached.emplace_back(bytes);
    return 0;
  }
  Count ReceiveDatagram(char* into, std::size_t length, NetworkAddress& from) override {
    if (datagrams.empty()) return {SocketError::kWouldBlock, 0};
    const std::size_t count = datagrams.front().first.copy(into, length);
    from = datagrams.front().second;
    datagrams.pop_front();
    return {0, count};
  }
  void Watch(bool input, bool /*output*/) override {
    if (!input || stream.empty()) return;
    network_.loop_.Post([this, alive = std::weak_ptr<int>(alive_)] {
      if (!alive.expired()) Ready();
    });
  }

  void Ready() const {
    const auto ready = ready_;  // this socket may go meanwhile
    ready();
  }

  /// A piece that is too long for one turn comes in several.
  void ReadyForAll() const {
    const std::weak_ptr<int> alive = alive_;
    for (std::size_t left = SIZE_MAX; !alive.expired() && stream.size() < left;) {
      left = stream.size();
      if (left > 0) Ready();
    }
  }

  std::int32_t connectResult = SocketError::kWouldBlock;
  std::string stream;
  bool ended = false;
  std::deque<std::pair<std::string, NetworkAddress>> datagrams;

 private:
  FakeNetwork& network_;
  std::function<void()> ready_;
  std::uint16_t port_ = 0;
  std::shared_ptr<int> alive_ = std::make_shared<int>();
};

std::unique_ptr<NativeSocket> FakeNetwork::Open(SocketTransport /*transport*/,
                                                std::function<void()> ready) {
  auto native = std::make_unique<Native>(*this, std::move(ready));
  native_ = native.get();
  return native;
}

void FakeNetwork::LookUp(const std::string& name, std::weak_ptr<void> owner, LookedUp done) {
  const auto found = names.find(name);
  const std::int32_t error = found == names.end() ? SocketError::kHostNotFound : 0;
  const std::uint32_t ip = error == 0 ? found->second : 0;
  loop_.Post([owner = std::move(owner), done = std::move(done), error, ip] {
    if (!owner.expired()) done(error, ip);
  });
}

void FakeSocket::Accept() {
  if (State() != SocketState::Connecting) return;
  native_->connectResult = 0;
  native_->Ready();
}

void FakeSocket::Deliver(std::string_view data) {
  if (State() == SocketState::Open) {
    native_->datagrams.emplace_back(data, sender);
    native_->Ready();
  } else if (State() == SocketState::Connected) {
    native_->stream += data;
    native_->ReadyForAll();
  }
}

void FakeSocket::HangUp() {
  if (State() != SocketState::Connected) return;
  native_->ended = true;
  native_->Ready();
}

void FakeSocket::Resume() {
  stalled = false;
  if (native_ != nullptr) native_->Ready();
}

void FakeSocket::Fail(std::int32_t number, const std::string& description) {
  if (native_ != nullptr) NetworkSocket::Fail(number, description);
}

std::int32_t FakeTerminalNetwork::KesWrite(std::string_view address, std::int32_t number,
                                           std::string_view value) {
  Called("KesWrite " + std::string(address) + " " + std::to_string(number) + " " +
         std::string(value));
  const auto variable = variables.find(std::string(address));
  if (variable == variables.end()) return 1;
  variable->second = value;
  return 0;
}

std::int32_t FakeTerminalNetwork::KesRead(std::string_view address, std::int32_t first,
                                          std::string& buffer, std::int32_t second) {
  Called("KesRead " + std::string(address) + " " + std::to_string(first) + " " +
         std::to_string(second));
  const auto variable = variables.find(std::string(address));
  if (variable == variables.end()) return 1;
  const std::size_t length = std::min(buffer.size(), variable->second.size());
  buffer.replace(0, length, variable->second, 0, length);
  return 0;
}

}  // namespace tarn
