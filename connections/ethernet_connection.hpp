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

/// What the Ethernet connection offers for datagrams beside the published members.
class SenderCheckingConnection {
 public:
  SenderCheckingConnection() = default;
  SenderCheckingConnection(const SenderCheckingConnection&) = delete;
  SenderCheckingConnection& operator=(const SenderCheckingConnection&) = delete;
  virtual ~SenderCheckingConnection() = default;

  /// Whether only datagrams from IPAddress are accepted, or from the address that this name
  /// resolves to; others are dropped and traced. Takes effect with the next Connect. Off by
  /// default. Saved as "CheckSender".
  virtual bool CheckSender() const = 0;
  virtual void CheckSender(bool value) = 0;
};

/// The protocol takes the socket and sets transport and ports before the scale connects. Errors of
/// the socket (see SocketControl) propagate to the caller of Connect. A TCP connection that ends or
/// fails later is traced, and its socket is closed after all handlers of its event have run; with
/// AutoReconnect the connection is then made again. The socket goes with the number of the scale,
/// so it is closed when the scale gets another connection.
class EthernetConnection final : public _Connection,
                                 public ReconnectingConnection,
                                 public SenderCheckingConnection,
                                 public std::enable_shared_from_this<EthernetConnection> {
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
  LinkState Link() const override;
  bool KeepTrying(const AutomationError& error) override { return reconnector_.KeepTrying(error); }
  bool CheckSender() const override { return checkSender_; }
  void CheckSender(bool value) override;
  void Replaced() override { Disconnect(); }

  // For the protocols.

  /// Takes the site's socket control of that scale number. Later calls return the same one,
  /// whatever number they pass. Null for a number outside 1 to 32, where a later call may try
  /// again; null for good when the address is empty at the first call.
  std::shared_ptr<SocketControl> TakeSocket(std::int16_t scaleNumber, ScaleSite& site);

  /// The terminal-node text that goes with the socket, "/k1" to "/kw"; empty until then.
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
  void Broken(const std::string& what, ConditionReason why);
  void EndBroken(ConditionReason why);
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
  ConditionReason datagramFault_ = ConditionReason::None;
  double datagramFaultAt_ = 0;
  Reconnector reconnector_;
  Subscription onConnected_;
  Subscription onClosed_;
  Subscription onError_;
  Subscription onStranger_;
};

}  // namespace tarn
