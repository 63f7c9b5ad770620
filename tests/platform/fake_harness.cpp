#include "tests/fakes/fake_host.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

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
  void PlugIn() override {}
  void Stall() override { OpenPort().stalled = true; }
  void ForgetPorts() override {
    lastPort_ = host_->ports.back().get();
    host_->ports.clear();
  }

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
