// A capture fed through the protocol that it is of.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_event.hpp"
#include "platform/user_locale.hpp"
#include "tools/tarnscale/capture_text.hpp"
#include "tools/tarnscale/replay_host.hpp"

namespace tarn::tool {

struct ReplayOptions {
  std::vector<std::string> settings;  ///< "KEY=VALUE", in place of the captured ones
  std::size_t pieceLength = 0;        ///< bytes of each piece; 0 for the pieces of the capture
  std::size_t cutAt = 0;              ///< cuts each piece in two behind so many bytes; 0 for none
  ReplayLoop::Pause pause;            ///< none: as fast as it goes
  LoopBase::TraceSink trace = [](std::string_view /*text*/) {};
};

/// Runs the captured scale over the captured pieces, at their times, and passes its events on. The
/// clock of the events begins with the capture, at the epoch. What the scale sends goes nowhere.
/// Datagrams are never cut. Throws UsageError for settings that do not fit, Failure where the scale
/// does not start.
void Replay(const Capture& capture, const ReplayOptions& options, UserLocale& locale,
            const std::function<void(const ScaleEvent& event)>& sink);

/// One line of an event with its end: seconds and words.
std::string ReplayLine(const ScaleEvent& event);
/// All lines of a replay, without times where `timeless` is set.
std::string ReplayText(const Capture& capture, const ReplayOptions& options, UserLocale& locale,
                       bool timeless = false);

/// Replays once for every place at which a piece can be cut. Returns the first place that changes
/// the events, which are compared without their times; nothing where none does.
std::optional<std::size_t> FirstCutThatMatters(const Capture& capture, ReplayOptions options,
                                               UserLocale& locale);

}  // namespace tarn::tool
