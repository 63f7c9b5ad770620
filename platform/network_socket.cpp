#include "platform/network_socket.hpp"

#include <algorithm>
#include <deque>
#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "platform/socket_error.hpp"

namespace tarn {
namespace {

/// What a queued datagram counts in addition to its bytes, so that empty ones do not queue without
/// bound.
constexpr std::size_t kDatagramCost = 64;

constexpr std::int32_t kHighestPort = 65535;
constexpr std::size_t kLongestName = 255;

std::uint16_t CheckedPort(std::int32_t port) {
  if (port < 0 || port > kHighestPort) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue,
                          std::to_string(port) + " is no port number");
  }
  return static_cast<std::uint16_t>(port);
}

[[noreturn]] void ThrowWrongState(const char* what) {
  throw AutomationError(ErrorNumber::SocketWrongState, what);
}

[[noreturn]] void ThrowSocketError(std::int32_t number) {
  throw AutomationError(ErrorNumber{number}, SocketError::Text(number));
}

}  // namespace

std::optional<std::uint32_t> ParseAddress(std::string_view text) {
  std::uint32_t ip = 0;
  int numbers = 0;
  while (numbers < 4) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > 3) return std::nullopt;
    std::uint32_t number = 0;
    for (const char digit : text.substr(0, digits)) {
      number = number * 10 + static_cast<std::uint32_t>(digit - '0');
    }
    if (number > 255) return std::nullopt;
    ip = ip << 8U | number;
    text.remove_prefix(digits);
    if (++numbers == 4) break;
    if (!text.starts_with('.')) return std::nullopt;
    text.remove_prefix(1);
  }
  return text.empty() ? std::optional(ip) : std::nullopt;
}

std::string AddressText(std::uint32_t ip) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    if (!text.empty()) text += '.';
    text += std::to_string(ip >> static_cast<unsigned>(shift) & 0xFFU);
  }
  return text;
}

/// What waits to be read. A stream has no sender.
struct NetworkSocket::Arrival {
  std::string bytes;
  NetworkAddress from;
};

struct NetworkSocket::Datagram {
  std::string bytes;
  std::string host;
  std::uint16_t port;
};

struct NetworkSocket::Session {
  std::unique_ptr<NativeSocket> socket;
  Arrival input;        ///< TCP: all that waits. UDP: the datagram of the present event
  bool paused = false;  ///< TCP: enough waits, the rest stays on the network
  std::string stream;   ///< TCP: what waits to be sent
  std::deque<Datagram> datagrams;
  std::size_t queued = 0;  ///< of the datagrams, with kDatagramCost each
  std::string host;        ///< whose address is known or being looked up
  std::optional<std::uint32_t> ip;
  bool lookingUp = false;
  std::unique_ptr<Timer> limit;
  Subscription onLimit;
};

NetworkSocket::NetworkSocket(SocketSystem& system) : system_(system) {}

NetworkSocket::~NetworkSocket() = default;

void NetworkSocket::RequireClosed() const {
  if (state_ != SocketState::Closed) {
    throw AutomationError(ErrorNumber::SocketNotClosed, "The socket is open");
  }
}

void NetworkSocket::Transport(SocketTransport transport) {
  RequireClosed();
  if (transport != SocketTransport::Tcp && transport != SocketTransport::Udp) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue, "There is no such transport");
  }
  transport_ = transport;
}

void NetworkSocket::LocalPort(std::int32_t port) {
  RequireClosed();
  localPort_ = CheckedPort(port);
}

std::int32_t NetworkSocket::LocalPort() const {
  const std::uint16_t chosen = session_ && session_->socket ? session_->socket->LocalPort() : 0;
  return chosen != 0 ? chosen : localPort_;
}

void NetworkSocket::LocalHost(std::string_view address) {
  RequireClosed();
  if (!address.empty() && !ParseAddress(address)) {
    throw AutomationError(ErrorNumber::InvalidPropertyValue,
                          std::string(address) + " is no address");
  }
  localHost_ = address;
}

void NetworkSocket::RemoteHost(std::string_view host) {
  if (transport_ == SocketTransport::Tcp) RequireClosed();
  remoteHost_ = host;
}

