// The controls that the server hosts for its scales: an update timer and a socket control for each,
// and the tick of all activity timers.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "platform/host.hpp"

namespace tarn {

/// The number of scales of a server; scale n uses update timer n.
inline constexpr std::int16_t kScaleCount = 32;

class HostForm {
 public:
  /// The tick runs from now on; the update timers are disabled.
  explicit HostForm(Host& host);
  HostForm(const HostForm&) = delete;
  HostForm& operator=(const HostForm&) = delete;

  /// UpdateTimer1 to UpdateTimer32; null for any other number and after Unload.
  std::shared_ptr<Timer> UpdateTimer(std::int16_t number) const;
  /// Winsock1 to Winsock32, likewise. Each is made when it is first asked for.
  std::shared_ptr<SocketControl> Winsock(std::int16_t number);
  /// Closes the socket control of that number. If somebody else holds it, it is retired, and the
  /// next one that is asked for is new.
  void ReleaseSocket(std::int16_t number);
  /// Ticks every 200 ms until Unload.
  std::shared_ptr<Timer> Timer1() const { return timer1_; }

  /// Stops all timers and closes all sockets for good, even where clients still hold them.
  void Unload();

 private:
  Host& host_;
  bool unloaded_ = false;
  std::array<std::shared_ptr<Timer>, kScaleCount> updateTimers_;
  std::array<std::shared_ptr<SocketControl>, kScaleCount> sockets_;
  std::shared_ptr<Timer> timer1_;
};

}  // namespace tarn
