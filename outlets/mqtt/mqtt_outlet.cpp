#include "outlets/mqtt/mqtt_outlet.hpp"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "outlets/mqtt/home_assistant.hpp"
#include "outlets/mqtt/mqtt_command.hpp"
#include "platform/utf8.hpp"
#include "server/host_form.hpp"  // kScaleCount

namespace tarn {
namespace {

using Kind = ScaleEvent::Kind;

constexpr std::int32_t kTickTime = 1000;  // milliseconds
constexpr int kStatusTicks = 60;          // counters are published anew after so many
constexpr double kPatience = 10000;       // milliseconds until an attempt under way is reported
/// A connection that breaks sooner counts as one that failed: two clients with one id would throw
/// each other out for ever.
constexpr double kSteady = 3000;  // milliseconds
constexpr std::size_t kMostWaiting = 300;

std::string StatusJson(const ScaleState& state, WallTime now) {
  std::string text;
  JsonWriter json(text);
  const Reading& reading = state.reading;
  json.BeginObject().Member("scale", state.scale).Member("alias", state.alias);
  json.Member("time", UtcText(now)).Member("enabled", state.enabled);
  json.Member("quality", reading.quality ? QualityName(*reading.quality) : "off");
  json.Member("reason", reading.conditionWords);
  json.Member("readingsPerSecond", state.readingsPerSecond);
  json.Key("counters").BeginObject();
  for (const LineCounterRow& row : kLineCounters) json.Member(row.name, state.counters.*row.member);
  json.EndObject().Member("lastError", state.lastError);
  json.EndObject();
  return text;
}

std::string_view ResultName(CommandResult::Status status) {
  using enum CommandResult::Status;
  switch (status) {
    case Given:
      return "given";
    case Refused:
      return "refused";
    case Failed:
      return "failed";
    case NoScale:
      return "no-scale";
  }
  return "failed";
}

void Start(Timer& timer, double milliseconds) {
  timer.Enabled(false);
  timer.Interval(static_cast<std::int32_t>(std::max(1.0, std::ceil(milliseconds))));
  timer.Enabled(true);
}

}  // namespace

MqttOutlet::MqttOutlet(Host& host, ScaleSource& source, WeighingBook& book, MqttPlan plan,
                       std::string name, MqttConnect connect, AuditLog& audit)
    : host_(host),
      source_(source),
      book_(book),
      plan_(std::move(plan)),
      name_(std::move(name)),
      connect_(std::move(connect)),
      audit_(audit),
      weights_(plan_.weightInterval),
      records_(
          book, plan_.settle, [this] { Pump(); },
          [this](std::uint64_t count) {
            host_.TraceNews("MQTT: " + std::to_string(count) +
                            " weighings are kept no more and never reached " + name_);
          }),
      reconnectTimer_(host.Loop().CreateTimer()),
      dueTimer_(host.Loop().CreateTimer()),
      tickTimer_(host.Loop().CreateTimer()),
      onReconnect_(reconnectTimer_->Tick.Subscribe([this] {
        reconnectTimer_->Enabled(false);
        Connect();
      })),
      onDue_(dueTimer_->Tick.Subscribe([this] { Pump(); })),
      onTick_(tickTimer_->Tick.Subscribe([this] { Tick(); })),
      onEntered_(book.Entered.Subscribe([this](const Weighing& /*weighing*/) { Pump(); })),
      onHappened_(source.Happened.Subscribe([this](const ScaleEvent& event) { Happened(event); })) {
  tickTimer_->Interval(kTickTime);
  Start(*reconnectTimer_, 0);
}

MqttOutlet::~MqttOutlet() {
  if (!connected_) return;
  records_.Settle(host_.Loop().Now());
  connection_->Publish({.topic = plan_.root + "/state", .payload = "offline", .retained = true});
  connection_->Close();
}

std::string MqttOutlet::Topic(int scale, const char* what) const {
  return plan_.root + "/" + std::to_string(scale) + "/" + what;
}

void MqttOutlet::Connect() {
  since_ = host_.Loop().Now();
  tickTimer_->Enabled(true);
  try {
    connection_ =
        connect_({.topic = plan_.root + "/state", .payload = "offline", .retained = true}, *this);
  } catch (const std::exception& error) {
    // A certificate that is being renewed, for one, is there again at a later attempt.
    Lost(error.what());
  }
}

void MqttOutlet::Connected() {
  connected_ = true;
  since_ = host_.Loop().Now();
  if (std::exchange(away_, false)) host_.TraceNews("MQTT: " + name_ + " is connected");
  outageWords_.clear();
  discovered_.clear();
  waiting_.push_back({.topic = plan_.root + "/state", .payload = "online", .retained = true});
  if (!std::exchange(forgotten_, true)) ForgetScales();
  if (!plan_.commands.empty()) connection_->Subscribe(plan_.root + "/+/cmd");
  for (const int scale : source_.Scales()) {
    weights_.Renew(scale, since_);
    statuses_.insert(scale);
  }
  records_.Begin();
  Pump();
}

/// The broker keeps what an earlier run published of scales that are no longer set up.
void MqttOutlet::ForgetScales() {
  const std::vector<int> scales = source_.Scales();
  for (int scale = 1; scale <= kScaleCount; ++scale) {
    if (std::ranges::find(scales, scale) != scales.end()) continue;
    waiting_.push_back({.topic = Topic(scale, "weight"), .payload = {}, .retained = true});
    waiting_.push_back({.topic = Topic(scale, "status"), .payload = {}, .retained = true});
    if (!plan_.homeAssistant) continue;
    waiting_.push_back(
        {.topic = DiscoveryTopic(plan_.root, scale), .payload = {}, .retained = true});
  }
}

void MqttOutlet::Lost(const std::string& words) {
  const double now = host_.Loop().Now();
  const bool wasSteady = std::exchange(connected_, false) && now - since_ >= kSteady;
  records_.End();
  waiting_.clear();
  tickTimer_->Enabled(false);
  dueTimer_->Enabled(false);
  // It is what calls.
  host_.Loop().Post([old = std::shared_ptr(std::move(connection_))] {});

  if (wasSteady) pause_ = kFirstPause;
  TraceOutage(words);
  // Servers that lost one broker at the same moment do not come back at the same moment.
  const double jitter = std::uniform_real_distribution(0.75, 1.0)(chance_);
  Start(*reconnectTimer_, pause_ * jitter);
  pause_ = std::min(2 * pause_, kLongestPause);
}

/// The first failure of an outage is news, a later one only where it says something else.
void MqttOutlet::TraceOutage(const std::string& words) {
  if (std::exchange(outageWords_, words) == words) return;
  const std::string text = "MQTT: " + name_ + ": " + Printable(words);
  if (std::exchange(away_, true))
    host_.Trace(text);
  else
    host_.TraceNews(text + "; it is tried again");
}

void MqttOutlet::Tick() {
  const double now = host_.Loop().Now();
  if (!connected_) {
    if (!away_ && now - since_ >= kPatience) TraceOutage("no answer yet");
  } else {
    records_.Settle(now);
    if (++ticks_ % kStatusTicks == 0) {
      for (const int scale : source_.Scales()) statuses_.insert(scale);
    }
  }
  if (connection_) connection_->Tick();
  Pump();
}

void MqttOutlet::Acknowledged(int id) {
  records_.Acknowledged(id, host_.Loop().Now());
  Pump();
}

void MqttOutlet::Happened(const ScaleEvent& event) {
  if (event.scale == 0) return;
  const double now = host_.Loop().Now();
  switch (event.kind) {
    case Kind::NewWeight:
      weights_.Note(event.scale, event.reading, now);
      break;
    case Kind::Condition:
      weights_.Note(event.scale, event.reading, now);
      statuses_.insert(event.scale);
      break;
    case Kind::NewDataReady:
    case Kind::Variables:
      weights_.Touch(event.scale, now);
      break;
    case Kind::ScaleConfigurationChange:
      weights_.Renew(event.scale, now);
      statuses_.insert(event.scale);
      break;
    default:
      return;
  }
  Pump();
}

void MqttOutlet::Pump() {
  if (!connected_) return;
  const double now = host_.Loop().Now();
  while (connection_->TakesMore()) {
    if (!PublishNext(now)) break;
  }
  dueTimer_->Enabled(false);
  // While the broker takes nothing, Drained calls again.
  const double next = weights_.NextDue();
  if (next != WeightFeed::kNever && connection_->TakesMore()) Start(*dueTimer_, next - now);
}

/// Weighings go before weights, which come again; only so many are under way that weights get their
/// turn.
bool MqttOutlet::PublishNext(double now) {
  if (!waiting_.empty()) {
    connection_->Publish(waiting_.front());
    waiting_.pop_front();
  } else if (const Weighing* weighing = records_.Next()) {
    PublishRecord(*weighing);
  } else if (!statuses_.empty()) {
    PublishStatus(statuses_.extract(statuses_.begin()).value());
  } else if (const auto scale = weights_.Due(now)) {
    PublishWeight(*scale, now);
  } else {
    return false;
  }
  return true;
}

void MqttOutlet::PublishWeight(int scale, double now) {
  weights_.Published(scale, now);
  const auto state = source_.State(scale);
  if (!state) return;
  if (plan_.homeAssistant) Discover(*state);
  connection_->Publish(
      {.topic = Topic(scale, "weight"), .payload = WeightJson(*state), .retained = true});
}

void MqttOutlet::PublishStatus(int scale) {
  const auto state = source_.State(scale);
  if (!state) return;
  connection_->Publish({.topic = Topic(scale, "status"),
                        .payload = StatusJson(*state, host_.WallTime()),
                        .retained = true});
}

/// A scale of records has no weight to show. The unit is known with the first reading only.
void MqttOutlet::Discover(const ScaleState& state) {
  if (state.fields) return;
  MqttMessage message = DiscoveryOf(plan_.root, state);
  std::string& known = discovered_[state.scale];
  if (known == message.payload) return;
  known = message.payload;
  connection_->Publish(message);
}

/// The number alone says little where numbers begin anew, so each carries its book.
void MqttOutlet::PublishRecord(const Weighing& weighing) {
  std::string payload;
  JsonWriter json(payload);
  json.BeginObject().Member("book", book_.Id());
  payload += ',';
  payload.append(WeighingJson(weighing), 1);
  records_.Published(connection_->Publish(
      {.topic = Topic(weighing.scale, "record"), .payload = std::move(payload), .certain = true}));
}

void MqttOutlet::Arrived(const MqttMessage& message) {
  const auto scale = CommandedScale(plan_.root, message.topic);
  if (!scale) return;
  const MqttCommand command = CommandOf(message.payload);
  const auto answer = [this, scale = *scale, command](std::string_view result,
                                                      const std::string& words) {
    const AuditLog::Entry entry{"MQTT " + command.id, scale, command.name,
                                std::string(result) + (words.empty() ? "" : ": " + words)};
    // Who may only publish at the broker must not fill the disk.
    const bool isOfAScale = command.command != nullptr && plan_.commands.contains(scale);
    if (isOfAScale)
      audit_.Add(entry);
    else
      audit_.AddDenied(entry);
    Answer(scale, AckJson(scale, command, result, words, UtcText(host_.WallTime())));
  };
  // The broker has kept it: nobody knows since when.
  if (message.retained) return answer("ignored", "a command must not be retained");
  if (!plan_.commands.contains(*scale)) {
    return answer("not-allowed", "this scale takes no commands over MQTT");
  }
  if (command.command == nullptr) return answer("invalid", command.error);
  // From the loop and not from here: some commands wait for the terminal and serve the loop
  // meanwhile, which may end the connection that is calling. What the source reports may come
  // later, when this object is gone.
  host_.Loop().Post([this, answer, alive = std::weak_ptr(alive_), scale = *scale, command] {
    if (alive.expired()) return;
    source_.Give(scale, *command.command, command.tare,
                 [answer, alive](const CommandResult& result) {
                   if (!alive.expired()) answer(ResultName(result.status), result.words);
                 });
  });
}

void MqttOutlet::Answer(int scale, const std::string& json) {
  if (!connected_ || waiting_.size() >= kMostWaiting) return;
  waiting_.push_back({.topic = Topic(scale, "ack"), .payload = json});
  Pump();
}

}  // namespace tarn
