// A socket control whose network is the test, and a terminal network of a few variables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/socket.hpp"
#include "platform/terminal_network.hpp"

namespace tarn {

class FakeSocket final : public SocketControl {
 public:
  /// What the network does. Each raises its event from here.
  void Accept();                        ///< the connection is made
  void Deliver(std::string_view data);  ///< a datagram, or bytes of the stream, while open
  void HangUp();                        ///< the other side closes
  void Fail(std::int32_t number, const std::string& description);

  std::vector<std::string> calls;  ///< writes of properties, Close, Bind, Connect, in order
  std::vector<std::string> sent;   ///< one entry a SendData
  std::optional<AutomationError> failOpen;  ///< thrown by Bind and Connect
  std::optional<AutomationError> failSend;  ///< thrown by SendData
  bool staysOpen = false;                   ///< Close has no effect
  std::size_t longestRead = SIZE_MAX;       ///< TCP: GetData gives no more at once

  void Transport(SocketTransport transport) override;
  SocketTransport Transport() const override { return transport_; }
  void LocalPort(std::int32_t port) override;
  std::int32_t LocalPort() const override { return localPort_; }
  void RemoteHost(std::string_view host) override;
  std::string RemoteHost() const override { return remoteHost_; }
  void RemotePort(std::int32_t port) override;
  std::int32_t RemotePort() const override { return remotePort_; }
  SocketState State() const override { return state_; }
  void Close() override;
  void Bind(std::int32_t localPort) override;
  void Connect() override;
  void SendData(std::string_view bytes) override;
  std::int32_t BytesReceived() const override;
  std::string GetData() override;

 private:
  void RequireClosed() const;
  void Open(SocketTransport transport, SocketState state);

  SocketTransport transport_ = SocketTransport::Tcp;
  SocketState state_ = SocketState::Closed;
  std::int32_t localPort_ = 0;
  std::string remoteHost_;
  std::int32_t remotePort_ = 0;
  std::string waiting_;
};

class FakeTerminalNetwork final : public TerminalNetwork {
 public:
  std::map<std::string, std::string> variables;  ///< by whole address; a missing one is failure 1
  std::vector<std::string> calls;
  bool missing = false;  ///< the library is not installed

  std::int32_t KesRegisterProcess(std::int32_t number) override;
  std::int32_t KesCloseProcess() override;
  std::int32_t KesWrite(std::string_view address, std::int32_t number,
                        std::string_view value) override;
  std::int32_t KesRead(std::string_view address, std::int32_t first, std::string& buffer,
                       std::int32_t second) override;

 private:
  void Called(const std::string& call);
};

}  // namespace tarn
