// Serial lines on termios.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/native_line.hpp"
#include "platform/port_list.hpp"
#include "platform/posix/posix_message_loop.hpp"

namespace tarn {

/// Port n is /dev/ttyS(n-1) unless the user's names have another device for it. A line of 4 data
/// bits does not exist here (error 380); 1.5 stop bits are two, except with 5 data bits.
/// Bits per second; 0 for a speed that ports do not have.
std::int32_t BaudOf(unsigned code);

class PosixLines final : public LineSystem {
 public:
  PosixLines(PosixMessageLoop& loop, std::map<int, std::string> deviceNames,
             std::function<void(std::string_view)> trace)
      : LineSystem(std::move(deviceNames)), loop_(loop), trace_(std::move(trace)) {}

  MessageLoop& Loop() override { return loop_; }
  void Trace(std::string_view text) override { trace_(text); }
  std::string DeviceOf(std::int16_t port) const override;
  std::string HolderOf(const std::string& device) const override { return PortHolder(device); }
  std::unique_ptr<NativeLine> Open(const std::string& device, const SerialSettings& settings,
                                   NativeLine::Listener listener) override;

 private:
  PosixMessageLoop& loop_;
  std::function<void(std::string_view)> trace_;
};

}  // namespace tarn
