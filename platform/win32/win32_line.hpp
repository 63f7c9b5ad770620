// Serial lines on COM ports, each with a thread that keeps its bytes moving. Both ends of a line
// are built on it: the server's port and the simulated terminal's.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/native_line.hpp"
#include "platform/win32/win32_open_port.hpp"

namespace tarn {

/// A call out to a client may keep the loop busy for a while. So a separate thread gathers what
/// arrives and announces it to the loop, with one announcement at a time however much it is, and
/// writes what waits to be sent.
class Win32Line final : public NativeLine {
 public:
  Win32Line(MessageLoop& loop, Win32OpenPort port, Listener listener);
  /// The thread closes the port beside the loop.
  ~Win32Line() override;

  bool Send(std::string_view bytes) override;
  std::size_t Queued() const override;
  void DiscardInput() override;
  PortErrors Errors() override;

 private:
  struct State;
  class Worker;

  std::shared_ptr<State> state_;
};

/// Port n is COMn unless the user's names have another device for it.
class Win32Lines final : public LineSystem {
 public:
  Win32Lines(MessageLoop& loop, std::map<int, std::string> deviceNames,
             std::function<void(std::string_view)> trace)
      : LineSystem(std::move(deviceNames)), loop_(loop), trace_(std::move(trace)) {}

  MessageLoop& Loop() override { return loop_; }
  void Trace(std::string_view text) override { trace_(text); }
  std::string DeviceOf(std::int16_t port) const override;
  std::unique_ptr<NativeLine> Open(const std::string& device, const SerialSettings& settings,
                                   NativeLine::Listener listener) override;

 private:
  MessageLoop& loop_;
  std::function<void(std::string_view)> trace_;
  std::shared_ptr<Win32PortTable> openPorts_ = std::make_shared<Win32PortTable>();
};

}  // namespace tarn
