#include "outlets/http/http_server.hpp"

#include <microhttpd.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>

#include "outlets/http/event_streams.hpp"
#include "outlets/http/rights.hpp"
#include "platform/service_socket.hpp"

namespace tarn::http {
namespace {

constexpr unsigned kIdleTime = 30;             // seconds in which a connection moves no byte
constexpr unsigned kStalledTime = 60;          // likewise, for a stream that has something to send
constexpr double kRequestTime = 15'000;        // milliseconds for a whole request
constexpr double kReplyTime = 60'000;          // for a reply that has an end
constexpr std::int32_t kSweepInterval = 1000;  // milliseconds
constexpr std::size_t kMemory = 32U * 1024;    // of a connection, for headers and what is sent
constexpr int kSendBuffer = 32 * 1024;         // of a stream, in the system
constexpr std::size_t kPiece = 16U * 1024;     // of a stream

/// One connection, from its opening to its end.
struct Connection {
  enum class Phase { Request, Reply, Stream };

  int descriptor = -1;
  Phase phase = Phase::Request;
  double since = 0;
};

/// One request and its reply.
struct Exchange {
  Request request{};
  bool begun = false;
  bool served = false;
  std::size_t uploaded = 0;
  std::optional<Reply> reply{};
  std::function<void()> resume{};  ///< while the connection sleeps until there is a reply

  void Answer(Reply answer) {
    if (reply) return;
    reply = std::move(answer);
    if (const auto wake = std::exchange(resume, {})) wake();
  }
};
using ExchangeHolder = std::shared_ptr<Exchange>;

std::string HeaderOf(MHD_Connection* connection, const char* name) {
  const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
  return value == nullptr ? std::string() : std::string(value);
}

/// A stream of events that libmicrohttpd sends: asleep while there is nothing to send.
class Stream {
 public:
  /// `resume` wakes the connection.
  Stream(DescriptorWatcher& descriptors, MHD_Connection* connection, int descriptor,
         std::shared_ptr<EventReader> reader, std::function<void()> resume)
      : connection_(connection), descriptor_(descriptor), reader_(std::move(reader)) {
    reader_->OnReady([this, resume = std::move(resume)] {
      if (std::exchange(asleep_, false)) resume();
    });
    // A connection that sleeps is out of the library's sight.
    watch_ =
        descriptors.WatchDescriptor(descriptor_, true, false, [this](bool, bool) { LookAtPeer(); });
  }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream() { reader_->OnReady({}); }

  void End() { reader_->End(); }

  ssize_t Read(char* to, std::size_t most) {
    const std::size_t count = reader_->Take(to, most);
    if (count > 0) return static_cast<ssize_t>(count);
    if (reader_->HasEnded()) return MHD_CONTENT_READER_END_OF_STREAM;
    asleep_ = true;
    MHD_suspend_connection(connection_);
    return 0;
  }

 private:
  void LookAtPeer() {
    const PeerState state = StateOfPeer(descriptor_);
    const bool isFirst = state == PeerState::Sends && !std::exchange(hasSent_, true);
    if (isFirst) return watch_->Want(false, false);  // nobody reads that
    // What is unread hides the end of a local connection, which is reported on and on.
    if (state != PeerState::Quiet) {
      watch_.reset();
      End();
    }
  }

  MHD_Connection* connection_;
  int descriptor_;
  std::shared_ptr<EventReader> reader_;
  bool asleep_ = false;
  bool hasSent_ = false;  ///< the peer has sent what nobody reads
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace

/// One listening socket with its connections. The library calls back from Run alone.
class HttpServer::Listener {
 public:
  Listener(HttpServer& server, int descriptor, Rights rights);
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  ~Listener();

  std::size_t Connections() const { return connections_.size(); }

 private:
  struct StreamHolder {
    Listener* listener;
    std::unique_ptr<Stream> stream;
  };

  void Run();
  void RunSoon();
  void Resume(MHD_Connection* connection);
  void Sweep();
  static Connection* ConnectionOf(MHD_Connection* connection);
  MHD_Result Handle(MHD_Connection* connection, const char* method, const char* data,
                    std::size_t* size, ExchangeHolder& exchange);
  void Begin(MHD_Connection* connection, const char* method, Exchange& exchange);
  void Answer(MHD_Connection* connection, const ExchangeHolder& exchange);
  MHD_Result Queue(MHD_Connection* connection, Exchange& exchange);
  MHD_Response* ResponseOf(MHD_Connection* connection, Reply& reply);
  MHD_Response* StreamOf(MHD_Connection* connection, std::shared_ptr<EventReader> reader);

