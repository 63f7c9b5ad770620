#include "scale/reading_condition.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "scale/tarn_scale.hpp"

namespace tarn {
namespace {

constexpr double kSecond = 1000;
constexpr double kUsualIntervals = 3;  ///< that a reading may be late
constexpr double kSmoothing = 1.0 / 8;

std::string Seconds(double milliseconds) {
  return std::to_string(std::max<std::int64_t>(std::llround(milliseconds / kSecond), 1)) + " s";
}

}  // namespace

ReadingCondition::ReadingCondition(Host& host, std::shared_ptr<Timer> tick)
    : host_(host),
      loop_(host.Loop()),
      tick_(std::move(tick)),
      line_(std::make_shared<LineRecord>(loop_)) {
  if (tick_) onTick_ = tick_->Tick.Subscribe([this] { Tick(); });
}

// --- What happens ----------------------------------------------------------------------------

void ReadingCondition::Started() {
  running_ = true;
  startFault_ = trouble_ = ConditionReason::None;
  startedAt_ = loop_.Now();
  readingAt_ = readingBefore_ = lastInterval_ = -1;
  usualInterval_ = 0;
  AnnounceLater();
}

void ReadingCondition::StartFailed(ErrorNumber number, const std::string& what) {
  running_ = false;
  startFault_ = ReasonOf(number);
  if (startFault_ == ConditionReason::LineFailed) startFault_ = ConditionReason::NotStarted;
  line_->Failed(what);
  AnnounceLater();
}

void ReadingCondition::Stopped() {
  running_ = false;
  startFault_ = ConditionReason::None;
  AnnounceLater();
}

void ReadingCondition::Rejected(Reject why) {
  static constexpr std::uint64_t LineCounters::*kCounters[] = {
      &LineCounters::rejectedLength, &LineCounters::rejectedParse, &LineCounters::rejectedOverflow,
      &LineCounters::rejectedTimeout};
  ++(line_->total.*kCounters[static_cast<std::size_t>(why)]);
}

void ReadingCondition::Trouble(ConditionReason reason) {
  trouble_ = reason;
  troubleAt_ = loop_.Now();
  if (announced_.reason != reason) AnnounceLater();
}

/// This runs with every reading of every scale, so what can wait is left to the tick.
void ReadingCondition::Taken() {
  readingBefore_ = readingAt_;
  readingAt_ = line_->LastArrival() >= 0 ? line_->LastArrival() : loop_.Now();
  framesAtReading_ = line_->total.frames;
  trouble_ = startFault_ = ConditionReason::None;
  ++readings_;
  if (announced_.quality != Quality::Good) AnnounceLater();
}

/// Once a second where readings came. A pause does not count as the usual interval, so of two
/// measured in a row the shorter one counts.
void ReadingCondition::MeasureInterval() {
  if (readings_ == 0 || readingBefore_ < 0) return;
  const double interval = readingAt_ - readingBefore_;
  const double counts = lastInterval_ >= 0 ? std::min(interval, lastInterval_) : interval;
  usualInterval_ += (counts - usualInterval_) * (usualInterval_ > 0 ? kSmoothing : 1);
  lastInterval_ = interval;
}

void ReadingCondition::Tick() {
  const double now = loop_.Now();
  const double passed = now - measuredAt_;
  if (passed >= kSecond) {
    MeasureInterval();
    readingsPerSecond_ = static_cast<double>(std::exchange(readings_, 0)) * kSecond / passed;
    measuredAt_ = now;
    if (running_) CountPortErrors();
  }
  Announce();
}

// --- Changes ---------------------------------------------------------------------------------

/// Not from inside the reading: all of its own handlers come first.
void ReadingCondition::AnnounceLater() {
  if (std::exchange(announcing_, true)) return;
  loop_.Post([weak = weak_from_this()] {
    if (const auto self = weak.lock()) {
      self->announcing_ = false;
      self->Announce();
    }
  });
}

void ReadingCondition::Announce() {
  const Verdict verdict = Judge(Link(), loop_.Now());
  if (verdict == announced_) return;
  announced_ = verdict;
  const auto self = shared_from_this();
  Changed.Raise();
}

// --- The judgement ---------------------------------------------------------------------------

LinkState ReadingCondition::Link() const {
  const auto connection = scale_ == nullptr ? nullptr : scale_->Connection();
  if (connection) return connection->Link();
  return {.known = true, .fault = ConditionReason::NoConnection};
}

bool ReadingCondition::PrintsByHand() const {
  const auto protocol = scale_ == nullptr ? nullptr : scale_->Protocol();
  return protocol && protocol->ReadingsComeByHand();
}

double ReadingCondition::Limit() const {
  const std::int32_t timeout = scale_ == nullptr ? 0 : scale_->ActivityTimeoutTime();
  if (timeout > 0) return timeout;
  return std::max(kUsualIntervals * usualInterval_, kShortestLimit);
}

ReadingCondition::Verdict ReadingCondition::Judge(const LinkState& link, double now) const {
  using enum ConditionReason;
  if (scale_ == nullptr) return {Quality::Off, ConditionReason::Stopped};
  if (scale_->Disabled()) return {Quality::Off, Disabled};
  if (link.fault == NoConnection) return {Quality::Off, NoConnection};
  if (startFault_ != None && !running_) return {Quality::Error, startFault_};
  const bool closed = link.known ? link.fault == ConditionReason::Stopped : !running_;
  if (closed) return {Quality::Off, ConditionReason::Stopped};
  if (link.fault != None) return {Quality::Error, link.fault};

  const bool byHand = PrintsByHand();
  const double limit = Limit();
  // A terminal that is asked again after the time-out gives the same answer only then.
  const double troubled = std::max(2 * limit, kShortestLimit);
  if (trouble_ != None && (byHand || now - troubleAt_ <= troubled)) {
    return {Quality::Error, trouble_};
  }
  if (byHand) return {Quality::Good, None};
  if (readingAt_ >= 0 && now - readingAt_ <= limit) return {Quality::Good, None};
  return JudgeSilence(link, now);
}

ReadingCondition::Verdict ReadingCondition::JudgeSilence(const LinkState& link, double now) const {
  using enum ConditionReason;
  const double limit = Limit();
  const double byteAt = std::max(line_->LastArrival(), startedAt_);
  if (now - byteAt > limit || line_->LastArrival() < startedAt_) {
    if (link.suspicion != None) return {Quality::Stale, link.suspicion};
    const bool early = readingAt_ < 0 && now - startedAt_ <= limit;
    return {Quality::Stale, early ? Waiting : NoByte};
  }
  if (now - std::max(readingAt_, startedAt_) <= limit) return {Quality::Stale, Waiting};
  return {Quality::Stale, line_->total.frames > framesAtReading_ ? NoWeight : NoFrame};
}

std::string ReadingCondition::FrameHint() const {
  CountPortErrors();
  const std::string bytes = line_->BytesWithoutFrame();
  const auto connection = scale_->Connection();
  std::string hint = connection ? connection->BytesHint(*line_) : std::string();
  const auto protocol = scale_->Protocol();
  if (hint.empty() && protocol) hint = protocol->FrameHint(bytes);
  return hint.empty() ? "check the line settings and the dialect" : hint;
}

std::string ReadingCondition::Words(const Verdict& verdict, const LinkState& link,
                                    double now) const {
  std::string words(ReasonWords(verdict.reason));
  if (verdict.reason == ConditionReason::NoByte) {
    words += " for " + Seconds(now - std::max(line_->LastArrival(), startedAt_)) + ": ";
    words += link.silence.empty() ? "cable, terminal off, or wrong address" : link.silence;
  } else if (verdict.reason == ConditionReason::NoFrame) {
    words += ": " + FrameHint();
  } else if (verdict.reason == ConditionReason::NotStarted ||
             verdict.reason == ConditionReason::LineFailed) {
    words += ": " + line_->LastError();
  }
  const bool isOfLink =
      link.fault == verdict.reason || (!running_ && startFault_ == verdict.reason);
  if (verdict.quality != Quality::Error || !isOfLink) return words;
  if (link.retryAt < 0)
    return words +
           (verdict.reason == ConditionReason::Connecting ? "" : ", start the scale again to try");
  const double left = link.retryAt - now;
  return words + (left > 0 ? ", tried again in " + Seconds(left) : ", tried now");
}

Condition ReadingCondition::Present() const {
  const double now = loop_.Now();
  const LinkState link = Link();
  const Verdict verdict = Judge(link, now);
  Condition condition;
  condition.quality = verdict.quality;
  condition.reason = verdict.reason;
  condition.words = Words(verdict, link, now);
  if (readingAt_ >= 0) {
    condition.age = std::max(now - readingAt_, 0.0);
    const auto ago = std::chrono::duration<double, std::milli>(*condition.age);
    condition.readAt =
        host_.WallTime() - std::chrono::duration_cast<std::chrono::system_clock::duration>(ago);
  }
  const bool live = verdict.quality == Quality::Good;
  condition.readingsPerSecond =
      live && usualInterval_ > kSecond ? kSecond / usualInterval_ : readingsPerSecond_;
  return condition;
}

// --- The line --------------------------------------------------------------------------------

void ReadingCondition::CountPortErrors() const {
  const auto connection = scale_ == nullptr ? nullptr : scale_->Connection();
  if (connection) connection->CountPortErrors();
}

LineCounters ReadingCondition::Counters(bool sinceReset) const {
  CountPortErrors();
  return sinceReset ? line_->SinceReset() : line_->total;
}

void ReadingCondition::ResetCounters() {
  CountPortErrors();
  line_->Reset();
}

std::optional<std::chrono::system_clock::time_point> ReadingCondition::LastErrorAt() const {
  if (line_->LastErrorAt() < 0) return std::nullopt;
  const auto ago = std::chrono::duration<double, std::milli>(loop_.Now() - line_->LastErrorAt());
  return host_.WallTime() - std::chrono::duration_cast<std::chrono::system_clock::duration>(ago);
}

}  // namespace tarn
