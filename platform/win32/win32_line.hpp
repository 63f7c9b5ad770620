// An open COM port with the thread that keeps its bytes moving. Both ends of a serial line are
// built on it: the server's port and the simulated terminal's.
//
// The loop may be kept busy for a while by a call out to a client. So a thread of its own gathers
// what arrives and announces it to the loop, one announcement at a time however much it is, and
// writes what waits to be sent.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/message_loop.hpp"
#include "platform/win32/win32_open_port.hpp"

namespace tarn {

class Win32Line {
 public:
  /// Called from the loop, and never again once the line is destroyed. Either may destroy it.
  struct Listener {
    std::function<void(std::string_view)> arrived;
    /// The device has gone; nothing arrives and nothing is sent any more.
    std::function<void(const std::string& why)> gone;
  };

  Win32Line(MessageLoop& loop, Win32OpenPort port, Listener listener);
  Win32Line(const Win32Line&) = delete;
  Win32Line& operator=(const Win32Line&) = delete;
  /// Closes the port, which a thread does beside the loop; what was not sent yet is dropped.
  ~Win32Line();

  /// Bytes that wait to be sent, those included that the device is busy with.
  std::size_t Queued() const;
  void Send(std::string_view bytes);
  /// Drops what has arrived and is not announced yet.
  void DiscardInput();

 private:
  struct State;
  class Worker;

  std::shared_ptr<State> state_;
};

}  // namespace tarn