void NetworkSocket::RemotePort(std::int32_t port) {
  if (transport_ == SocketTransport::Tcp) RequireClosed();
  remotePort_ = CheckedPort(port);
}

// --- Opening and closing ---------------------------------------------------------------------

void NetworkSocket::Close() {
  session_.reset();
  state_ = SocketState::Closed;
}

void NetworkSocket::Retire() {
  retired_ = true;
  Close();
}

void NetworkSocket::RequireOpenable(SocketTransport transport) const {
  if (retired_) ThrowObjectNotSet("The socket has left its server");
  RequireClosed();
  if (transport_ != transport) ThrowWrongState("The socket has another transport");
}

void NetworkSocket::OpenSession(std::int32_t localPort) {
  const std::uint16_t port = CheckedPort(localPort);
  auto session = std::make_shared<Session>();
  session->socket = system_.Open(transport_, [this] { Ready(); });
  if (transport_ == SocketTransport::Udp || port != 0 || !localHost_.empty()) {
    const NetworkAddress here{ParseAddress(localHost_).value_or(0), port};
    if (const std::int32_t error = session->socket->Bind(here); error != 0) ThrowSocketError(error);
  }
  localPort_ = port;
  session_ = std::move(session);
}

void NetworkSocket::Bind(std::int32_t localPort) {
  RequireOpenable(SocketTransport::Udp);
  OpenSession(localPort);
  state_ = SocketState::Open;
  session_->socket->Watch(true, false);
}

void NetworkSocket::Connect() {
  RequireOpenable(SocketTransport::Tcp);
  OpenSession(localPort_);
  session_->limit = system_.Loop().CreateTimer();
  session_->onLimit = session_->limit->Tick.Subscribe(
      [this] { Fail(SocketError::kTimedOut, SocketError::Text(SocketError::kTimedOut)); });
  session_->limit->Interval(kConnectLimit);
  session_->limit->Enabled(true);
  state_ = SocketState::ResolvingHost;
  LookUpHost(remoteHost_);
}

void NetworkSocket::FailLater(std::int32_t number) {
  const std::weak_ptr<Session> session = session_;
  system_.Loop().Post([this, session, number] {
    if (session.expired() || !session_->socket) return;
    Fail(number, SocketError::Text(number));
  });
}

void NetworkSocket::Fail(std::int32_t number, const std::string& description) {
  if (transport_ == SocketTransport::Tcp) {
    // What has arrived can still be read.
    state_ = SocketState::Error;
    session_->limit.reset();
    session_->socket.reset();
    session_->stream.clear();
  }
  Error.Raise(number, description);
}

// --- Names -----------------------------------------------------------------------------------

void NetworkSocket::LookUpHost(const std::string& host) {
  session_->host = host;
  session_->ip = ParseAddress(host);
  if (session_->ip) {
    HostKnown(0, *session_->ip);
    return;
  }
  session_->lookingUp = true;
  const std::weak_ptr<Session> session = session_;
  const auto known = [this, session](std::int32_t error, std::uint32_t ip) {
    if (!session.expired()) HostKnown(error, ip);
  };
  if (host.empty() || host.size() > kLongestName || host.find('\0') != std::string::npos) {
    system_.Loop().Post([known] { known(SocketError::kHostNotFound, 0); });
  } else {
    system_.LookUp(host, session, known);
  }
}

/// A failure to find a datagram's host is reported once, and the datagrams that wait for it are
/// discarded; the next one looks the name up again.
void NetworkSocket::HostKnown(std::int32_t error, std::uint32_t ip) {
  Session& session = *session_;
  session.lookingUp = false;
  if (error == 0) session.ip = ip;
  if (transport_ == SocketTransport::Tcp) {
    if (state_ != SocketState::ResolvingHost) return;  // the time was over before
    if (error == 0)
      BeginConnection(ip);
    else
      Fail(error, SocketError::Text(error));
    return;
  }
  if (error == 0) return SendDatagrams();
  const std::string host = std::exchange(session.host, {});
  while (!session.datagrams.empty() && session.datagrams.front().host == host) {
    session.queued -= session.datagrams.front().bytes.size() + kDatagramCost;
    session.datagrams.pop_front();
  }
  SendDatagrams();
  Fail(error, SocketError::Text(error));
}

