#include "outlets/http/event_streams.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace tarn::http {
namespace {

using Kind = ScaleEvent::Kind;

SharedText Text(std::string text) {
  return std::make_shared<const std::string>(std::move(text));
}

SharedText RecordText(const Weighing& weighing) {
  return Text("id: " + std::to_string(weighing.number) +
              "\nevent: record\ndata: " + WeighingJson(weighing) + "\n\n");
}

SharedText RunText(const ScaleEvent& event) {
  return Text(std::string("event: ") + EventName(event.kind) + "\ndata: " + EventJson(event) +
              "\n\n");
}

}  // namespace

EventStreams::EventStreams(MessageLoop& loop, ScaleSource& source, WeighingBook& book)
    : loop_(loop),
      source_(source),
      book_(book),
      self_(std::make_shared<EventStreams*>(this)),
      commentTimer_(loop.CreateTimer()) {
  commentTimer_->Interval(kCommentInterval);
  onComment_ = commentTimer_->Tick.Subscribe([this] { Comment(); });
  onEvent_ = source.Happened.Subscribe([this](const ScaleEvent& event) { HandleEvent(event); });
  onRecord_ = book.Entered.Subscribe([this](const Weighing& weighing) { HandleRecord(weighing); });
}

EventStreams::~EventStreams() = default;

std::shared_ptr<EventReader> EventStreams::Open(const EventOptions& options) {
  auto reader = std::make_shared<EventReader>(*this, options);
  readers_.push_back(reader.get());
  commentTimer_->Enabled(true);
  if (options.asRun) return reader;
  for (const int scale : source_.Scales()) {
    if (!reader->Wants(scale)) continue;
    Render(scale);
    reader->due_.set(static_cast<std::size_t>(scale));
  }
  return reader;
}

void EventStreams::Remove(const EventReader& reader) {
  std::erase(readers_, &reader);
  commentTimer_->Enabled(!readers_.empty());
}

bool EventStreams::AnyReader(bool asRun) const {
  return std::any_of(readers_.begin(), readers_.end(),
                     [asRun](const EventReader* r) { return r->options_.asRun == asRun; });
}

void EventStreams::HandleEvent(const ScaleEvent& event) {
  if (readers_.empty()) return;
  const auto scale = static_cast<std::size_t>(event.scale);
  if (scale != 0 && scale < changed_.size()) changed_.set(scale);
  if (AnyReader(true)) {
    const SharedText text = RunText(event);
    if (event.IsReading()) readings_.at(scale) = text;
    for (EventReader* reader : readers_) reader->OfferEvent(event, text);
  }
  DeliverLater();
}

void EventStreams::HandleRecord(const Weighing& weighing) {
  if (readers_.empty()) return;
  const SharedText text = RecordText(weighing);
  for (EventReader* reader : readers_) reader->OfferRecord(weighing, text);
  DeliverLater();
}

/// One delivery for all that happens in a turn of the loop.
void EventStreams::DeliverLater() {
  if (std::exchange(delivering_, true)) return;
  loop_.Post([self = std::weak_ptr(self_)] {
    if (const auto streams = self.lock()) (*streams)->Deliver();
  });
}

void EventStreams::Render(int scale) {
  const auto state = source_.State(scale);
  if (!state) return;
  std::string text = "event: weight\ndata: ";
  text.reserve(600);
  JsonWriter json(text);
  WriteWeight(json, *state);
  text += "\n\n";
  weights_.at(static_cast<std::size_t>(scale)) = Text(std::move(text));
}

void EventStreams::Deliver() {
  delivering_ = false;
  const ScaleSet changed = std::exchange(changed_, {});
  if (AnyReader(false)) {
    for (std::size_t scale = 1; scale < changed.size(); ++scale) {
      if (changed[scale]) Render(static_cast<int>(scale));
    }
  }
  for (EventReader* reader : readers_) reader->Offer(changed);
}

/// Only where nothing waits already: that will show a dead link, too.
void EventStreams::Comment() {
  static const SharedText comment = Text(":\n\n");
  for (EventReader* reader : readers_) {
    if (!reader->waiting_) continue;
    reader->Push(comment);
    reader->Wake();
  }
}

EventReader::EventReader(EventStreams& streams, const EventOptions& options)
    : streams_(streams), options_(options), record_(streams.book_.Latest()) {
  // A number that the book has not reached is one of an earlier book.
  if (options.after && !options.asRun) {
    const std::uint64_t latest = record_;
    record_ = *options.after > latest ? 0 : *options.after;
    isBehind_ = record_ < latest;
  }
  Push(Text("retry: 2000\n\n"));
}

