#include "connections/ethernet_connection.hpp"

#include <cstddef>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

/// One character for each socket: 1 to 9, then a to w.
constexpr std::string_view kSocketCodes = "123456789abcdefghijklmnopqrstuvw";

}  // namespace

EthernetConnection::EthernetConnection(ScaleSite& site)
    : host_(site.System()),
      reconnector_(
          host_, *this, [this] { Open(); }, [this] { return ipAddress_; }) {}

void EthernetConnection::InitProperties() {
  IPAddress("0.0.0.0");
  IsBidirectional(false);
}

void EthernetConnection::ReadProperties(const PropertyBag& bag) {
  IPAddress(bag.ReadText("IPAddress", "0.0.0.0"));
  IsBidirectional(bag.ReadBoolean("IsBidirectional", false));
  AutoReconnect(bag.ReadBoolean("AutoReconnect", false));
  CheckSender(bag.ReadBoolean("CheckSender", false));
}

void EthernetConnection::WriteProperties(PropertyBag& bag) const {
  bag.WriteText("IPAddress", ipAddress_, "0.0.0.0");
  bag.WriteBoolean("IsBidirectional", isBidirectional_, false);
  bag.WriteBoolean("AutoReconnect", AutoReconnect(), false);
  bag.WriteBoolean("CheckSender", checkSender_, false);
}

void EthernetConnection::IPAddress(std::string address) {
  ipAddress_ = std::move(address);
  PropertyChanged.Raise("IPAddress");
}

void EthernetConnection::IsBidirectional(bool value) {
  isBidirectional_ = value;
  PropertyChanged.Raise("IsBidirectional");
}

void EthernetConnection::AutoReconnect(bool value) {
  reconnector_.Enabled(value);
  PropertyChanged.Raise("AutoReconnect");
}

void EthernetConnection::CheckSender(bool value) {
  checkSender_ = value;
  PropertyChanged.Raise("CheckSender");
}

void EthernetConnection::mvarSocket(std::shared_ptr<SocketControl> socket) {
  onConnected_.Reset();
  onClosed_.Reset();
  onError_.Reset();
  onStranger_.Reset();
  mvarSocket_ = std::move(socket);
  if (!mvarSocket_) return;
  onConnected_ = mvarSocket_->Connected.Subscribe([this] { reconnector_.Restored(); });
  onClosed_ = mvarSocket_->Closed.Subscribe(
      [this] { Broken("the connection was closed", ConditionReason::ConnectionLost); });
  onError_ =
      mvarSocket_->Error.Subscribe([this](std::int32_t number, const std::string& description) {
        OnError(number, description);
      });
  onStranger_ = mvarSocket_->Stranger.Subscribe(
      [this] { reconnector_.Trace("a datagram of another sender does not count"); });
}

std::shared_ptr<SocketControl> EthernetConnection::TakeSocket(std::int16_t scaleNumber,
                                                              ScaleSite& site) {
  if (socketNumber_ != 0) return mvarSocket_;
  socketNumber_ = scaleNumber;
  // Deliberate: without an address the number stays taken, and no later call brings a socket.
  if (ipAddress_.empty()) return mvarSocket_;
  if (scaleNumber < 1 || scaleNumber > static_cast<std::int16_t>(kSocketCodes.size())) {
    socketNumber_ = 0;
    nodeName_.clear();
    return mvarSocket_;
  }
  mvarSocket(site.Winsock(scaleNumber));
  nodeName_ = "/k";
  nodeName_ += kSocketCodes[static_cast<std::size_t>(scaleNumber - 1)];
  return mvarSocket_;
}

bool EthernetConnection::CloseSocket() {
  if (mvarSocket_->State() == SocketState::Closed) return true;
  mvarSocket_->Close();
  for (int read = 0; read < kStateReads; ++read) {
    if (mvarSocket_->State() == SocketState::Closed) return true;
  }
  return false;
}

void EthernetConnection::Connect() {
  if (nodeName_.empty()) return;
  Open();
  reconnector_.Wanted(true);
}

void EthernetConnection::Open() {
  const auto socket = mvarSocket_;
  Required(socket, "The Ethernet connection has no socket");
  if (!CloseSocket()) return;
  socket->Record(RecordOf(*this));
  datagramFault_ = ConditionReason::None;
  socket->Transport(socketProtocol_ == 0 ? SocketTransport::Tcp : SocketTransport::Udp);
  socket->LocalPort(localPort_);
  socket->RemoteHost(ipAddress_);
  socket->RemotePort(remotePort_);
  socket->RemoteHostOnly(checkSender_);
  if (socket->Transport() == SocketTransport::Tcp) return socket->Connect();
  socket->Bind(localPort_);
  reconnector_.Restored();
}

void EthernetConnection::Disconnect() {
  reconnector_.Wanted(false);
  if (!nodeName_.empty() && mvarSocket_) mvarSocket_->Close();
}

/// While a connection is made again, the fault that broke it stands.
LinkState EthernetConnection::Link() const {
  LinkState link = reconnector_.Link();
  link.silence = "network, terminal off, or wrong address";
  const SocketState state = mvarSocket_ ? mvarSocket_->State() : SocketState::Closed;
  const auto record = RecordOf(*this);
  if (state == SocketState::Open || state == SocketState::Connected) {
    link.fault = ConditionReason::None;
    const bool answered = record && record->LastArrival() > datagramFaultAt_;
    if (state == SocketState::Open && !answered) link.suspicion = datagramFault_;
  } else if (link.fault == ConditionReason::None) {
    link.fault =
        state == SocketState::Closed ? ConditionReason::Stopped : ConditionReason::Connecting;
  }
  return link;
}

/// A datagram socket goes on after a failure, which is repeated with every request to a terminal
/// that is off; the trace filter limits how often that is written.
void EthernetConnection::OnError(std::int32_t number, const std::string& description) {
  ConditionReason why = ReasonOf(ErrorNumber{number});
  // A datagram that is answered so has found nobody at the port.
  if (!IsTcp() && why == ConditionReason::ConnectionLost) why = ConditionReason::Refused;
  datagramFault_ = why;
  datagramFaultAt_ = host_.Loop().Now();
  Broken(description + " (" + std::to_string(number) + ")", why);
}

void EthernetConnection::Broken(const std::string& what, ConditionReason why) {
  if (!IsTcp()) return reconnector_.TraceFailure(ipAddress_ + ": " + what);
  reconnector_.TraceBreak(ipAddress_ + ": " + what);
  host_.Loop().Post([weak = weak_from_this(), why] {
    if (const auto connection = weak.lock()) connection->EndBroken(why);
  });
}

/// A handler may have opened the socket again. If one has closed it, the link is still wanted.
void EthernetConnection::EndBroken(ConditionReason why) {
  if (!mvarSocket_) return;
  const SocketState state = mvarSocket_->State();
  const bool ended = state == SocketState::Closing || state == SocketState::Error;
  if (!ended && state != SocketState::Closed) return;
  mvarSocket_->Close();
  reconnector_.Broken(why);
}

}  // namespace tarn
