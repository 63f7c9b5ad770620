#include "platform/win32/win32_terminal_line.hpp"

#include <algorithm>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

/// A pair of ports inside one machine has no speed, and no parity that anybody checks.
constexpr std::string_view kSettings = "9600,n,8,1";

}  // namespace

Win32TerminalLine::Win32TerminalLine(MessageLoop& loop, std::shared_ptr<Win32PortTable> openPorts,
                                     std::function<void(std::string_view)> trace, std::string place)
    : loop_(loop),
      openPorts_(std::move(openPorts)),
      trace_(std::move(trace)),
      place_(std::move(place)) {
  Attach();
}

void Win32TerminalLine::Attach() {
  if (line_) return;
  try {
    line_ = std::make_unique<Win32Line>(
        loop_, OpenWin32Port(openPorts_, place_, "line " + place_, kSettings),
        Win32Line::Listener{[this](std::string_view bytes) { Received.Raise(bytes); },
                            [this](const std::string& why) { LineGone(why); }});
  } catch (const AutomationError& error) {
    const bool noPlace =
        error.Number() == ErrorNumber::InvalidPort || error.Number() == ErrorNumber::PortInUse;
    throw AutomationError(noPlace ? ErrorNumber::PathFileAccess : ErrorNumber::DeviceInputOutput,
                          error.Description());
  }
}

std::size_t Win32TerminalLine::Write(std::string_view bytes) {
  if (!line_) return 0;
  const std::size_t queued = line_->Queued();
  const std::size_t count = std::min(bytes.size(), kAhead - std::min(queued, kAhead));
  line_->Send(bytes.substr(0, count));
  return count;
}

void Win32TerminalLine::LineGone(const std::string& why) {
  Detach();
  trace_("The line " + place_ + " went away: " + why);
}

}  // namespace tarn
