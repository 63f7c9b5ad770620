#include "tests/fakes/fake_host.hpp"

#include "base/number_text.hpp"
#include "platform/serial_settings.hpp"
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

void FakeLoop::RunPending() {
  while (TimeToNextWork() == 0) RunDueWork();
}

void FakeLoop::WaitAndDispatch(double milliseconds) {
  if (milliseconds < 0) throw std::logic_error("nothing will ever wake this loop");
  now_ += milliseconds;
}

FakeSerialPort::FakeSerialPort(MessageLoop& loop, std::shared_ptr<OpenPorts> openPorts)
    : loop_(loop), openPorts_(std::move(openPorts)), buffer_(loop, [this] { Receive.Raise(); }) {}

FakeSerialPort::~FakeSerialPort() {
  Close();
}

void FakeSerialPort::Deliver(std::string_view bytes) {
  if (open_) buffer_.Arrived(bytes);
}

void FakeSerialPort::Unplug() {
  if (!open_) return;
  Close();
  loop_.Post([this, alive = std::weak_ptr<int>(alive_)] {
    if (!alive.expired() && !open_) Lost.Raise();
  });
}

void FakeSerialPort::PortNumber(std::int16_t number) {
  if (number != number_) RequireClosed();
  calls.push_back("PortNumber " + std::to_string(number));
  number_ = number;
}

void FakeSerialPort::Settings(std::string_view settings) {
  if (settings != settings_) RequireClosed();
  calls.push_back("Settings " + std::string(settings));
  settings_ = settings;
}

void FakeSerialPort::ReceiveThreshold(std::int16_t length) {
  calls.push_back("ReceiveThreshold " + std::to_string(length));
  buffer_.Threshold(length);
}

void FakeSerialPort::EndCharacter(std::optional<char> end) {
  calls.push_back("EndCharacter " + (end ? std::to_string(*end) : std::string("none")));
  buffer_.EndCharacter(end);
}

void FakeSerialPort::PortOpen(bool open) {
  if (open == open_) return;
  calls.emplace_back(open ? "Open" : "Close");
  if (open)
    Open();
  else
    Close();
}

void FakeSerialPort::Open() {
  if (failOpen) throw *failOpen;
  if (number_ < 1) throw AutomationError(ErrorNumber::InvalidPort, "There is no such port");
  if (openPorts_->contains(number_)) {
    throw AutomationError(ErrorNumber::PortInUse, "The port is open already");
  }
  buffer_.CharacterTime(ParseSerialSettings(settings_).CharacterTime());
  buffer_.Clear();
  openPorts_->insert(number_);
  queued_ = 0;
  open_ = true;
}

void FakeSerialPort::Close() {
  if (!open_) return;
  openPorts_->erase(number_);
  open_ = false;
  buffer_.Clear();
}

void FakeSerialPort::ClearInput() {
  calls.emplace_back("ClearInput");
  buffer_.Clear();
}

void FakeSerialPort::Output(std::string_view bytes) {
  if (!open_) throw AutomationError(ErrorNumber::PortNotOpen, "The port is not open");
  if (stalled) {
    if (queued_ + bytes.size() > kMaxQueuedOutput) {
      throw AutomationError(ErrorNumber::DeviceInputOutput, "The output queue is full");
    }
    queued_ += bytes.size();
  }
  written += bytes;
}

std::string FakeSerialPort::DeviceName() const {
  return open_ ? "COM" + std::to_string(number_) : std::string();
}

void FakeSerialPort::RequireClosed() const {
  if (open_) throw AutomationError(ErrorNumber::PortNotClosed, "The port is open");
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
  Stream(FakeFiles& files, std::string key) : files_(files), key_(std::move(key)) {}

  void WriteLine(std::string_view text) override {
    if (closed_) ThrowObjectNotSet("The text stream is closed");
    ThrowIfListed(files_.failWrite, key_);
    files_.contents[key_] += files_.locale_.ToBytes(text) + "\r\n";
  }

  void Close() override {
    if (std::exchange(closed_, true)) return;
    ThrowIfListed(files_.failClose, key_);
  }

 private:
  FakeFiles& files_;
  std::string key_;
  bool closed_ = false;
};

std::unique_ptr<TextStream> FakeFiles::OpenForAppending(const std::string& name) {
  const std::string key = Key(name);
  ThrowIfListed(failOpen, key);
  contents.try_emplace(key);
  return std::make_unique<Stream>(*this, key);
}

std::string FakeFiles::Read(const std::string& name, std::size_t maxBytes) {
  const std::string key = Key(name);
  const auto found = contents.find(key);
  if (found == contents.end()) {
    throw AutomationError(ErrorNumber::FileNotFound, "File not found: " + name);
  }
  return found->second.substr(0, maxBytes);
}

void FakeFiles::WriteAtBeginning(const std::string& name, std::string_view bytes) {
  const std::string key = Key(name);
  ThrowIfListed(failWrite, key);
  std::string& content = contents[key];
  content.replace(0, bytes.size(), bytes);
}

std::string FakeFiles::AbsoluteName(const std::string& name) {
  return name.starts_with('/') ? name : std::string(kFolder) + name;
}

std::string FakeFiles::Key(std::string_view name) {
  if (name.starts_with(kFolder)) name.remove_prefix(kFolder.size());
  return std::string(name);
}

FakeHost::FakeHost()
    : filter_([this](std::string_view text) { traces.emplace_back(text); }),
      openPorts_(std::make_shared<FakeSerialPort::OpenPorts>()),
      loop([this](std::string_view text) { Trace(text); }) {}

std::shared_ptr<SerialPort> FakeHost::CreateSerialPort() {
  ports.push_back(std::make_shared<FakeSerialPort>(loop, openPorts_));
  return ports.back();
}

std::shared_ptr<SocketControl> FakeHost::CreateSocket() {
  sockets.push_back(std::make_shared<FakeSocket>(loop));
  return sockets.back();
}

}  // namespace tarn
