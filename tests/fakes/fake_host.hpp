// A host for unit tests: a clock that the test turns, ports whose bytes the test delivers, files
// and settings in memory. Nothing here waits, sleeps or touches the machine.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/host.hpp"
#include "platform/loop_base.hpp"
#include "platform/native_line.hpp"
#include "platform/serial_port.hpp"
#include "platform/trace_filter.hpp"
#include "tests/fakes/fake_socket.hpp"

namespace tarn {

/// The clock starts at 0 and moves only when the test says so, or in RunUntil, which jumps to
/// whatever is due next.
class FakeLoop final : public LoopBase {
 public:
  using LoopBase::LoopBase;
  ~FakeLoop() override { DropPosted(); }

  double Now() const override { return now_; }

  /// Moves the clock on, stops at every due moment on the way and does there what is due.
  void Advance(double milliseconds);
  /// Does what is due now, also what this work posts; the clock stands still.
  void RunPending() {
    while (TimeToNextWork() == 0) RunDueWork();
  }
  /// Moves the clock without any work: a loop that was kept busy and comes late.
  void ComeLate(double milliseconds) { now_ += milliseconds; }

 protected:
  void WaitAndDispatch(double milliseconds) override {
    if (milliseconds < 0) throw std::logic_error("nothing will ever wake this loop");
    now_ += milliseconds;
  }
  void Wake() override {}

 private:
  double now_ = 0;
};

/// The line of one fake port.
class FakeLines : public LineSystem {
 public:
  using OpenDevices = std::set<std::string>;

  /// The ports of a host share `openDevices`: a device that is open there is in use.
  FakeLines(Host& host, std::shared_ptr<OpenDevices> openDevices)
      : host_(host), openDevices_(std::move(openDevices)) {}

  /// Bytes arrive now; Receive is raised from here when due. Nothing happens while closed.
  void Deliver(std::string_view bytes);
  /// The device goes away.
  void Unplug();

  std::string written;                      ///< everything sent
  std::optional<AutomationError> failOpen;  ///< thrown when the port is to open
  bool stalled = false;  ///< the device takes nothing: output fills the queue up to its bound

  MessageLoop& Loop() override { return host_.Loop(); }
  void Trace(std::string_view text) override { host_.Trace(text); }
  std::string DeviceOf(std::int16_t port) const override {
    return port >= 1 ? "COM" + std::to_string(port) : std::string();
  }
  std::unique_ptr<NativeLine> Open(const std::string& device, const SerialSettings& settings,
                                   NativeLine::Listener listener) override;

 private:
  class Line;

  Host& host_;
  std::shared_ptr<OpenDevices> openDevices_;
  Line* line_ = nullptr;  ///< the open one
};

/// The port itself is the real one.
class FakeSerialPort final : public FakeLines, public SerialPort {
 public:
  FakeSerialPort(Host& host, std::shared_ptr<OpenDevices> openDevices)
      : FakeLines(host, std::move(openDevices)), SerialPort(static_cast<FakeLines&>(*this)) {}

  std::vector<std::string> calls;  ///< writes of properties, Open, Close, ClearInput, in order

  using SerialPort::EndCharacter;
  using SerialPort::PortNumber;
  using SerialPort::PortOpen;
  using SerialPort::ReceiveThreshold;
  using SerialPort::Settings;
  void PortNumber(std::int16_t number) override {
    SerialPort::PortNumber(number);
    calls.push_back("PortNumber " + std::to_string(number));
  }
  void Settings(std::string_view settings) override {
    SerialPort::Settings(settings);
    calls.push_back("Settings " + std::string(settings));
  }
  void ReceiveThreshold(std::int16_t length) override {
    SerialPort::ReceiveThreshold(length);
    calls.push_back("ReceiveThreshold " + std::to_string(length));
  }
  void EndCharacter(std::optional<char> end) override {
    SerialPort::EndCharacter(end);
    calls.push_back("EndCharacter " + (end ? std::to_string(*end) : std::string("none")));
  }
  void PortOpen(bool open) override {
    if (open != PortOpen()) calls.emplace_back(open ? "Open" : "Close");
    SerialPort::PortOpen(open);
  }
  void ClearInput() override {
    SerialPort::ClearInput();
    calls.emplace_back("ClearInput");
  }
};

class FakeSettingsStore final : public SettingsStore {
 public:
  std::optional<std::string> Get(std::string_view section, std::string_view key) override;
  void Set(std::string_view section, std::string_view key, std::string_view value) override;

  /// By "section/key" in lower case.
  std::map<std::string, std::string> values;
  bool failReads = false;   ///< error 57
  bool failWrites = false;  ///< error 57
};

/// The code page is Latin-1.
class FakeLocale final : public UserLocale {
 public:
  std::string DecimalSeparator() const override { return decimal; }
  std::string GroupSeparator() const override { return group; }
  std::string DateText() const override { return "6/1/2024"; }
  std::string TimeText() const override { return "12:34:56"; }
  std::string ToBytes(std::string_view text) const override;
  std::string FromBytes(std::string_view bytes) const override;

  std::string decimal = ".";
  std::string group = ",";
};

class FakeFiles final : public Files {
 public:
  using Failures = std::map<std::string, AutomationError>;

  explicit FakeFiles(const UserLocale& locale) : locale_(locale) {}

  std::unique_ptr<TextStream> OpenForAppending(const std::string& name) override;
  std::string Read(const std::string& name, std::size_t maxBytes) override;
  void WriteAtBeginning(const std::string& name, std::string_view bytes) override;
  std::string AbsoluteName(const std::string& name) override {
    return name.starts_with('/') ? name : "/current/" + name;
  }

  std::map<std::string, std::string> contents;  ///< by name
  // By name: what the operation throws instead of doing its work.
  Failures failOpen;   ///< OpenForAppending
  Failures failWrite;  ///< WriteAtBeginning and WriteLine
  Failures failClose;  ///< the first Close of a text stream; it counts as closed

 private:
  class Stream;

  const UserLocale& locale_;
};

class FakeHost final : public Host {
 public:
  FakeHost();

  MessageLoop& Loop() override { return loop; }
  SettingsStore& Settings() override { return store; }
  UserLocale& Locale() override { return locale; }
  tarn::Files& Files() override { return files; }
  std::shared_ptr<SerialPort> CreateSerialPort() override {
    ports.push_back(std::make_shared<FakeSerialPort>(*this, openDevices_));
    return ports.back();
  }
  std::shared_ptr<SocketControl> CreateSocket() override {
    sockets.push_back(std::make_shared<FakeSocket>(loop));
    return sockets.back();
  }
  tarn::TerminalNetwork& TerminalNetwork() override { return terminalNetwork; }
  std::chrono::system_clock::time_point WallTime() override { return wallTime(); }
  std::string ProgramFolder() override { return "/program"; }
  void Trace(std::string_view text) override { filter_(text, loop.Now()); }

 private:
  TraceFilter filter_;
  std::shared_ptr<FakeLines::OpenDevices> openDevices_ = std::make_shared<FakeLines::OpenDevices>();

 public:
  std::vector<std::string> traces;
  FakeSettingsStore store;
  FakeLocale locale;
  FakeFiles files{locale};
  FakeLoop loop;
  FakeTerminalNetwork terminalNetwork;
  std::function<std::chrono::system_clock::time_point()> wallTime = std::chrono::system_clock::now;
  std::vector<std::shared_ptr<FakeSerialPort>> ports;  ///< in order of creation
  std::vector<std::shared_ptr<FakeSocket>> sockets;    ///< likewise
};

}  // namespace tarn
