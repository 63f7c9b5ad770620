// Streams of events to any number of readers (Server-Sent Events).
//
// What has happened is written as text once and shared by all readers. A reader that does not read
// costs little: of weights it gets the newest one of each scale when it goes on, and records are
// fetched from the book again, as far as that still has them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outlets/http/rights.hpp"
#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "platform/message_loop.hpp"
#include "platform/timer.hpp"

namespace tarn::http {

using SharedText = std::shared_ptr<const std::string>;

class EventReader;

struct EventOptions {
  /// Events as `tarnscale run --json` prints them; otherwise the weights and the records.
  bool asRun = false;
  int scale = 0;  ///< 0 for all
  /// Records behind this number come first; without it, only new ones.
  std::optional<std::uint64_t> after{};
};

/// Used on the loop's thread. Outlives its readers.
class EventStreams {
 public:
  /// Something for each reader at least as often, so that a dead link shows.
  static constexpr std::int32_t kCommentInterval = 15'000;

  EventStreams(MessageLoop& loop, ScaleSource& source, WeighingBook& book);
  ~EventStreams();

  std::shared_ptr<EventReader> Open(const EventOptions& options);
  std::size_t Readers() const { return readers_.size(); }

 private:
  friend class EventReader;

  void HandleEvent(const ScaleEvent& event);
  void HandleRecord(const Weighing& weighing);
  void Render(int scale);
  void DeliverLater();
  void Deliver();
  void Comment();
  bool AnyReader(bool asRun) const;
  void Remove(const EventReader& reader);

  MessageLoop& loop_;
  ScaleSource& source_;
  WeighingBook& book_;
  std::vector<EventReader*> readers_;
  std::array<SharedText, 33> weights_;   ///< the newest of each scale
  std::array<SharedText, 33> readings_;  ///< likewise, as run prints them
  ScaleSet changed_;
  std::shared_ptr<EventStreams*> self_;  ///< for posted work, which may outlive this
  bool delivering_ = false;              ///< work is posted
  std::unique_ptr<Timer> commentTimer_;
  Subscription onComment_;
  Subscription onEvent_;
  Subscription onRecord_;
};

/// One reader's place in the stream.
class EventReader : public std::enable_shared_from_this<EventReader> {
 public:
  // What waits for a reader that does not read.
  static constexpr std::size_t kMostRecords = 64;          ///< the rest is fetched from the book
  static constexpr std::size_t kMostReadings = 1U << 16U;  ///< bytes, then the newest of each scale
  static constexpr std::size_t kMostEvents = 1U << 18U;    ///< bytes of others, as run prints them

  EventReader(EventStreams& streams, const EventOptions& options);
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;
  ~EventReader();

  /// The next bytes of the stream; 0 where there is nothing now.
  std::size_t Take(char* to, std::size_t most);
  /// The stream is over; Take gives nothing any more.
  void End();
  bool HasEnded() const { return ended_; }
  /// Called from the loop, outside of Take, when there is something after Take gave nothing.
  void OnReady(std::function<void()> ready) { ready_ = std::move(ready); }

 private:
  friend class EventStreams;

  bool Wants(int scale) const { return options_.scale == 0 || options_.scale == scale; }
  void Offer(const ScaleSet& changed);
  void OfferRecord(const Weighing& weighing, const SharedText& text);
  void OfferEvent(const ScaleEvent& event, const SharedText& text);
  void Push(SharedText text);
  void PushLost();
  void Wake();
  SharedText Next();
  SharedText NextWeight();
  void FetchRecords();
  void TakeFetched(const std::vector<Weighing>& weighings, std::uint64_t latest);

  EventStreams& streams_;
  EventOptions options_;
  std::function<void()> ready_;
  std::deque<SharedText> queue_;
  std::size_t queued_ = 0;  ///< bytes
  ScaleSet due_;            ///< scales whose newest weight is to come
  std::size_t latestScale_ = 0;
  SharedText current_;
  std::size_t taken_ = 0;     ///< of the current text
  std::uint64_t record_ = 0;  ///< the number of the latest record that is queued
  bool isBehind_ = false;     ///< the book has records that are not queued
  bool fetching_ = false;
  std::uint64_t lostRecords_ = 0;
  std::uint64_t lostReadings_ = 0;
  std::uint64_t lostEvents_ = 0;
  bool waiting_ = false;
  bool ended_ = false;
};

}  // namespace tarn::http
