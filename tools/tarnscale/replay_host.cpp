#include "tools/tarnscale/replay_host.hpp"

#include <deque>
#include <map>
#include <utility>

#include "base/automation_error.hpp"
#include "platform/network_socket.hpp"
#include "platform/socket_error.hpp"

namespace tarn::tool {
namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

class NoStream final : public TextStream {
 public:
  void WriteLine(std::string_view /*text*/) override {}
  void Close() override {}
};

class NoFiles final : public Files {
 public:
  std::unique_ptr<TextStream> OpenForAppending(const std::string& /*name*/) override {
    return std::make_unique<NoStream>();
  }
  std::string Read(const std::string& /*name*/, std::size_t /*maxBytes*/) override {
    throw AutomationError(ErrorNumber::FileNotFound, "There are no files");
  }
  void WriteAtBeginning(const std::string& /*name*/, std::string_view /*bytes*/) override {}
  std::string AbsoluteName(const std::string& name) override { return name; }
};

class NoStore final : public SettingsStore {
 public:
  std::optional<std::string> Get(std::string_view /*section*/, std::string_view /*key*/) override {
    return std::nullopt;
  }
  void Set(std::string_view /*section*/, std::string_view /*key*/,
           std::string_view /*value*/) override {}
};

class NoTerminalNetwork final : public TerminalNetwork {
 public:
  std::int32_t KesRegisterProcess(std::int32_t /*number*/) override { return 1; }
  std::int32_t KesCloseProcess() override { return 1; }
  std::int32_t KesWrite(std::string_view /*address*/, std::int32_t /*number*/,
                        std::string_view /*value*/) override {
    return 1;
  }
  std::int32_t KesRead(std::string_view /*address*/, std::int32_t /*first*/,
                       std::string& /*buffer*/, std::int32_t /*second*/) override {
    return 1;
  }
};

class ReplayLines final : public LineSystem {
 public:
  explicit ReplayLines(Host& host) : host_(host) {}

  MessageLoop& Loop() override { return host_.Loop(); }
  void Trace(std::string_view text) override { host_.Trace(text); }
  std::string DeviceOf(std::int16_t /*port*/) const override { return "capture"; }
  std::unique_ptr<NativeLine> Open(const std::string& /*device*/,
                                   const SerialSettings& /*settings*/,
                                   NativeLine::Listener listener) override {
    return std::make_unique<Line>(*this, std::move(listener));
  }

  void Deliver(std::string_view bytes) {
    if (line_ == nullptr) return;
    const auto arrived = line_->listener.arrived;  // the line may go meanwhile
    arrived(bytes);
  }

 private:
  struct Line final : NativeLine {
    Line(ReplayLines& lines, Listener own) : listener(std::move(own)), lines_(lines) {
      lines_.line_ = this;
    }
    ~Line() override {
      if (lines_.line_ == this) lines_.line_ = nullptr;
    }
    bool Send(std::string_view /*bytes*/) override { return true; }
    std::size_t Queued() const override { return 0; }
    void DiscardInput() override {}

    Listener listener;

   private:
    ReplayLines& lines_;
  };

  Host& host_;
  Line* line_ = nullptr;
};

class ReplaySockets final : public SocketSystem {
 public:
  explicit ReplaySockets(MessageLoop& loop) : loop_(loop) {}

  MessageLoop& Loop() override { return loop_; }
  std::unique_ptr<NativeSocket> Open(SocketTransport transport,
                                     std::function<void()> ready) override {
    return std::make_unique<Socket>(*this, transport, std::move(ready));
  }
  void LookUp(const std::string& /*name*/, std::weak_ptr<void> owner, LookedUp done) override {
    loop_.Post([owner = std::move(owner), done = std::move(done)] {
      if (!owner.expired()) done(0, kLoopback);
    });
  }

  void Deliver(std::string_view bytes) {
    if (socket_ == nullptr) return;
    socket_->arrived.emplace_back(bytes);
    socket_->ReadyLater();
  }
  bool BringsDatagrams() const {
    return socket_ != nullptr && socket_->transport == SocketTransport::Udp;
  }

