// The only file that knows libmosquitto.
//
// The library works inside the loop: it is called when its socket is ready and once a second, and
// has no thread. Only the look-up of the broker's name and the TCP connection to it are made by a
// short-lived thread, since the library waits for both: for more than two minutes where nothing
// answers at the address. Its non-blocking way to connect looks the name up just the same, and
// tries the first of several addresses only.
//
// Each connection has a client of the library for itself, so that nothing is left of one that
// broke: what must be sent again is known to the outlet.
#include "outlets/mqtt/mosquitto_connection.hpp"

#include <mosquitto.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace tarn {
namespace {

constexpr int kPacketsATurn = 100;     // a flood holds up nobody
constexpr double kAnswerTime = 20000;  // milliseconds for TLS and the broker's word of welcome
constexpr const char* kNotTls = "the TLS connection cannot be made";

/// One client of the library. Used by one thread at a time.
class Client {
 public:
  Client(const MqttBroker& broker, const MqttMessage& will) : broker_(broker) {
    static const int started = mosquitto_lib_init();
    if (started != MOSQ_ERR_SUCCESS) Refuse("cannot start libmosquitto", started);
    handle_ = mosquitto_new(broker.clientId.c_str(), true, this);
    if (handle_ == nullptr) Refuse("cannot make a client", MOSQ_ERR_NOMEM);
    try {
      SetUp(will);
    } catch (...) {
      mosquitto_destroy(handle_);
      throw;
    }
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { mosquitto_destroy(handle_); }

  mosquitto* Handle() const { return handle_; }

  /// Waits for the look-up of the name and for the TCP connection; returns why there is none.
  std::string Connect() {
    errno = 0;
    const int result =
        mosquitto_connect(handle_, broker_.host.c_str(), broker_.port, broker_.keepAlive);
    return result == MOSQ_ERR_SUCCESS ? std::string() : Words(result, errno);
  }

  /// What a call that failed says to a person.
  std::string Words(int result, int systemError) const {
    switch (result) {
      case MOSQ_ERR_ERRNO:
        return systemError == 0 ? "the connection is lost" : std::strerror(systemError);
      case MOSQ_ERR_EAI:
        return "the name of the broker is unknown";
      case MOSQ_ERR_SUCCESS:
      case MOSQ_ERR_CONN_LOST:
        return "the connection is lost";
      case MOSQ_ERR_KEEPALIVE:
        return "the broker does not answer";
      case MOSQ_ERR_TLS:
        return libraryWords_.empty() ? kNotTls : std::string(kNotTls) + ": " + libraryWords_;
      default:
        return mosquitto_strerror(result);
    }
  }

  /// What happens inside the library's calls, to be worked off after them.
  struct News {
    enum class Kind { Taken, Refused, Acknowledged, Arrived };
    Kind kind;
    int number = 0;
    MqttMessage message{};
  };
  std::deque<News> news;

  /// Reads what has come. Only there acknowledgements are news: the library also reports each
  /// message without one, as soon as it is sent.
  int Read() {
    reading_ = true;
    const int result = mosquitto_loop_read(handle_, kPacketsATurn);
    reading_ = false;
    return result;
  }

 private:
  [[noreturn]] static void Refuse(const std::string& what, int result) {
    throw std::runtime_error("MQTT: " + what + ": " + mosquitto_strerror(result));
  }
  static void Check(const std::string& what, int result) {
    if (result != MOSQ_ERR_SUCCESS) Refuse(what, result);
  }
  static const char* OrNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
  }

