#include "tests/fakes/fake_socket.hpp"

#include <algorithm>
#include <utility>

namespace tarn {

void FakeSocket::Accept() {
  state_ = SocketState::Connected;
  Connected.Raise();
}

void FakeSocket::Deliver(std::string_view data) {
  if (state_ != SocketState::Open && state_ != SocketState::Connected) return;
  if (transport_ == SocketTransport::Udp)
    waiting_ = data;
  else
    waiting_ += data;
  DataArrival.Raise(static_cast<std::int32_t>(
      transport_ == SocketTransport::Udp ? data.size() : waiting_.size()));
  if (transport_ == SocketTransport::Udp) waiting_.clear();
}

void FakeSocket::HangUp() {
  state_ = SocketState::Closing;
  Closed.Raise();
}

void FakeSocket::Fail(std::int32_t number, const std::string& description) {
  if (transport_ == SocketTransport::Tcp) state_ = SocketState::Error;
  Error.Raise(number, description);
}

void FakeSocket::RequireClosed() const {
  if (state_ != SocketState::Closed) {
    throw AutomationError(ErrorNumber::SocketNotClosed, "The socket is open");
  }
}

void FakeSocket::Transport(SocketTransport transport) {
  RequireClosed();
  calls.push_back("Transport " + std::to_string(static_cast<int>(transport)));
  transport_ = transport;
}

void FakeSocket::LocalPort(std::int32_t port) {
  RequireClosed();
  calls.push_back("LocalPort " + std::to_string(port));
  localPort_ = port;
}

void FakeSocket::RemoteHost(std::string_view host) {
  calls.push_back("RemoteHost " + std::string(host));
  remoteHost_ = host;
}

void FakeSocket::RemotePort(std::int32_t port) {
  calls.push_back("RemotePort " + std::to_string(port));
  remotePort_ = port;
}

void FakeSocket::Close() {
  calls.emplace_back("Close");
  if (staysOpen) return;
  state_ = SocketState::Closed;
  waiting_.clear();
}

void FakeSocket::Open(SocketTransport transport, SocketState state) {
  RequireClosed();
  if (failOpen) throw *failOpen;
  if (transport_ != transport) {
    throw AutomationError(ErrorNumber::SocketWrongState, "Wrong transport or state");
  }
  state_ = state;
}

void FakeSocket::Bind(std::int32_t localPort) {
  calls.push_back("Bind " + std::to_string(localPort));
  Open(SocketTransport::Udp, SocketState::Open);
  localPort_ = localPort;
}

void FakeSocket::Connect() {
  calls.emplace_back("Connect");
  Open(SocketTransport::Tcp, SocketState::Connecting);
}

void FakeSocket::SendData(std::string_view bytes) {
  if (failSend) throw *failSend;
  if (state_ != SocketState::Open && state_ != SocketState::Connected) {
    throw AutomationError(ErrorNumber::SocketWrongState, "Wrong transport or state");
  }
  sent.emplace_back(bytes);
}

std::int32_t FakeSocket::BytesReceived() const {
  return static_cast<std::int32_t>(waiting_.size());
}

std::string FakeSocket::GetData() {
  if (transport_ == SocketTransport::Udp) return std::exchange(waiting_, {});
  std::string data = waiting_.substr(0, longestRead);
  waiting_.erase(0, data.size());
  return data;
}

void FakeTerminalNetwork::Called(const std::string& call) {
  if (missing) {
    throw AutomationError(ErrorNumber::FileNotFound, "File not found: the terminal network");
  }
  calls.push_back(call);
}

std::int32_t FakeTerminalNetwork::KesRegisterProcess(std::int32_t number) {
  Called("KesRegisterProcess " + std::to_string(number));
  return 0;
}

std::int32_t FakeTerminalNetwork::KesCloseProcess() {
  Called("KesCloseProcess");
  return 0;
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
