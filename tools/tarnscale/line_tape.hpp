// The last bytes of a line, and what becomes of them: a capture file, or a file of what came before
// an error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "platform/line_tap.hpp"
#include "platform/message_loop.hpp"
#include "server/tarn_scale_server.hpp"
#include "tools/tarnscale/capture_text.hpp"
#include "tools/tarnscale/file_queue.hpp"

namespace tarn::tool {

/// Keeps the latest pieces of one line in memory.
class LineTape final : public LineTap {
 public:
  static constexpr std::size_t kKept = 64U << 10U;  ///< bytes
  static constexpr std::size_t kPieceCost = 16;     ///< what a piece counts beside its bytes
  using Clock = std::function<std::int64_t()>;      ///< milliseconds since the capture began
  using Sink = std::function<void(const CapturedPiece& piece)>;

  /// The sink, which may be empty, gets every piece.
  LineTape(Clock clock, Sink sink) : clock_(std::move(clock)), sink_(std::move(sink)) {}

  void Arrived(std::string_view bytes) override { Add(true, bytes); }
  void Sent(std::string_view bytes) override { Add(false, bytes); }

  /// The lines of what is kept.
  std::string Text() const;

 private:
  void Add(bool arrived, std::string_view bytes);

  Clock clock_;
  Sink sink_;
  std::deque<CapturedPiece> pieces_;
  std::size_t held_ = 0;
};

/// Listens at the lines of a server's scales, serial and network ones, until it is destroyed. For a
/// scale that a reload replaces a new capture begins. A scale whose ErrorLED comes on leaves what
/// its line had in scaleNN-error-D.capture, at most one such file an hour and ten of them, the
/// oldest of which is replaced.
class LineCapture {
 public:
  using Complain = std::function<void(std::string_view text)>;

  /// With `everything`, all that the lines of the enabled scales bring goes into
  /// scaleNN-TIME.capture as well.
  LineCapture(TarnScaleServer& server, MessageLoop& loop, std::string folder, bool everything,
              Complain complain);
  LineCapture(const LineCapture&) = delete;
  LineCapture& operator=(const LineCapture&) = delete;
  ~LineCapture();

  /// Writes what each line had lately to scaleNN-latest.capture, in place of the former one.
  void WriteLatest();

 private:
  struct Line;

  void Attach(std::int16_t number, bool everything);
  void StatusChanged(Line& line, const TarnScale& scale);
  void WriteTape(const Line& line, const TarnScale& scale, const std::string& name);
  void Write(const std::string& name, std::string bytes, bool anew);

  TarnScaleServer& server_;
  MessageLoop& loop_;
  std::string folder_;
  Complain complain_;
  bool losing_ = false;
  FileQueue files_;
  std::map<std::int16_t, std::unique_ptr<Line>> lines_;  ///< by number of the scale
  Subscription onReplaced_;
};

}  // namespace tarn::tool