  // What the library calls; `self` is the listener.
  static void* OnTarget(void* self, const char* target, MHD_Connection* connection);
  static MHD_Result OnRequest(void* self, MHD_Connection* connection, const char* url,
                              const char* method, const char* version, const char* data,
                              std::size_t* size, void** context);
  static void OnCompleted(void* self, MHD_Connection* connection, void** context,
                          MHD_RequestTerminationCode why);
  static void OnConnection(void* self, MHD_Connection* connection, void** context,
                           MHD_ConnectionNotificationCode what);
  static ssize_t OnRead(void* holder, std::uint64_t position, char* to, std::size_t most);
  static void OnStreamDone(void* holder);

  HttpServer& server_;
  std::shared_ptr<const Rights> rights_;
  std::shared_ptr<Listener*> self_;  ///< for posted work, which may outlive this
  std::unordered_set<Connection*> connections_;
  std::unordered_set<ExchangeHolder> exchanges_;
  std::unordered_set<StreamHolder*> streams_;
  std::unique_ptr<Timer> timer_;  ///< when the library wants to look again
  std::unique_ptr<Timer> sweepTimer_;
  Subscription onTimer_;
  Subscription onSweep_;
  bool runsSoon_ = false;  ///< work is posted
  MHD_Daemon* daemon_ = nullptr;
  std::unique_ptr<DescriptorWatch> watch_;
};

HttpServer::Listener::Listener(HttpServer& server, int descriptor, Rights rights)
    : server_(server),
      rights_(std::make_shared<const Rights>(std::move(rights))),
      self_(std::make_shared<Listener*>(this)),
      timer_(server.loop_.CreateTimer()),
      sweepTimer_(server.loop_.CreateTimer()) {
  onTimer_ = timer_->Tick.Subscribe([this] { Run(); });
  onSweep_ = sweepTimer_->Tick.Subscribe([this] { Sweep(); });
  sweepTimer_->Interval(kSweepInterval);
  // clang-format off
  daemon_ = MHD_start_daemon(
      MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &OnRequest, this,
      MHD_OPTION_LISTEN_SOCKET, descriptor,
      MHD_OPTION_CONNECTION_LIMIT, kMostConnections,
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, kMemory,
      MHD_OPTION_CONNECTION_TIMEOUT, kIdleTime,
      MHD_OPTION_STRICT_FOR_CLIENT, 1,
      MHD_OPTION_URI_LOG_CALLBACK, &OnTarget, this,
      MHD_OPTION_NOTIFY_COMPLETED, &OnCompleted, this,
      MHD_OPTION_NOTIFY_CONNECTION, &OnConnection, this,
      MHD_OPTION_END);
  // clang-format on
  if (daemon_ == nullptr) throw std::runtime_error("libmicrohttpd does not start");
  const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
  watch_ = server_.descriptors_.WatchDescriptor(info->epoll_fd, true, false,
                                                [this](bool, bool) { Run(); });
}

HttpServer::Listener::~Listener() {
  watch_.reset();
  // The library cannot stop while a connection sleeps.
  for (StreamHolder* holder : streams_) holder->stream->End();
  for (const ExchangeHolder& exchange : exchanges_)
    exchange->Answer(ErrorReply(503, "the server ends"));
  MHD_stop_daemon(daemon_);
}

void HttpServer::Listener::RunSoon() {
  if (std::exchange(runsSoon_, true)) return;
  server_.loop_.Post([self = std::weak_ptr(self_)] {
    if (const auto listener = self.lock()) (*listener)->Run();
  });
}

/// The library looks at those that were asleep in its next run, and nothing else sets that off.
void HttpServer::Listener::Resume(MHD_Connection* connection) {
  MHD_resume_connection(connection);
  RunSoon();
}

void HttpServer::Listener::Run() {
  runsSoon_ = false;
  MHD_run(daemon_);
  MHD_UNSIGNED_LONG_LONG wait = 0;
  timer_->Enabled(false);
  if (MHD_get_timeout(daemon_, &wait) != MHD_YES) return;
  if (wait == 0) return RunSoon();
  constexpr MHD_UNSIGNED_LONG_LONG kLongest = 60'000;
  timer_->Interval(static_cast<std::int32_t>(std::min(wait, kLongest)));
  timer_->Enabled(true);
}

/// The library's own limit is one of silence, and a byte now and then gets around it.
void HttpServer::Listener::Sweep() {
  const double now = server_.loop_.Now();
  for (const Connection* connection : connections_) {
    const double age = now - connection->since;
    const bool isLate = (connection->phase == Connection::Phase::Request && age > kRequestTime) ||
                        (connection->phase == Connection::Phase::Reply && age > kReplyTime);
    if (isLate) EndConnection(connection->descriptor);
  }
}

Connection* HttpServer::Listener::ConnectionOf(MHD_Connection* connection) {
  const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  return static_cast<Connection*>(info->socket_context);
}

// --- What the library calls ----------------------------------------------------------------

void HttpServer::Listener::OnConnection(void* self, MHD_Connection* connection, void** context,
                                        MHD_ConnectionNotificationCode what) {
  auto& listener = *static_cast<Listener*>(self);
  if (what == MHD_CONNECTION_NOTIFY_STARTED) {
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    auto made = std::make_unique<Connection>();
    made->descriptor = info->connect_fd;
    made->since = listener.server_.loop_.Now();
    listener.connections_.insert(made.get());
    *context = made.release();
  } else {
    const std::unique_ptr<Connection> gone(static_cast<Connection*>(*context));
    *context = nullptr;
    listener.connections_.erase(gone.get());
  }
  listener.sweepTimer_->Enabled(!listener.connections_.empty());
}

void* HttpServer::Listener::OnTarget(void* self, const char* target, MHD_Connection*) {
  auto exchange = std::make_unique<ExchangeHolder>(std::make_shared<Exchange>());
  if (!ParseTarget(target, (*exchange)->request)) (*exchange)->request.fault = 400;
  static_cast<Listener*>(self)->exchanges_.insert(*exchange);
  return exchange.release();
}

void HttpServer::Listener::OnCompleted(void* self, MHD_Connection* connection, void** context,
                                       MHD_RequestTerminationCode) {
  auto& listener = *static_cast<Listener*>(self);
  const std::unique_ptr<ExchangeHolder> exchange(static_cast<ExchangeHolder*>(*context));
  *context = nullptr;
  if (exchange) listener.exchanges_.erase(*exchange);
  if (Connection* state = ConnectionOf(connection)) {
    state->phase = Connection::Phase::Request;
    state->since = listener.server_.loop_.Now();
  }
}

MHD_Result HttpServer::Listener::OnRequest(void* self, MHD_Connection* connection, const char*,
                                           const char* method, const char*, const char* data,
                                           std::size_t* size, void** context) {
  try {
    auto& exchange = *static_cast<ExchangeHolder*>(*context);
    return static_cast<Listener*>(self)->Handle(connection, method, data, size, exchange);
  } catch (const std::exception&) {
    return MHD_NO;  // no exception may pass the library; the connection ends
  }
}

MHD_Result HttpServer::Listener::Handle(MHD_Connection* connection, const char* method,
                                        const char* data, std::size_t* size,
                                        ExchangeHolder& holder) {
  Exchange& exchange = *holder;
  if (!std::exchange(exchange.begun, true)) {
    Begin(connection, method, exchange);
    // Nobody waits for a body that is far too large; a smaller one is read, so that its sender gets
    // to see the answer.
    const std::string length = HeaderOf(connection, "Content-Length");
    if (length.empty() || ParseNumber(length).value_or(kMostUpload + 1) <= kMostUpload)
      return MHD_YES;
    exchange.uploaded = kMostUpload + 1;
    Answer(connection, holder);
    return exchange.reply ? Queue(connection, exchange) : MHD_NO;
  }
  if (*size > 0) {
    const std::size_t count = std::exchange(*size, 0);
    exchange.uploaded += count;
    if (exchange.uploaded > kMostUpload) return MHD_NO;
    if (exchange.uploaded <= kMostBody) exchange.request.body.append(data, count);
    return MHD_YES;
  }
  if (!exchange.served) Answer(connection, holder);
  if (exchange.reply) return Queue(connection, exchange);
  exchange.resume = [this, connection] { Resume(connection); };
  MHD_suspend_connection(connection);
  return MHD_YES;
}

void HttpServer::Listener::Begin(MHD_Connection* connection, const char* method,
                                 Exchange& exchange) {
  Request& request = exchange.request;
  request.method = method;
  request.host = HeaderOf(connection, "Host");
  request.origin = HeaderOf(connection, "Origin");
  request.authorization = HeaderOf(connection, "Authorization");
  request.contentType = HeaderOf(connection, "Content-Type");
  request.lastEventId = HeaderOf(connection, "Last-Event-ID");
  request.peer = PeerOf(ConnectionOf(connection)->descriptor);
  request.rights = rights_;
}

void HttpServer::Listener::Answer(MHD_Connection* connection, const ExchangeHolder& exchange) {
  exchange->served = true;
  Connection& state = *ConnectionOf(connection);
  state.phase = Connection::Phase::Reply;
  state.since = server_.loop_.Now();
  if (exchange->uploaded > kMostBody) exchange->request.fault = 413;
  server_.serve_(std::move(exchange->request), [weak = std::weak_ptr(exchange)](Reply reply) {
    if (const auto waiting = weak.lock()) waiting->Answer(std::move(reply));
  });
}

MHD_Result HttpServer::Listener::Queue(MHD_Connection* connection, Exchange& exchange) {
  Reply& reply = *exchange.reply;
  MHD_Response* response = ResponseOf(connection, reply);
  if (response == nullptr) return MHD_NO;
  if (!reply.contentType.empty()) {
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE,
                            std::string(reply.contentType).c_str());
  }
  for (const auto& [name, value] : reply.headers)
    MHD_add_response_header(response, name.c_str(), value.c_str());
  const MHD_Result result =
      MHD_queue_response(connection, static_cast<unsigned>(reply.status), response);
  MHD_destroy_response(response);
  return result;
}

MHD_Response* HttpServer::Listener::ResponseOf(MHD_Connection* connection, Reply& reply) {
  if (reply.events) return StreamOf(connection, std::move(reply.events));
  if (!reply.fixedBody.empty()) {
    // The library never writes into what is persistent.
    return MHD_create_response_from_buffer(
        reply.fixedBody.size(), const_cast<char*>(reply.fixedBody.data()), MHD_RESPMEM_PERSISTENT);
  }
  return MHD_create_response_from_buffer(reply.body.size(), reply.body.data(),
                                         MHD_RESPMEM_MUST_COPY);
}

MHD_Response* HttpServer::Listener::StreamOf(MHD_Connection* connection,
                                             std::shared_ptr<EventReader> reader) {
  Connection& state = *ConnectionOf(connection);
  state.phase = Connection::Phase::Stream;
  BoundSendBuffer(state.descriptor, kSendBuffer);
  MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, kStalledTime);
  auto holder = std::make_unique<StreamHolder>();
  holder->listener = this;
  holder->stream =
      std::make_unique<Stream>(server_.descriptors_, connection, state.descriptor,
                               std::move(reader), [this, connection] { Resume(connection); });
  streams_.insert(holder.get());
  return MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kPiece, &OnRead, holder.release(),
                                           &OnStreamDone);
}

ssize_t HttpServer::Listener::OnRead(void* holder, std::uint64_t, char* to, std::size_t most) {
  try {
    return static_cast<StreamHolder*>(holder)->stream->Read(to, most);
  } catch (const std::exception&) {
    return MHD_CONTENT_READER_END_WITH_ERROR;
  }
}

void HttpServer::Listener::OnStreamDone(void* holder) {
  const std::unique_ptr<StreamHolder> done(static_cast<StreamHolder*>(holder));
  done->listener->streams_.erase(done.get());
}

// --- The server ----------------------------------------------------------------------------

HttpServer::HttpServer(MessageLoop& loop, DescriptorWatcher& descriptors, Serve serve)
    : loop_(loop), descriptors_(descriptors), serve_(std::move(serve)) {}

HttpServer::~HttpServer() = default;

void HttpServer::Listen(int descriptor, Rights rights) {
  listeners_.push_back(std::make_unique<Listener>(*this, descriptor, std::move(rights)));
}

std::size_t HttpServer::Connections() const {
  std::size_t count = 0;
  for (const auto& listener : listeners_) count += listener->Connections();
  return count;
}

}  // namespace tarn::http
