// The harness of the fake host.
#include "tests/fakes/fake_host.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

class FakeFarEnd final : public FarEnd {
 public:
  explicit FakeFarEnd(FakeHost& host) : host_(host) { Socket().names["localhost"] = 0x7F000001; }

  std::int32_t Listen() override { return Opened(true); }
  std::int32_t OpenDatagrams() override { return Opened(false); }
  std::int32_t ClosedPort() override { return 9; }
  void AnswerClosedPort(std::int32_t number) override {
    Socket().reached.clear();
    Socket().Fail(number, "The port is closed");
  }

  bool Accept() override {
    Socket().Accept();
    return true;
  }
  void Send(std::string_view bytes) override { Socket().Deliver(bytes); }
  void SendDatagram(std::string_view bytes, std::int32_t /*toPort*/) override { Send(bytes); }
  void FinishSending() override { Socket().HangUp(); }
  void Reset() override { Socket().Fail(10054, "Reset"); }

  const std::vector<std::string>& Received() override {
    if (Socket().stalled) Socket().Resume();
    received_ = Socket().reached;
    if (!stream_) return received_;
    std::string all;
    for (const std::string& piece : received_) all += piece;
    received_.assign(1, all);
    return received_;
  }
  void StopReading() override { Socket().stalled = true; }

 private:
  FakeSocket& Socket() const { return *host_.sockets.back(); }
  std::int32_t Opened(bool stream) {
    stream_ = stream;
    Socket().reached.clear();
    return stream ? 1749 : 1701;
  }

  FakeHost& host_;
  bool stream_ = false;
  std::vector<std::string> received_;
};

class FakeHarness final : public Harness {
 public:
  tarn::Host& Host() override { return *host_; }
  const std::vector<std::string>& Traces() const override { return host_->traces; }
  std::string FileName(const std::string& name) override { return name; }

  void Restart() override {
    auto next = std::make_unique<FakeHost>();
    next->store.values = host_->store.values;
    next->files.contents = host_->files.contents;
    host_ = std::move(next);
  }

  void MakeUnusable(const std::string& fileName) override {
    const AutomationError noFile(ErrorNumber::PathFileAccess, "This is a folder");
    host_->files.failOpen.emplace(fileName, noFile);
    host_->files.failWrite.emplace(fileName, noFile);
  }

  bool ConnectLine() override { return true; }
  void Deliver(std::string_view bytes) override { OpenPort().Deliver(bytes); }
  std::string Sent() override { return OpenPort().written; }
  void Unplug() override { OpenPort().Unplug(); }
  void Stall() override { OpenPort().stalled = true; }
  void ForgetPorts() override {
    if (!host_->ports.empty()) lastPort_ = host_->ports.back().get();
    host_->ports.clear();
    host_->sockets.clear();
  }
  bool HasNetwork() const override { return false; }
  std::unique_ptr<FarEnd> MakeFarEnd() override { return std::make_unique<FakeFarEnd>(*host_); }

 private:
  /// The port that has the line; when none is open, the last one.
  FakeSerialPort& OpenPort() {
    for (const auto& port : host_->ports) {
      if (port->PortOpen()) return *port;
    }
    return host_->ports.empty() ? *lastPort_ : *host_->ports.back();
  }

  std::unique_ptr<FakeHost> host_ = std::make_unique<FakeHost>();
  FakeSerialPort* lastPort_ = nullptr;
};

}  // namespace

std::unique_ptr<Harness> MakeFakeHarness() {
  return std::make_unique<FakeHarness>();
}

}  // namespace tarn