  void SetUp(const MqttMessage& will) {
    if (!broker_.user.empty()) {
      Check("the user",
            mosquitto_username_pw_set(handle_, broker_.user.c_str(), OrNull(broker_.password)));
    }
    if (broker_.tls) SetUpTls();
    Check("the topics",
          mosquitto_will_set(handle_, will.topic.c_str(), static_cast<int>(will.payload.size()),
                             will.payload.data(), 0, will.retained));
    // Small messages one after the other: each would wait for the acknowledgement of the one
    // before.
    mosquitto_int_option(handle_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_log_callback_set(handle_, OnLog);
    mosquitto_connect_callback_set(handle_, OnConnect);
    mosquitto_publish_callback_set(handle_, OnPublish);
    mosquitto_message_callback_set(handle_, OnMessage);
  }

  void SetUpTls() {
    if (broker_.ca.empty()) mosquitto_int_option(handle_, MOSQ_OPT_TLS_USE_OS_CERTS, 1);
    // Without the function, the library would ask the terminal for the password of the key.
    const auto noPassword = [](char*, int, int, void*) { return 0; };
    Check("--mqtt-ca, --mqtt-cert or --mqtt-key cannot be read",
          mosquitto_tls_set(handle_, OrNull(broker_.ca), nullptr, OrNull(broker_.certificate),
                            OrNull(broker_.key), noPassword));
  }

  static void OnLog(mosquitto* /*handle*/, void* client, int level, const char* text) {
    if ((static_cast<unsigned>(level) & MOSQ_LOG_ERR) != 0) {
      static_cast<Client*>(client)->libraryWords_ = text;
    }
  }
  static void OnConnect(mosquitto* /*handle*/, void* client, int result) {
    const auto kind = result == 0 ? News::Kind::Taken : News::Kind::Refused;
    static_cast<Client*>(client)->news.push_back({.kind = kind, .number = result});
  }
  static void OnPublish(mosquitto* /*handle*/, void* client, int id) {
    Client& self = *static_cast<Client*>(client);
    if (self.reading_) self.news.push_back({.kind = News::Kind::Acknowledged, .number = id});
  }
  static void OnMessage(mosquitto* /*handle*/, void* client, const mosquitto_message* message) {
    MqttMessage arrived{.topic = message->topic, .payload = {}, .retained = message->retain};
    arrived.payload.assign(static_cast<const char*>(message->payload),
                           static_cast<std::size_t>(message->payloadlen));
    static_cast<Client*>(client)->news.push_back(
        {.kind = News::Kind::Arrived, .message = std::move(arrived)});
  }

  MqttBroker broker_;
  mosquitto* handle_ = nullptr;
  std::string libraryWords_;
  bool reading_ = false;
};

std::string RefusalWords(int code) {
  constexpr int kBadUser = 4;
  constexpr int kNotAuthorised = 5;
  if (code == kBadUser) return "the broker refuses the user or the password";
  if (code == kNotAuthorised) return "the broker does not let this user in";
  return std::string("the broker refuses: ") + mosquitto_connack_string(code);
}

class MosquittoConnection final : public MqttConnection {
 public:
  MosquittoConnection(NativeHost& host, const MqttBroker& broker, const MqttMessage& will,
                      MqttListener& listener)
      : loop_(host.Loop()),
        watcher_(*host.Descriptors()),
        listener_(listener),
        shared_(std::make_shared<Shared>(broker, will)),
        client_(shared_->client),
        handle_(client_.Handle()) {
    shared_->owner = this;
    try {
      // Nobody joins the thread: there is no way to make the system give up what it waits for. What
      // it uses is its own as long as it runs.
      std::thread([shared = shared_] { Work(shared); }).detach();
    } catch (const std::system_error&) {
      FailLater("the system has no thread left");
    }
  }

  ~MosquittoConnection() override {
    const std::lock_guard lock(shared_->mutex);
    shared_->owner = nullptr;
  }

  bool TakesMore() const override { return open_ && watch_ && !mosquitto_want_write(handle_); }

  int Publish(const MqttMessage& message) override {
    int id = 0;
    Call(mosquitto_publish(handle_, &id, message.topic.c_str(),
                           static_cast<int>(message.payload.size()), message.payload.data(),
                           message.certain ? 1 : 0, message.retained));
    return id;
  }

  void Subscribe(const std::string& topics) override {
    Call(mosquitto_subscribe(handle_, nullptr, topics.c_str(), 0));
  }

  void Tick() override {
    if (over_ || !watch_) return;
    if (!open_ && loop_.Now() - since_ > kAnswerTime)
      return FailLater("the broker does not answer");
    Call(mosquitto_loop_misc(handle_));
  }

  void Close() override { mosquitto_disconnect(handle_); }

 private:
  struct Shared {
    Shared(const MqttBroker& broker, const MqttMessage& will) : client(broker, will) {}
    std::mutex mutex;
    MosquittoConnection* owner = nullptr;  ///< null once it is gone
    Client client;                         ///< the thread's until it has posted, then the loop's
  };

