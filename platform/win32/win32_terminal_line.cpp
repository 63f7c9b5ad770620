#include "platform/win32/win32_terminal_line.hpp"

#include <algorithm>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {

Win32TerminalLine::Win32TerminalLine(LineSystem& lines, std::string place)
    : lines_(lines), place_(std::move(place)) {
  Attach();
}

void Win32TerminalLine::Attach() {
  if (line_) return;
  try {
    // A pair of ports inside one machine has no speed, and no parity that anybody checks.
    line_ = lines_.Open(place_, SerialSettings{},
                        {[this](std::string_view bytes) { Received.Raise(bytes); },
                         [this](const std::string& why) { LineLost(why); }});
  } catch (const AutomationError& error) {
    const bool noPlace =
        error.Number() == ErrorNumber::InvalidPort || error.Number() == ErrorNumber::PortInUse;
    throw AutomationError(noPlace ? ErrorNumber::PathFileAccess : ErrorNumber::DeviceInputOutput,
                          "The line " + place_ + " does not open: " + error.Description());
  }
}

std::size_t Win32TerminalLine::Write(std::string_view bytes) {
  if (!line_) return 0;
  const std::size_t queued = line_->Queued();
  const std::size_t count = std::min(bytes.size(), kAhead - std::min(queued, kAhead));
  line_->Send(bytes.substr(0, count));
  return count;
}

void Win32TerminalLine::LineLost(const std::string& why) {
  Detach();
  lines_.Trace("The line " + place_ + " went away: " + why);
}

}  // namespace tarn