// --- Connecting ------------------------------------------------------------------------------

void NetworkSocket::BeginConnection(std::uint32_t ip) {
  state_ = SocketState::Connecting;
  const NetworkAddress to{ip, static_cast<std::uint16_t>(remotePort_)};
  const std::int32_t error = session_->socket->Connect(to);
  if (error == 0 || error == SocketError::kWouldBlock)
    session_->socket->Watch(true, true);
  else
    FailLater(error);
}

void NetworkSocket::FinishConnection() {
  const std::int32_t error = session_->socket->ConnectResult();
  if (error == SocketError::kWouldBlock) return;
  if (error != 0) return Fail(error, SocketError::Text(error));
  state_ = SocketState::Connected;
  session_->limit.reset();
  session_->socket->Watch(true, false);
  Connected.Raise();
}

// --- Receiving -------------------------------------------------------------------------------

void NetworkSocket::Ready() {
  if (!session_ || !session_->socket) return;
  const std::weak_ptr<Session> session = session_;
  if (state_ == SocketState::Connecting) return FinishConnection();
  SendQueued();
  if (session.expired() || !session_->socket) return;
  // A handler may destroy this control: nothing may follow.
  if (state_ == SocketState::Open) return ReadDatagrams();
  if (state_ == SocketState::Connected) ReadStream();
}

void NetworkSocket::ReadDatagrams() {
  const std::weak_ptr<Session> session = session_;
  for (int i = 0; i < kDatagramsPerTurn; ++i) {
    NetworkAddress from;
    const auto arrived =
        session_->socket->ReceiveDatagram(system_.Scratch(), SocketSystem::kScratchSize, from);
    if (arrived.error == SocketError::kWouldBlock) return;
    if (arrived.error != 0) {
      Fail(arrived.error, SocketError::Text(arrived.error));
    } else if (!Counts(from)) {
      Stranger.Raise();
    } else {
      CountArrival({system_.Scratch(), arrived.bytes});
      RaiseDatagram({std::string(system_.Scratch(), arrived.bytes), from});
    }
    if (session.expired()) return;
  }
}

void NetworkSocket::CountArrival(std::string_view bytes) {
  if (record_) record_->Entered(bytes, system_.Loop().Now());
}

bool NetworkSocket::Counts(const NetworkAddress& from) const {
  if (!remoteHostOnly_) return true;
  auto known = ParseAddress(remoteHost_);
  if (!known && session_->host == remoteHost_) known = session_->ip;
  return known == from.ip;
}

/// A handler may run the loop, which raises further events inside this one. Each event restores the
/// datagram of the one outside when it ends.
void NetworkSocket::RaiseDatagram(Arrival arrival) {
  struct Outer {
    std::weak_ptr<Session> session;
    Arrival arrival;
    ~Outer() {
      if (const auto still = session.lock()) still->input = std::move(arrival);
    }
  };
  const auto length = static_cast<std::int32_t>(arrival.bytes.size());
  const Outer outer{session_, std::exchange(session_->input, std::move(arrival))};
  DataArrival.Raise(length);
}

void NetworkSocket::ReadStream() {
  Session& session = *session_;
  const std::size_t before = session.input.bytes.size();
  NativeSocket::Count arrived;
  while (!session.paused && session.input.bytes.size() - before < kBytesPerTurn) {
    const std::size_t room = kMaxWaitingInput - session.input.bytes.size();
    arrived =
        session.socket->Receive(system_.Scratch(), std::min(room, SocketSystem::kScratchSize));
    if (arrived.error != 0 || arrived.bytes == 0) break;
    session.input.bytes.append(system_.Scratch(), arrived.bytes);
    CountArrival({system_.Scratch(), arrived.bytes});
    session.paused = session.input.bytes.size() >= kMaxWaitingInput;
  }
  if (session.paused) WatchAgain();

  const bool failed = arrived.error != 0 && arrived.error != SocketError::kWouldBlock;
  if (session.input.bytes.size() > before) {
    // What arrived is reported before the end that came with it. An end of the stream is still
    // there next time, a failure is not.
    if (failed) FailLater(arrived.error);
    DataArrival.Raise(static_cast<std::int32_t>(session.input.bytes.size()));
  } else if (failed) {
    Fail(arrived.error, SocketError::Text(arrived.error));
  } else if (arrived.error == 0 && !session.paused) {
    EndOfStream();
  }
}

