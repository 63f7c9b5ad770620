// The socket control: one TCP connection or one UDP port as the protocols read and write it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/event.hpp"
#include "platform/line_record.hpp"

namespace tarn {

enum class SocketTransport : std::int16_t { Tcp = 0, Udp = 1 };

/// The numbers are published: clients read them as State.
enum class SocketState : std::int16_t {
  Closed = 0,
  Open = 1,  ///< UDP: bound
  Listening = 2,
  ConnectionPending = 3,
  ResolvingHost = 4,
  HostResolved = 5,
  Connecting = 6,
  Connected = 7,
  Closing = 8,  ///< TCP: the other side has closed
  Error = 9,
};

/// Events are raised from the loop, never inside a call of this interface. No call blocks: names
/// are looked up, connections made and bytes sent while the loop goes on. A handler may close or
/// destroy the control. IPv4; ports 0 to 65535 (a number outside is error 380).
class SocketControl {
 public:
  SocketControl() = default;
  SocketControl(const SocketControl&) = delete;
  SocketControl& operator=(const SocketControl&) = delete;
  virtual ~SocketControl() = default;

  /// Writing one of these while the control is not closed is error 40020, except that the
  /// remote host and port of a UDP control count for the datagrams that are sent from then on.
  virtual void Transport(SocketTransport transport) = 0;
  virtual SocketTransport Transport() const = 0;
  virtual void LocalPort(std::int32_t port) = 0;
  virtual std::int32_t LocalPort() const = 0;
  /// The address of this machine that the local port belongs to, for a machine with several. Empty,
  /// the default: all of them. Error 380 for a text that is no address.
  virtual void LocalHost(std::string_view address) = 0;
  virtual std::string LocalHost() const = 0;
  /// An address of four decimal numbers, or a name, which is looked up once an opening.
  virtual void RemoteHost(std::string_view host) = 0;
  virtual std::string RemoteHost() const = 0;
  virtual void RemotePort(std::int32_t port) = 0;
  virtual std::int32_t RemotePort() const = 0;

  /// UDP: drops the datagrams that come from another address than the remote host's, and raises
  /// Stranger instead of DataArrival. If the remote host is a name, none counts until the name has
  /// been looked up for a datagram that is sent to it. Off by default.
  virtual void RemoteHostOnly(bool only) = 0;

  virtual SocketState State() const = 0;

  /// Brings the state to Closed before it returns. What waits to be read or sent is dropped, no
  /// event is raised. Nothing happens on a closed control.
  virtual void Close() = 0;

  /// Closes it for good: Bind and Connect are error 91 from now on. For a control whose place in
  /// the server another one takes while a client may still hold it.
  virtual void Retire() = 0;

  /// UDP: opens the local port; 0 lets the system choose (LocalPort then reads the choice).
  /// Errors: 10048 the port is in use, 10013 no permission, 40020 not closed, 40006 not UDP.
  virtual void Bind(std::int32_t localPort) = 0;

  /// TCP: starts a connection to the remote host and port, from the local port unless that is 0.
  /// Connected or Error reports how it ended, within 20 s. Errors of the call: 40020 not closed,
  /// 40006 not TCP, 10048 and 10013 as Bind.
  virtual void Connect() = 0;

  /// UDP: one datagram to the remote host and port. TCP: bytes of the stream. What the network does
  /// not take yet, or what waits for the look-up of a name, waits in a queue of kMaxQueuedOutput
  /// bytes. Errors: 40006 not bound or connected, 57 the queue is full (nothing of these bytes is
  /// sent), 10040 a datagram that is too long. Error reports what fails later.
  virtual void SendData(std::string_view bytes) = 0;

  /// How many bytes GetData gives now.
  virtual std::int32_t BytesReceived() const = 0;

  /// UDP: the datagram of the present DataArrival, whole; empty when it has been read. One
  /// that no handler reads during its own event is dropped. TCP: all that waits.
  virtual std::string GetData() = 0;

  /// UDP: who sent the datagram of the present DataArrival.
  virtual std::string SenderHost() const = 0;
  virtual std::int32_t SenderPort() const = 0;

  /// Where bytes are counted from now on, less the datagrams of strangers; may be null.
  void Record(std::shared_ptr<LineRecord> record) { record_ = std::move(record); }

  /// TCP: the bytes that the control keeps unread; more waits on the network.
  static constexpr std::size_t kMaxWaitingInput = 256U << 10U;
  static constexpr std::size_t kMaxQueuedOutput = 256U << 10U;
  static constexpr std::size_t kLongestDatagram = 65507;

  Event<> Connected;
  /// The other side has closed the connection (state Closing). What has arrived can still be read.
  Event<> Closed;
  /// Bytes have arrived: the length of the datagram (0 is possible), or all that waits (TCP).
  Event<std::int32_t> DataArrival;
  Event<> Stranger;
  /// Number and description, such as 10061 connection refused, 10054 connection reset (UDP: the
  /// port is unreachable), 10060 timed out, 11001 host not found. TCP: the state is Error. UDP goes
  /// on.
  Event<std::int32_t, const std::string&> Error;

 protected:
  std::shared_ptr<LineRecord> record_;
};

}  // namespace tarn