EventReader::~EventReader() {
  streams_.Remove(*this);
}

void EventReader::Push(SharedText text) {
  queued_ += text->size();
  queue_.push_back(std::move(text));
}

void EventReader::Wake() {
  if (!waiting_ || !ready_) return;
  waiting_ = false;
  ready_();
}

void EventReader::End() {
  ended_ = true;
  Wake();
}

void EventReader::Offer(const ScaleSet& changed) {
  if (!options_.asRun) {
    ScaleSet wanted = changed;
    if (options_.scale != 0) wanted &= ScaleSet().set(static_cast<std::size_t>(options_.scale));
    due_ |= wanted;
  }
  if (due_.any() || !queue_.empty() || (isBehind_ && !fetching_)) Wake();
}

void EventReader::OfferRecord(const Weighing& weighing, const SharedText& text) {
  if (options_.asRun || isBehind_ || weighing.number <= record_) return;
  if (queue_.size() >= kMostRecords) {
    isBehind_ = true;
    return;
  }
  record_ = weighing.number;
  if (Wants(weighing.scale)) Push(text);
}

void EventReader::OfferEvent(const ScaleEvent& event, const SharedText& text) {
  if (!options_.asRun || !Wants(event.scale)) return;
  const auto scale = static_cast<std::size_t>(event.scale);
  if (event.IsReading()) {
    if (queued_ < kMostReadings && !due_[scale]) return Push(text);
    if (due_[scale]) ++lostReadings_;
    due_.set(scale);
  } else if (queued_ < kMostEvents) {
    Push(text);
  } else {
    ++lostEvents_;
  }
}

std::size_t EventReader::Take(char* to, std::size_t most) {
  std::size_t count = 0;
  waiting_ = false;
  while (!ended_ && count < most) {
    if (!current_ || taken_ == current_->size()) {
      taken_ = 0;
      current_ = Next();
      if (!current_) break;
    }
    const std::size_t piece = std::min(most - count, current_->size() - taken_);
    current_->copy(to + count, piece, taken_);
    taken_ += piece;
    count += piece;
  }
  waiting_ = count == 0;
  return count;
}

SharedText EventReader::Next() {
  while (queue_.empty() && isBehind_ && !fetching_) FetchRecords();
  PushLost();
  if (queue_.empty()) return NextWeight();
  SharedText next = std::move(queue_.front());
  queue_.pop_front();
  queued_ -= next->size();
  return next;
}

/// In turn, so that a slow reader gets to see every scale.
SharedText EventReader::NextWeight() {
  if (due_.none()) return nullptr;
  do latestScale_ = (latestScale_ + 1) % due_.size();
  while (!due_[latestScale_]);
  due_.reset(latestScale_);
  return (options_.asRun ? streams_.readings_ : streams_.weights_).at(latestScale_);
}

void EventReader::PushLost() {
  if (lostRecords_ != 0) {
    Push(Text("event: lost\ndata: {\"records\":" + std::to_string(lostRecords_) + "}\n\n"));
    std::rotate(queue_.begin(), queue_.end() - 1, queue_.end());
  }
  if (options_.asRun && queue_.empty() && lostReadings_ + lostEvents_ != 0) {
    ScaleEvent event;
    event.kind = Kind::Lost;
    event.time = std::chrono::system_clock::now();
    event.lostReadings = lostReadings_;
    event.lostEvents = lostEvents_;
    Push(RunText(event));
    lostReadings_ = lostEvents_ = 0;
  }
  lostRecords_ = 0;
}

void EventReader::FetchRecords() {
  fetching_ = true;
  const std::uint64_t latest = streams_.book_.Latest();
  streams_.book_.Fetch(record_, kMostRecords,
                       [self = weak_from_this(), latest](const std::vector<Weighing>& weighings) {
                         if (const auto reader = self.lock())
                           reader->TakeFetched(weighings, latest);
                       });
}

/// `latest` was the latest number when the book was asked: what it did not give is gone.
void EventReader::TakeFetched(const std::vector<Weighing>& weighings, std::uint64_t latest) {
  fetching_ = false;
  if (weighings.empty() && record_ < latest)
    lostRecords_ += latest - std::exchange(record_, latest);
  for (const Weighing& weighing : weighings) {
    if (weighing.number > record_ + 1) lostRecords_ += weighing.number - record_ - 1;
    record_ = weighing.number;
    if (Wants(weighing.scale)) Push(RecordText(weighing));
  }
  isBehind_ = record_ < streams_.book_.Latest();
  if (!queue_.empty() || isBehind_) Wake();
}

}  // namespace tarn::http
