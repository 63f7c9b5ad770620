// The fake host: its ports, files, settings and texts.
#include "tests/fakes/fake_host.hpp"

#include "base/number_text.hpp"
#include "platform/utf8.hpp"

namespace tarn {
namespace {

void ThrowIfListed(const FakeFiles::Failures& failures, const std::string& key) {
  if (const auto found = failures.find(key); found != failures.end()) throw found->second;
}

std::string StoreKey(std::string_view section, std::string_view key) {
  return AsciiLower(section) + "/" + AsciiLower(key);
}

[[noreturn]] void ThrowStoreFailure() {
  throw AutomationError(ErrorNumber::DeviceInputOutput, "The settings store is out of order");
}

}  // namespace

void FakeLoop::Advance(double milliseconds) {
  const double end = now_ + milliseconds;
  RunPending();
  for (double wait = TimeToNextWork(); wait >= 0 && now_ + wait <= end; wait = TimeToNextWork()) {
    now_ += wait;
    RunPending();
  }
  now_ = end;
}

class FakeLines::Line final : public NativeLine {
 public:
  Line(FakeLines& lines, std::string device, Listener listener)
      : lines_(lines), device_(std::move(device)), listener_(std::move(listener)) {
    lines_.openDevices_->insert(device_);
  }
  ~Line() override {
    lines_.openDevices_->erase(device_);
    lines_.line_ = nullptr;
  }

  bool Send(std::string_view bytes) override {
    lines_.written += bytes;
    if (lines_.stalled) queued_ += bytes.size();
    return true;
  }
  std::size_t Queued() const override { return queued_; }
  void DiscardInput() override {}

  Listener Listeners() const { return listener_; }  // a copy, since the line may go meanwhile

 private:
  FakeLines& lines_;
  std::string device_;
  Listener listener_;
  std::size_t queued_ = 0;
};

void FakeLines::Deliver(std::string_view bytes) {
  if (line_ != nullptr) line_->Listeners().arrived(bytes);
}

void FakeLines::Unplug() {
  if (line_ != nullptr) line_->Listeners().lost("unplugged");
}

std::unique_ptr<NativeLine> FakeLines::Open(const std::string& device,
                                            const SerialSettings& /*settings*/,
                                            NativeLine::Listener listener) {
  if (failOpen) throw *failOpen;
  if (openDevices_->contains(device)) throw AutomationError(ErrorNumber::PortInUse, "in use");
  auto line = std::make_unique<Line>(*this, device, std::move(listener));
  line_ = line.get();
  return line;
}

std::optional<std::string> FakeSettingsStore::Get(std::string_view section, std::string_view key) {
  if (failReads) ThrowStoreFailure();
  const auto found = values.find(StoreKey(section, key));
  if (found == values.end()) return std::nullopt;
  return found->second;
}

void FakeSettingsStore::Set(std::string_view section, std::string_view key,
                            std::string_view value) {
  if (failWrites) ThrowStoreFailure();
  values[StoreKey(section, key)] = value;
}

std::string FakeLocale::ToBytes(std::string_view text) const {
  std::string bytes;
  while (!text.empty()) {
    const char32_t codePoint = TakeCodePoint(text);
    bytes += codePoint < 0x100 ? static_cast<char>(codePoint) : '?';
  }
  return bytes;
}

std::string FakeLocale::FromBytes(std::string_view bytes) const {
  std::string text;
  for (const char byte : bytes) AppendCodePoint(text, static_cast<unsigned char>(byte));
  return text;
}

class FakeFiles::Stream final : public TextStream {
 public:
  Stream(FakeFiles& files, std::string name) : files_(files), name_(std::move(name)) {}

  void WriteLine(std::string_view text) override {
    if (closed_) ThrowObjectNotSet("The text stream is closed");
    ThrowIfListed(files_.failWrite, name_);
    files_.contents[name_] += files_.locale_.ToBytes(text) + "\r\n";
  }

  void Close() override {
    if (std::exchange(closed_, true)) return;
    ThrowIfListed(files_.failClose, name_);
  }

 private:
  FakeFiles& files_;
  std::string name_;
  bool closed_ = false;
};

std::unique_ptr<TextStream> FakeFiles::OpenForAppending(const std::string& name) {
  ThrowIfListed(failOpen, name);
  contents.try_emplace(name);
  return std::make_unique<Stream>(*this, name);
}

std::string FakeFiles::Read(const std::string& name, std::size_t maxBytes) {
  const auto found = contents.find(name);
  if (found == contents.end()) {
    throw AutomationError(ErrorNumber::FileNotFound, "File not found: " + name);
  }
  return found->second.substr(0, maxBytes);
}

void FakeFiles::WriteAtBeginning(const std::string& name, std::string_view bytes) {
  ThrowIfListed(failWrite, name);
  std::string& content = contents[name];
  content.replace(0, bytes.size(), bytes);
}

FakeHost::FakeHost()
    : filter_([this](std::string_view text) { traces.emplace_back(text); }),
      loop([this](std::string_view text) { Trace(text); }) {}

}  // namespace tarn
