// The TCP/IP link of a scale: the terminal's address, and one of the server's 32 socket controls.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "connections/reconnector.hpp"
#include "platform/host.hpp"
#include "platform/socket.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// What the Ethernet connection has beside the published members for datagrams.
class SenderCheckingConnection {
 public:
  SenderCheckingConnection() = default;
  SenderCheckingConnection(const SenderCheckingConnection&) = delete;
  SenderCheckingConnection& operator=(const SenderCheckingConnection&) = delete;
  virtual ~SenderCheckingConnection() = default;

  /// Whether datagrams count only from IPAddress, of a name from the address that it has. Others
  /// are dropped and traced. Counts from the next Connect on. Off by default. Saved as
  /// "CheckSender".
  virtual bool CheckSender() const = 0;
  virtual void CheckSender(bool value) = 0;
};

/// The protocol takes the socket and sets transport and ports before the scale connects. Errors of
/// the socket (see SocketControl) reach the caller of Connect. A TCP connection that ends or fails
/// later is traced, and the socket closed once all handlers of its event have seen it; with
/// AutoReconnect it is then tried again. The socket goes with the number of the scale, so it is
/// closed when the scale gets another connection.
class EthernetConnection final : public _Connection,
                                 public ReconnectingConnection,
                                 public SenderCheckingConnection {
 public:
  static constexpr std::string_view kClassName = "EthernetConnection";

  explicit EthernetConnection(ScaleSite& site);

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  /// Address or name of the terminal, stored as it is given.
  const std::string& IPAddress() const { return ipAddress_; }
  void IPAddress(std::string address);
  std::shared_ptr<SocketControl> mvarSocket() const { return mvarSocket_; }
  void mvarSocket(std::shared_ptr<SocketControl> socket);

  bool IsBidirectional() const override { return isBidirectional_; }
  void IsBidirectional(bool value) override;
  ConnectionType Ctype() const override { return ConnectionType::EtherNet; }
  void Connect() override;
  void Disconnect() override;
  bool AutoReconnect() const override { return reconnector_.Enabled(); }
  void AutoReconnect(bool value) override;
  bool CheckSender() const override { return checkSender_; }
  void CheckSender(bool value) override;
  void Replaced() override { Disconnect(); }

  // For the protocols.

  /// The scale's site's socket control of that scale number, taken once: later calls give the one
  /// that is held, whatever number they pass. None for a number outside 1 to 32 (a later call may
  /// try again), and none for good when the address is empty at the first call.
  std::shared_ptr<SocketControl> TakeSocket(std::int16_t scaleNumber, ScaleSite& site);

  /// The terminal-node text that goes with the socket, "/k1" to "/kw"; empty while none is taken.
  const std::string& NodeName() const { return nodeName_; }
  void SetNodeName(std::string name) { nodeName_ = std::move(name); }

  std::int16_t LocalPort() const { return localPort_; }
  void LocalPort(std::int16_t port) { localPort_ = port; }
  std::int16_t RemotePort() const { return remotePort_; }
  void RemotePort(std::int16_t port) { remotePort_ = port; }
  /// 0 is TCP, 1 is UDP.
  std::int16_t SocketProtocol() const { return socketProtocol_; }
  void SocketProtocol(std::int16_t transport) { socketProtocol_ = transport; }

 private:
  /// How often Connect reads the state of a socket that it has closed before it gives up.
  static constexpr int kStateReads = 1001;

  bool CloseSocket();
  void Open();
  void OnError(std::int32_t number, const std::string& description);
  void Broken(const std::string& what);
  void EndBroken();
  bool IsTcp() const { return socketProtocol_ == 0; }

  Host& host_;
  std::shared_ptr<SocketControl> mvarSocket_;
  std::string ipAddress_;
  bool isBidirectional_ = false;
  bool checkSender_ = false;
  std::int16_t socketNumber_ = 0;
  std::int16_t socketProtocol_ = 1;
  std::int16_t localPort_ = 1700;
  std::int16_t remotePort_ = 1701;
  std::string nodeName_;
  Reconnector reconnector_;
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< for what is posted
  Subscription onConnected_;
  Subscription onClosed_;
  Subscription onError_;
  Subscription onStranger_;
};

}  // namespace tarn
