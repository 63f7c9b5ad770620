// The condition of a scale's readings, judged from facts in one place, and the record of its line.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "base/event.hpp"
#include "platform/host.hpp"
#include "platform/line_record.hpp"
#include "scale/condition.hpp"

namespace tarn {

class TarnScale;

/// Made by its scale, and held by clients too: without its scale it reads Off.
///
/// A reading goes stale when no complete one has come for longer than the scale's
/// ActivityTimeoutTime. Where that is 0, the limit is three times the usual interval, 2 s at least.
/// A scale whose terminal prints by hand never goes stale: its quality is that of the line.
///
/// The condition is worked out when it is asked for. The tick of the activity timers looks whether
/// quality or reason have changed; no other timer is needed.
class ReadingCondition final : public std::enable_shared_from_this<ReadingCondition> {
 public:
  static constexpr double kShortestLimit = 2000;  ///< milliseconds, where the scale has no time-out

  /// What a protocol rejects.
  enum class Reject { Length, Parse, Overflow, Timeout };

  ReadingCondition(Host& host, std::shared_ptr<Timer> tick);

  Condition Present() const;

  /// Milliseconds after which a reading is stale.
  double Limit() const;

  /// Quality or reason have changed: raised from the loop, after the handlers of the reading or
  /// fault that changed them.
  Event<> Changed;

  const std::shared_ptr<LineRecord>& Line() const { return line_; }
  /// Since the start, or since the last reset; those of the port are up to date.
  LineCounters Counters(bool sinceReset) const;
  void ResetCounters();
  /// When the line's last error was, by the clock of the wall; none before the first one.
  std::optional<std::chrono::system_clock::time_point> LastErrorAt() const;

  // For the protocols.

  /// A whole frame, line or message has been recognised.
  void FrameTaken() { ++line_->total.frames; }
  void Rejected(Reject why);
  /// What arrives is no reading, for this reason. Holds until the next reading; unless the terminal
  /// prints by hand, not longer than twice the limit of a reading, 2 s at least.
  void Trouble(ConditionReason reason);
  /// A reading is complete: a weight, a record, a round of variables.
  void Taken();
  void CommandAnswered() { ++line_->total.commandsAnswered; }

  // For the scale.

  void Scale(const TarnScale* scale) { scale_ = scale; }
  void Started();
  /// The start failed; `number` is 0 where the error has none.
  void StartFailed(ErrorNumber number, const std::string& what);
  void Stopped();

 private:
  struct Verdict {
    Quality quality;
    ConditionReason reason;
    bool operator==(const Verdict&) const = default;
  };

  void Tick();
  void MeasureInterval();
  void CountPortErrors() const;
  void AnnounceLater();
  void Announce();
  LinkState Link() const;
  bool PrintsByHand() const;
  Verdict Judge(const LinkState& link, double now) const;
  Verdict JudgeSilence(const LinkState& link, double now) const;
  std::string Words(const Verdict& verdict, const LinkState& link, double now) const;
  std::string FrameHint() const;

  Host& host_;
  MessageLoop& loop_;
  std::shared_ptr<Timer> tick_;
  std::shared_ptr<LineRecord> line_;
  const TarnScale* scale_ = nullptr;

  bool running_ = false;
  ConditionReason startFault_ = ConditionReason::None;
  double startedAt_ = 0;
  double readingAt_ = -1;      ///< when the last byte of its frame came; below 0 before the first
  double readingBefore_ = -1;  ///< the one before that
  double lastInterval_ = -1;
  double usualInterval_ = 0;
  std::uint64_t framesAtReading_ = 0;
  ConditionReason trouble_ = ConditionReason::None;
  double troubleAt_ = 0;

  std::uint64_t readings_ = 0;  ///< since measuredAt_
  double measuredAt_ = 0;
  double readingsPerSecond_ = 0;

  Verdict announced_{Quality::Off, ConditionReason::Disabled};
  bool announcing_ = false;  ///< work is posted
  Subscription onTick_;
};

}  // namespace tarn
