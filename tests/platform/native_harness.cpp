// The harness of the operating system's host. Its far end uses the system's own sockets, whose
// interface is nearly the same on both systems.
#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

#include <cstdlib>
#include <random>
#include <utility>

#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
using Handle = SOCKET;
using Length = int;
const auto CloseHandleOf = closesocket;
void DoNotBlock(Handle handle) {
  u_long yes = 1;
  ioctlsocket(handle, static_cast<long>(FIONBIO), &yes);
}
#else
using Handle = int;
using Length = std::size_t;
const auto CloseHandleOf = ::close;
void DoNotBlock(Handle handle) {
  int yes = 1;
  ::ioctl(handle, FIONBIO, &yes);
}
#endif
constexpr auto kNone = static_cast<Handle>(-1);

class Socket {
 public:
  Socket() = default;
  explicit Socket(Handle handle) : handle_(handle) {
    if (handle != kNone) DoNotBlock(handle);
  }
  Socket(Socket&& other) noexcept : handle_(std::exchange(other.handle_, kNone)) {}
  Socket& operator=(Socket&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Socket() {
    if (handle_ != kNone) CloseHandleOf(handle_);
  }
  Handle Get() const { return handle_; }

 private:
  Handle handle_ = kNone;
};

sockaddr_in Here(std::int32_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

class NativeFarEnd final : public FarEnd {
 public:
  std::int32_t Listen() override {
    listener_ = Open(SOCK_STREAM);
    EXPECT_EQ(::listen(listener_.Get(), 4), 0);
    return PortOf(listener_);
  }
  std::int32_t OpenDatagrams() override {
    socket_ = Open(SOCK_DGRAM);
    return PortOf(socket_);
  }
  std::int32_t ClosedPort() override { return PortOf(Open(SOCK_STREAM)); }

  bool Accept() override {
    Socket taken(::accept(listener_.Get(), nullptr, nullptr));
    if (taken.Get() == kNone) return false;
    socket_ = std::move(taken);
    stream_ = true;
    received_.assign(1, "");
    return true;
  }
  void Send(std::string_view bytes) override {
    ASSERT_EQ(::send(socket_.Get(), bytes.data(), static_cast<Length>(bytes.size()), 0),
              static_cast<std::ptrdiff_t>(bytes.size()));
  }
  void SendDatagram(std::string_view bytes, std::int32_t toPort) override {
    const sockaddr_in to = Here(toPort);
    ASSERT_EQ(::sendto(socket_.Get(), bytes.data(), static_cast<Length>(bytes.size()), 0,
                       reinterpret_cast<const sockaddr*>(&to), sizeof to),
              static_cast<std::ptrdiff_t>(bytes.size()));
  }
  void FinishSending() override { ::shutdown(socket_.Get(), 1); }
  void Reset() override {
    const linger atOnce{1, 0};
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce),
                 sizeof atOnce);
    socket_ = Socket();
  }

  const std::vector<std::string>& Received() override {
    std::string bytes(65536, '\0');
    for (;;) {
      const auto count = ::recv(socket_.Get(), bytes.data(), static_cast<Length>(bytes.size()), 0);
      if (count < 0 || (stream_ && count == 0)) return received_;
      const std::string_view piece(bytes.data(), static_cast<std::size_t>(count));
      if (stream_)
        received_.front() += piece;
      else
        received_.emplace_back(piece);
    }
  }

 private:
  static Socket Open(int type) {
    Socket socket(::socket(AF_INET, type, 0));
    const sockaddr_in any = Here(0);
    EXPECT_EQ(::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&any), sizeof any), 0);
    return socket;
  }
  static std::int32_t PortOf(const Socket& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    EXPECT_EQ(::getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
  }

  Socket listener_;
  Socket socket_;
  bool stream_ = false;
  std::vector<std::string> received_;
};

#ifdef _WIN32
constexpr bool kLinesAreMade = false;
#else
constexpr bool kLinesAreMade = true;
#endif

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

class NativeHarness final : public Harness {
 public:
  NativeHarness() {
    fs::create_directories(folder_);
    Start();
  }
  ~NativeHarness() override {
    line_.reset();
    host_.reset();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

  tarn::Host& Host() override { return *host_; }
  const std::vector<std::string>& Traces() const override { return traces_; }
  std::string FileName(const std::string& name) override { return (folder_ / name).string(); }

  void Restart() override {
    line_.reset();
    host_.reset();
    Start();
  }

  void MakeUnusable(const std::string& fileName) override { fs::create_directory(fileName); }

  bool ConnectLine() override {
    const std::string place = kLinesAreMade ? FileName("port7") : Variable("TARN_TEST_PORT_B");
    if (place.empty()) return false;
    line_ = host_->CreateTerminalLine(place);
    subscription_ = line_->Received.Subscribe([this](std::string_view bytes) { sent_ += bytes; });
    return true;
  }

  std::int16_t SamePort() override {
    if (!kLinesAreMade) return static_cast<std::int16_t>(std::stoi(PortPlace().substr(3)));
    fs::create_symlink(FileName("port7"), FileName("port4"));
    return 4;
  }

  void Deliver(std::string_view bytes) override { ASSERT_EQ(line_->Write(bytes), bytes.size()); }
  std::string Sent() override { return sent_; }
  std::unique_ptr<FarEnd> MakeFarEnd() override { return std::make_unique<NativeFarEnd>(); }
  // Wine does not report a closed port, and shows a reset as an orderly end.
  bool ReportsBreaks() const override { return kLinesAreMade; }
  bool CanUnplug() const override { return kLinesAreMade || !UnplugFile().empty(); }

  void Unplug() override {
    if (kLinesAreMade)
      line_->Detach();
    else
      std::ofstream{UnplugFile()};
  }

  void PlugIn() override {
    if (kLinesAreMade) return line_->Attach();
    ASSERT_TRUE(Becomes(host_->Loop(), [this] { return !line_->IsAttached(); }));
    fs::remove(UnplugFile());
    const auto attaches = [this] { return ErrorOf([this] { line_->Attach(); }) == 0; };
    ASSERT_TRUE(Becomes(host_->Loop(), attaches)) << "the pair does not come back";
  }

 private:
  std::string PortPlace() {
    return kLinesAreMade ? FileName("port7") : Variable("TARN_TEST_PORT_A");
  }
  static std::string UnplugFile() { return Variable("TARN_TEST_UNPLUG"); }

  void Start() {
    HostOptions options;
    options.portMap[kPort] = PortPlace();
    for (int n = 1; kLinesAreMade && n <= 4; ++n) {
      options.portMap[n] = FileName("port" + std::to_string(n));
    }
    options.settingsPlace = kLinesAreMade ? FileName("store/settings.ini") : unique_;
    options.trace = [this](std::string_view text) { traces_.emplace_back(text); };
    host_ = CreateNativeHost(std::move(options));
  }

  std::string unique_ = "tarn-test-" + std::to_string(std::random_device{}());
  fs::path folder_ = fs::temp_directory_path() / unique_;
  std::vector<std::string> traces_;
  std::string sent_;
  std::unique_ptr<NativeHost> host_;
  std::unique_ptr<TerminalLine> line_;
  Subscription subscription_;
};

}  // namespace

::testing::AssertionResult Becomes(MessageLoop& loop, const std::function<bool()>& condition) {
  const auto poll = loop.CreateTimer();
  poll->Interval(5);
  poll->Enabled(true);
  if (loop.RunUntil(condition, 30000)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "it did not come about";
}

std::unique_ptr<Harness> MakeNativeHarness() {
  return std::make_unique<NativeHarness>();
}

}  // namespace tarn
