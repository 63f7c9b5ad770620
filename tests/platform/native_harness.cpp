// The harness of the operating system's host.
#include <cstdlib>
#include <random>

#include "tests/platform/platform_contract.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

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
  std::unique_ptr<FarEnd> MakeFarEnd() override { return MakeNativeFarEnd(); }
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