  static void Work(const std::shared_ptr<Shared>& shared) {
    std::string words = shared->client.Connect();
    const std::lock_guard lock(shared->mutex);
    if (shared->owner == nullptr) return;
    shared->owner->loop_.Post([weak = std::weak_ptr(shared), words = std::move(words)] {
      // The loop's thread only takes the owner away.
      const auto still = weak.lock();
      if (still && still->owner != nullptr) still->owner->HandOver(words);
    });
  }

  void HandOver(const std::string& words) {
    if (!words.empty()) return Fail(words);
    since_ = loop_.Now();
    watch_ = watcher_.WatchDescriptor(
        mosquitto_socket(handle_), true, true,
        [this](bool readable, bool writable) { Serve(readable, writable); });
  }

  /// The library reports failures by its results; while a call runs it may have closed its socket.
  void Serve(bool readable, bool writable) {
    if (over_) return;
    errno = 0;
    int result = MOSQ_ERR_SUCCESS;
    if (readable) result = client_.Read();
    if (result == MOSQ_ERR_SUCCESS && writable && mosquitto_want_write(handle_)) {
      result = mosquitto_loop_write(handle_, kPacketsATurn);
    }
    const int systemError = errno;
    if (result != MOSQ_ERR_SUCCESS || mosquitto_socket(handle_) < 0) watch_.reset();
    WorkOff();
    if (!watch_) return Fail(client_.Words(result, systemError));
    Want();
    if (writable && TakesMore()) listener_.Drained();
  }

  void WorkOff() {
    while (!client_.news.empty() && !over_) {
      const Client::News news = std::move(client_.news.front());
      client_.news.pop_front();
      switch (news.kind) {
        case Client::News::Kind::Taken:
          open_ = true;
          listener_.Connected();
          break;
        case Client::News::Kind::Refused:
          return Fail(RefusalWords(news.number));
        case Client::News::Kind::Acknowledged:
          listener_.Acknowledged(news.number);
          break;
        case Client::News::Kind::Arrived:
          listener_.Arrived(news.message);
          break;
      }
    }
  }

  /// Watches for the room that the library waits for.
  void Want() {
    const bool writing = mosquitto_want_write(handle_);
    if (over_ || !watch_ || std::exchange(writing_, writing) == writing) return;
    watch_->Want(true, writing);
  }

  /// Takes the result of a call outside of Serve. What the library has closed is no more watched,
  /// before anything else gets the number of the descriptor.
  void Call(int result) {
    const int systemError = errno;
    if (mosquitto_socket(handle_) < 0) watch_.reset();
    if (result != MOSQ_ERR_SUCCESS || !watch_)
      FailLater(client_.Words(result, systemError));
    else
      Want();
  }

  void FailLater(std::string words) {
    loop_.Post([weak = std::weak_ptr(shared_), words = std::move(words)] {
      const auto still = weak.lock();
      if (still && still->owner != nullptr) still->owner->Fail(words);
    });
  }

  void Fail(const std::string& words) {
    if (std::exchange(over_, true)) return;
    watch_.reset();
    listener_.Lost(words);
  }

  MessageLoop& loop_;
  DescriptorWatcher& watcher_;
  MqttListener& listener_;
  std::shared_ptr<Shared> shared_;
  Client& client_;
  mosquitto* handle_;
  double since_ = 0;
  bool open_ = false;
  bool over_ = false;
  bool writing_ = true;                     ///< what the watch was last asked for
  std::unique_ptr<DescriptorWatch> watch_;  ///< null while the thread has the client
};

}  // namespace

MqttConnect MosquittoConnect(NativeHost& host, const MqttBroker& broker) {
  if (host.Descriptors() == nullptr) {
    throw std::runtime_error("MQTT is not to be had on this system");
  }
  // What is wrong with the settings shows here rather than with each attempt.
  const Client trial(broker, {.topic = "trial", .payload = "offline", .retained = true});
  return [&host, broker](const MqttMessage& will, MqttListener& listener) {
    return std::make_unique<MosquittoConnection>(host, broker, will, listener);
  };
}

}  // namespace tarn