void NetworkSocket::EndOfStream() {
  state_ = SocketState::Closing;
  // The other side may still read: what waits is sent before this side closes too.
  WatchAgain();
  Closed.Raise();
}

std::int32_t NetworkSocket::BytesReceived() const {
  return session_ ? static_cast<std::int32_t>(session_->input.bytes.size()) : 0;
}

std::string NetworkSocket::SenderHost() const {
  return session_ ? AddressText(session_->input.from.ip) : std::string();
}

std::int32_t NetworkSocket::SenderPort() const {
  return session_ ? session_->input.from.port : 0;
}

std::string NetworkSocket::GetData() {
  if (!session_) return {};
  std::string all = std::exchange(session_->input.bytes, {});
  WatchAgain();
  return all;
}

// --- Sending ---------------------------------------------------------------------------------

void NetworkSocket::SendData(std::string_view bytes) {
  if (state_ != SocketState::Open && state_ != SocketState::Connected) {
    ThrowWrongState("The socket is not open");
  }
  const bool datagram = transport_ == SocketTransport::Udp;
  if (datagram && bytes.size() > kLongestDatagram) ThrowSocketError(SocketError::kDatagramTooLong);
  Session& session = *session_;
  const std::size_t waiting = datagram ? session.queued : session.stream.size();
  if (waiting + bytes.size() > kMaxQueuedOutput) {
    throw AutomationError(ErrorNumber::DeviceInputOutput, "The socket's output queue is full");
  }
  if (record_) record_->Left(bytes);
  if (datagram) {
    session.datagrams.push_back(
        {std::string(bytes), remoteHost_, static_cast<std::uint16_t>(remotePort_)});
    session.queued += bytes.size() + kDatagramCost;
  } else {
    session.stream += bytes;
  }
  SendQueued();
}

void NetworkSocket::SendQueued() {
  if (transport_ == SocketTransport::Udp)
    SendDatagrams();
  else
    SendStream();
}

/// A failure shows when the socket is read next, or the loop reports it.
void NetworkSocket::SendStream() {
  Session& session = *session_;
  std::size_t sent = 0;
  while (sent < session.stream.size()) {
    const auto taken = session.socket->Send(std::string_view(session.stream).substr(sent));
    if (taken.error != 0 && taken.error != SocketError::kWouldBlock) {
      session.stream.clear();
      if (state_ == SocketState::Connected) FailLater(taken.error);
      sent = 0;
      break;
    }
    if (taken.error != 0) break;
    sent += taken.bytes;
  }
  session.stream.erase(0, sent);
  WatchAgain();
}

void NetworkSocket::SendDatagrams() {
  Session& session = *session_;
  while (!session.datagrams.empty() && !session.lookingUp) {
    const Datagram& next = session.datagrams.front();
    if (!session.ip || session.host != next.host) {
      session.ip = ParseAddress(next.host);
      session.host = next.host;
      if (!session.ip) return LookUpHost(next.host);
    }
    const std::int32_t error = session.socket->SendTo(next.bytes, {*session.ip, next.port});
    if (error == SocketError::kWouldBlock) break;
    if (error != 0) FailLater(error);
    session.queued -= next.bytes.size() + kDatagramCost;
    session.datagrams.pop_front();
  }
  WatchAgain();
}

/// Asks the system for what there is to do now, and closes a connection that has nothing left to do
/// after its end.
void NetworkSocket::WatchAgain() {
  Session& session = *session_;
  if (!session.socket) return;
  switch (state_) {
    case SocketState::Open:
      session.socket->Watch(true, !session.datagrams.empty() && !session.lookingUp);
      break;
    case SocketState::Connected:
      session.paused = session.input.bytes.size() >= kMaxWaitingInput;
      session.socket->Watch(!session.paused, !session.stream.empty());
      break;
    case SocketState::Closing:
      if (session.stream.empty())
        session.socket.reset();
      else
        session.socket->Watch(false, true);
      break;
    default:
      break;
  }
}

}  // namespace tarn
