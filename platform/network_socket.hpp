// The socket control over the sockets of the system: its states, queues, events and errors are the
// same everywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/native_socket.hpp"
#include "platform/socket.hpp"

namespace tarn {

class NetworkSocket : public SocketControl {
 public:
  /// Milliseconds that a connection may take, the look-up of the name included.
  static constexpr std::int32_t kConnectLimit = 20'000;
  /// What is read in one turn of the loop, so that a flood leaves time for timers and the others.
  static constexpr int kDatagramsPerTurn = 16;
  static constexpr std::size_t kBytesPerTurn = 64U << 10U;

  /// The system outlives the control.
  explicit NetworkSocket(SocketSystem& system);
  ~NetworkSocket() override;

  void Transport(SocketTransport transport) override;
  SocketTransport Transport() const override { return transport_; }
  void LocalPort(std::int32_t port) override;
  std::int32_t LocalPort() const override;
  void LocalHost(std::string_view address) override;
  std::string LocalHost() const override { return localHost_; }
  void RemoteHost(std::string_view host) override;
  std::string RemoteHost() const override { return remoteHost_; }
  void RemotePort(std::int32_t port) override;
  std::int32_t RemotePort() const override { return remotePort_; }
  void RemoteHostOnly(bool only) override { remoteHostOnly_ = only; }
  SocketState State() const override { return state_; }
  void Close() override;
  void Retire() override;
  void Bind(std::int32_t localPort) override;
  void Connect() override;
  void SendData(std::string_view bytes) override;
  std::int32_t BytesReceived() const override;
  std::string SenderHost() const override;
  std::int32_t SenderPort() const override;
  std::string GetData() override;

 protected:
  /// Reports a failure; a connection ends with it. The control may be gone afterwards.
  void Fail(std::int32_t number, const std::string& description);

 private:
  struct Session;
  struct Datagram;
  struct Arrival;

  void RequireClosed() const;
  void RequireOpenable(SocketTransport transport) const;
  void OpenSession(std::int32_t localPort);
  void FailLater(std::int32_t number);

  void LookUpHost(const std::string& host);
  void HostKnown(std::int32_t error, std::uint32_t ip);
  void BeginConnection(std::uint32_t ip);
  void FinishConnection();

  void Ready();
  void ReadDatagrams();
  void CountArrival(std::string_view bytes);
  bool Counts(const NetworkAddress& from) const;
  void RaiseDatagram(Arrival arrival);
  void ReadStream();
  void EndOfStream();
  void SendQueued();
  void SendStream();
  void SendDatagrams();
  void WatchAgain();

  SocketSystem& system_;
  SocketTransport transport_ = SocketTransport::Tcp;
  SocketState state_ = SocketState::Closed;
  std::int32_t localPort_ = 0;
  std::string localHost_;
  std::string remoteHost_;
  std::int32_t remotePort_ = 0;
  bool remoteHostOnly_ = false;
  bool retired_ = false;
  /// From Bind or Connect to Close. The code that raises an event looks afterwards whether it is
  /// still there: a handler may have closed, opened it again or destroyed the control.
  std::shared_ptr<Session> session_;
};

}  // namespace tarn