 private:
  struct Socket final : NativeSocket {
    Socket(ReplaySockets& sockets, SocketTransport kind, std::function<void()> ready)
        : transport(kind), sockets_(sockets), ready_(std::move(ready)) {
      sockets_.socket_ = this;
    }
    ~Socket() override {
      if (sockets_.socket_ == this) sockets_.socket_ = nullptr;
    }

    std::int32_t Bind(const NetworkAddress& here) override {
      port_ = here.port;
      return 0;
    }
    std::uint16_t LocalPort() const override { return port_; }
    std::int32_t Connect(const NetworkAddress& /*to*/) override { return SocketError::kWouldBlock; }
    std::int32_t ConnectResult() override { return 0; }
    Count Send(std::string_view bytes) override { return {0, bytes.size()}; }
    Count Receive(char* into, std::size_t length) override {
      if (arrived.empty()) return {SocketError::kWouldBlock, 0};
      std::string& first = arrived.front();
      const std::size_t count = first.copy(into, length);
      first.erase(0, count);
      if (first.empty()) arrived.pop_front();
      return {0, count};
    }
    std::int32_t SendTo(std::string_view /*bytes*/, const NetworkAddress& to) override {
      to_ = to;
      return 0;
    }
    Count ReceiveDatagram(char* into, std::size_t length, NetworkAddress& from) override {
      from = to_;
      return Receive(into, length);
    }
    void Watch(bool input, bool output) override {
      if (output || (input && !arrived.empty())) ReadyLater();
    }
    void ReadyLater() {
      sockets_.loop_.Post([this, alive = std::weak_ptr<int>(alive_)] {
        if (alive.expired()) return;
        const auto ready = ready_;  // this socket may go meanwhile
        ready();
      });
    }

    SocketTransport transport;
    std::deque<std::string> arrived;

   private:
    ReplaySockets& sockets_;
    std::function<void()> ready_;
    std::uint16_t port_ = 0;
    NetworkAddress to_{kLoopback, 0};
    std::shared_ptr<int> alive_ = std::make_shared<int>();
  };

  MessageLoop& loop_;
  Socket* socket_ = nullptr;
};

}  // namespace

void ReplayLoop::AdvanceTo(double time) {
  RunPending();
  for (double wait = TimeToNextWork(); wait >= 0 && now_ + wait <= time; wait = TimeToNextWork()) {
    WaitAndDispatch(wait);
    RunPending();
  }
  WaitAndDispatch(time - now_);
}

void ReplayLoop::RunPending() {
  while (TimeToNextWork() == 0) RunDueWork();
}

void ReplayLoop::WaitAndDispatch(double milliseconds) {
  if (milliseconds <= 0) return;
  if (pause_) pause_(milliseconds);
  now_ += milliseconds;
}

struct ReplayHost::System {
  explicit System(ReplayHost& host) : lines(host), sockets(host.Loop()) {}

  NoFiles files;
  NoStore store;
  NoTerminalNetwork network;
  ReplayLines lines;
  ReplaySockets sockets;
};

ReplayHost::ReplayHost(UserLocale& locale, LoopBase::TraceSink trace, ReplayLoop::Pause pause)
    : locale_(locale),
      trace_(trace),
      loop_(std::move(trace), std::move(pause)),
      system_(std::make_unique<System>(*this)) {}

ReplayHost::~ReplayHost() = default;

void ReplayHost::Deliver(std::string_view bytes) {
  loop_.Guard([&] {
    system_->lines.Deliver(bytes);
    system_->sockets.Deliver(bytes);
  });
  loop_.RunPending();
}

bool ReplayHost::BringsDatagrams() const {
  return system_->sockets.BringsDatagrams();
}

SettingsStore& ReplayHost::Settings() {
  return system_->store;
}
tarn::Files& ReplayHost::Files() {
  return system_->files;
}
tarn::TerminalNetwork& ReplayHost::TerminalNetwork() {
  return system_->network;
}
std::shared_ptr<SerialPort> ReplayHost::CreateSerialPort() {
  return std::make_shared<SerialPort>(system_->lines);
}
std::shared_ptr<SocketControl> ReplayHost::CreateSocket() {
  return std::make_shared<NetworkSocket>(system_->sockets);
}

}  // namespace tarn::tool
