#include "tools/tarnscale/replay.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "connections/ethernet_connection.hpp"
#include "outlets/event_watch.hpp"
#include "server/tarn_server_connection.hpp"
#include "tools/tarnscale/errors.hpp"
#include "tools/tarnscale/scale_keys.hpp"

namespace tarn::tool {
namespace {

/// Milliseconds that the replay goes on behind the last piece, in which what the port holds back is
/// delivered.
constexpr double kAfterTheLast = 200;

void SetUp(TarnScale& scale, const Capture& capture, const ReplayOptions& options) {
  scale.Disabled(true);
  for (const auto* settings : {&capture.settings, &options.settings}) {
    for (const std::string& pair : *settings) {
      // It runs whether or not it ran.
      if (!pair.starts_with("enabled=") && !pair.starts_with("disabled=")) {
        ApplyPair(scale, scale.Site(), pair);
      }
    }
  }
  // Nobody but the terminal is in a capture.
  if (const auto link = std::dynamic_pointer_cast<EthernetConnection>(scale.Connection())) {
    link->CheckSender(false);
  }
  scale.Disabled(false);
}

/// The pieces of one piece, none of them empty but that of an empty datagram.
std::vector<std::string_view> CutPiece(std::string_view bytes, const ReplayOptions& options) {
  std::vector<std::string_view> parts;
  const std::size_t first = options.cutAt > 0 ? options.cutAt : options.pieceLength;
  const std::size_t next = options.cutAt > 0 ? bytes.size() : options.pieceLength;
  for (std::size_t length = first; length > 0 && bytes.size() > length; length = next) {
    parts.push_back(bytes.substr(0, length));
    bytes.remove_prefix(length);
  }
  parts.push_back(bytes);
  return parts;
}

std::string WithoutTime(const ScaleEvent& event) {
  return EventWords(event) + "\n";
}

}  // namespace

void Replay(const Capture& capture, const ReplayOptions& options, UserLocale& locale,
            const std::function<void(const ScaleEvent& event)>& sink) {
  ReplayHost host(locale, options.trace, options.pause);
  const TarnServerConnection connection(host);
  std::int32_t any = 0;
  const auto server = connection.TarnScaleServer(any);
  const auto scale = server->GetScale(static_cast<std::int16_t>(capture.scale));
  SetUp(*scale, capture, options);
  const auto clock = [&host] {
    return WallTime(std::chrono::milliseconds(static_cast<std::int64_t>(host.Loop().Now())));
  };
  const EventWatch watch(*server, {}, clock, [&](const ScaleEvent& event) {
    if (event.scale == capture.scale) sink(event);
  });
  try {
    scale->RunScale();
  } catch (const std::exception& error) {
    throw Failure(std::string("the scale does not start: ") + error.what());
  }
  for (const CapturedPiece& piece : capture.pieces) {
    if (!piece.arrived) continue;
    host.Loop().AdvanceTo(static_cast<double>(piece.time));
    if (host.BringsDatagrams()) {
      host.Deliver(piece.bytes);
      continue;
    }
    for (const std::string_view part : CutPiece(piece.bytes, options)) host.Deliver(part);
  }
  host.Loop().AdvanceTo(host.Loop().Now() + kAfterTheLast);
}

std::string ReplayLine(const ScaleEvent& event) {
  const auto time =
      std::chrono::duration_cast<std::chrono::milliseconds>(event.time.time_since_epoch()).count();
  char text[32];
  std::snprintf(text, sizeof text, "%8.3f  ", static_cast<double>(time) / 1000);
  return text + WithoutTime(event);
}

std::string ReplayText(const Capture& capture, const ReplayOptions& options, UserLocale& locale,
                       bool timeless) {
  std::string text;
  Replay(capture, options, locale, [&](const ScaleEvent& event) {
    text += timeless ? WithoutTime(event) : ReplayLine(event);
  });
  return text;
}

std::optional<std::size_t> FirstCutThatMatters(const Capture& capture, ReplayOptions options,
                                               UserLocale& locale) {
  options.pieceLength = 0;
  options.cutAt = 0;
  const std::string whole = ReplayText(capture, options, locale, true);
  std::size_t longest = 0;
  for (const CapturedPiece& piece : capture.pieces) {
    if (piece.arrived) longest = std::max(longest, piece.bytes.size());
  }
  for (options.cutAt = 1; options.cutAt < longest; ++options.cutAt) {
    if (ReplayText(capture, options, locale, true) != whole) return options.cutAt;
  }
  return std::nullopt;
}

}  // namespace tarn::tool
