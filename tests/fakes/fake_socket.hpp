// A socket control whose network is the test, and a terminal network of a few variables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/network_socket.hpp"
#include "platform/terminal_network.hpp"

namespace tarn {

/// The network of one fake socket.
class FakeNetwork : public SocketSystem {
 public:
  explicit FakeNetwork(MessageLoop& loop) : loop_(loop) {}

  std::map<std::string, std::uint32_t> names;  ///< what a look-up finds
  std::vector<std::string> reached;            ///< what the network has taken
  bool stalled = false;  ///< the network takes nothing: output fills the queue up to its bound

  MessageLoop& Loop() override { return loop_; }
  std::unique_ptr<NativeSocket> Open(SocketTransport transport,
                                     std::function<void()> ready) override;
  void LookUp(const std::string& name, std::weak_ptr<void> owner, LookedUp done) override;

 protected:
  class Native;

  Native* native_ = nullptr;  ///< the open one
  MessageLoop& loop_;
};

/// The control itself is the real one.
class FakeSocket final : public FakeNetwork, public NetworkSocket {
 public:
  explicit FakeSocket(MessageLoop& loop)
      : FakeNetwork(loop), NetworkSocket(static_cast<FakeNetwork&>(*this)) {}

  /// What the network does. Each raises its event from here, where the socket is open.
  void Accept();                            ///< the connection is made
  void Deliver(std::string_view data);      ///< a datagram, or bytes of the stream
  NetworkAddress sender{0x7F000001, 1701};  ///< who sends the datagrams
  void HangUp();                            ///< the other side closes
  void Resume();                            ///< the network takes what is sent again
  void Fail(std::int32_t number, const std::string& description);

  std::vector<std::string> calls;  ///< writes of properties, Close, Bind, Connect, in order
  std::vector<std::string> sent;   ///< one entry a SendData
  std::optional<AutomationError> failOpen;  ///< thrown by Bind and Connect
  std::optional<AutomationError> failSend;  ///< thrown by SendData
  mutable int openReads = 0;  ///< so many reads of the state do not know yet that it is closed

  void Transport(SocketTransport transport) override {
    NetworkSocket::Transport(transport);
    calls.push_back("Transport " + std::to_string(static_cast<int>(transport)));
  }
  SocketTransport Transport() const override { return NetworkSocket::Transport(); }
  void LocalPort(std::int32_t port) override {
    NetworkSocket::LocalPort(port);
    calls.push_back("LocalPort " + std::to_string(port));
  }
  std::int32_t LocalPort() const override { return NetworkSocket::LocalPort(); }
  void RemoteHost(std::string_view host) override {
    NetworkSocket::RemoteHost(host);
    calls.push_back("RemoteHost " + std::string(host));
  }
  std::string RemoteHost() const override { return NetworkSocket::RemoteHost(); }
  void RemotePort(std::int32_t port) override {
    NetworkSocket::RemotePort(port);
    calls.push_back("RemotePort " + std::to_string(port));
  }
  std::int32_t RemotePort() const override { return NetworkSocket::RemotePort(); }
  SocketState State() const override {
    return openReads > 0 && openReads-- > 0 ? SocketState::Open : NetworkSocket::State();
  }
  void Close() override {
    calls.emplace_back("Close");
    NetworkSocket::Close();
  }
  void Bind(std::int32_t localPort) override {
    calls.push_back("Bind " + std::to_string(localPort));
    if (failOpen) throw *failOpen;
    NetworkSocket::Bind(localPort);
  }
  void Connect() override {
    calls.emplace_back("Connect");
    if (failOpen) throw *failOpen;
    NetworkSocket::Connect();
  }
  void SendData(std::string_view bytes) override {
    if (failSend) throw *failSend;
    NetworkSocket::SendData(bytes);
    sent.emplace_back(bytes);
  }
};

class FakeTerminalNetwork final : public TerminalNetwork {
 public:
  std::map<std::string, std::string> variables;  ///< by whole address; a missing one is failure 1
  std::vector<std::string> calls;
  bool missing = false;  ///< the library is not installed

  std::int32_t KesRegisterProcess(std::int32_t number) override {
    Called("KesRegisterProcess " + std::to_string(number));
    return 0;
  }
  std::int32_t KesCloseProcess() override {
    Called("KesCloseProcess");
    return 0;
  }
  std::int32_t KesWrite(std::string_view address, std::int32_t number,
                        std::string_view value) override;
  std::int32_t KesRead(std::string_view address, std::int32_t first, std::string& buffer,
                       std::int32_t second) override;

 private:
  void Called(const std::string& call) {
    if (missing) {
      throw AutomationError(ErrorNumber::FileNotFound, "File not found: the terminal network");
    }
    calls.push_back(call);
  }
};

}  // namespace tarn
