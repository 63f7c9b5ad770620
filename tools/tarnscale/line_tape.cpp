#include "tools/tarnscale/line_tape.hpp"

#include <chrono>
#include <utility>

#include "scale/reading_condition.hpp"

namespace tarn::tool {
namespace {

constexpr int kErrorFiles = 10;
constexpr std::chrono::seconds kPatience{2};

std::string TwoDigits(int number) {
  return (number < 10 ? "0" : "") + std::to_string(number);
}

/// "2024-06-01T12:34:56.789Z" as a part of a file's name.
std::string NameOfTime(WallTime time) {
  std::string text;
  for (const char c : UtcText(time).substr(0, 19)) {
    if (c != '-' && c != ':') text += c;
  }
  return text;
}

std::int64_t HourOf(WallTime time) {
  return std::chrono::duration_cast<std::chrono::hours>(time.time_since_epoch()).count();
}

}  // namespace

void LineTape::Add(bool arrived, std::string_view bytes) {
  pieces_.push_back({clock_(), arrived, std::string(bytes)});
  held_ += bytes.size() + kPieceCost;
  while (held_ > kKept && pieces_.size() > 1) {
    held_ -= pieces_.front().bytes.size() + kPieceCost;
    pieces_.pop_front();
  }
  if (sink_) sink_(pieces_.back());
}

std::string LineTape::Text() const {
  std::string text;
  for (const CapturedPiece& piece : pieces_) text += CaptureLine(piece);
  return text;
}

struct LineCapture::Line {
  std::string prefix;
  double began = 0;
  WallTime beganAt;
  std::shared_ptr<LineTape> tape;
  bool inError = false;
  std::int64_t errorHour = -1;  ///< of the last file
  Subscription onStatus;
};

LineCapture::LineCapture(TarnScaleServer& server, MessageLoop& loop, std::string folder,
                         bool everything, Complain complain)
    : server_(server), loop_(loop), folder_(std::move(folder)), complain_(std::move(complain)) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) Attach(number, everything);
  onReplaced_ = server.ScaleReplaced.Subscribe(
      [this, everything](std::int16_t number) { Attach(number, everything); });
}

LineCapture::~LineCapture() {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    if (const auto scale = server_.GetScale(number)) scale->Condition()->Line()->Tap(nullptr);
  }
  if (!files_.Finish(kPatience)) complain_("the captures could not be written to their end");
  if (const std::string failure = files_.TakeFailure(); !failure.empty()) complain_(failure);
}

void LineCapture::Attach(std::int16_t number, bool everything) {
  lines_.erase(number);
  const auto watched = server_.GetScale(number);
  if (!watched || watched->Disabled()) return;
  TarnScale& scale = *watched;
  auto line = std::make_unique<Line>();
  line->began = loop_.Now();
  line->beganAt = std::chrono::system_clock::now();
  line->prefix = "scale" + TwoDigits(number) + "-";
  LineTape::Sink sink;
  if (everything) {
    const std::string name = line->prefix + NameOfTime(line->beganAt) + ".capture";
    Write(name, CaptureHead(scale, line->beganAt), true);
    sink = [this, name](const CapturedPiece& piece) { Write(name, CaptureLine(piece), false); };
  }
  line->tape = std::make_shared<LineTape>(
      [this, began = line->began] { return static_cast<std::int64_t>(loop_.Now() - began); },
      std::move(sink));
  line->onStatus = scale.NewStatus.Subscribe(
      [this, state = line.get(), &scale] { StatusChanged(*state, scale); });
  scale.Condition()->Line()->Tap(line->tape);
  lines_.emplace(number, std::move(line));
}

void LineCapture::StatusChanged(Line& line, const TarnScale& scale) {
  const bool begins = scale.ErrorLED() && !line.inError;
  line.inError = scale.ErrorLED();
  const std::int64_t hour = HourOf(std::chrono::system_clock::now());
  if (!begins || hour == line.errorHour) return;
  line.errorHour = hour;
  WriteTape(line, scale, "error-" + std::to_string(hour % kErrorFiles));
}

void LineCapture::WriteTape(const Line& line, const TarnScale& scale, const std::string& name) {
  Write(line.prefix + name + ".capture", CaptureHead(scale, line.beganAt) + line.tape->Text(),
        true);
}

void LineCapture::WriteLatest() {
  for (const auto& [number, line] : lines_) {
    if (const auto scale = server_.GetScale(number)) WriteTape(*line, *scale, "latest");
  }
  complain_("what the lines had lately is in " + folder_);
}

/// A line in the trace for each beginning of trouble, and none for each piece.
void LineCapture::Write(const std::string& name, std::string bytes, bool anew) {
  const bool taken = files_.Write(FileIn(folder_, name), std::move(bytes), anew);
  if (!taken && !losing_) complain_("captures lose bytes: their folder takes them too slowly");
  losing_ = !taken;
  if (const std::string failure = files_.TakeFailure(); !failure.empty()) complain_(failure);
}

}  // namespace tarn::tool
