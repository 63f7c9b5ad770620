#include "outlets/client/remote_source.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace tarn {
namespace {

using Json = nlohmann::json;
using Status = CommandResult::Status;

constexpr std::int32_t kLongestPause = 30;  // seconds
constexpr std::size_t kMostCommands = 100;  ///< that wait for their answers

/// The words of an error reply, or what can be said without.
std::string WordsOf(const HttpReply& reply) {
  if (reply.status == 0) return reply.error;
  const Json json = Json::parse(reply.body, nullptr, false);
  if (json.is_object() && json.contains("error") && json["error"].is_string()) return json["error"];
  return "the server answers with status " + std::to_string(reply.status);
}

Status StatusOf(int status) {
  if (status == 200) return Status::Given;
  if (status == 404) return Status::NoScale;
  return status == 403 || status == 409 ? Status::Refused : Status::Failed;
}

}  // namespace

RemoteSource::RemoteSource(MessageLoop& loop, std::unique_ptr<HttpClient> client, WallClock clock)
    : loop_(loop),
      client_(std::move(client)),
      clock_(std::move(clock)),
      reader_([this](const EventStreamReader::Event& event) { TakeEvent(event); }),
      again_(loop.CreateTimer()) {
  onAgain_ = again_->Tick.Subscribe([this] {
    again_->Enabled(false);
    Begin();
  });
  Begin();
}

void RemoteSource::Begin() {
  reader_ = EventStreamReader([this](const EventStreamReader::Event& event) { TakeEvent(event); });
  scales_ = client_->Get("/api/scales", [this](const HttpReply& reply) { TakeScales(reply); });
}

void RemoteSource::TakeScales(const HttpReply& reply) {
  const Json json = Json::parse(reply.body, nullptr, false);
  if (reply.status != 200 || !json.is_array()) return Lose(reply);
  std::map<int, ScaleState> states;
  try {
    for (const Json& scale : json) {
      ScaleState& state = states[scale.at("scale")];
      state.scale = scale.at("scale");
      state.alias = scale.at("alias");
      state.enabled = scale.at("enabled");
      Reading& reading = state.reading;
      reading = {.gross = scale.at("grossText"),
                 .tare = scale.at("tareText"),
                 .net = scale.at("netText"),
                 .units = scale.at("unit")};
      reading.motion = !scale.at("stable").get<bool>();
      reading.atZero = scale.at("centerOfZero");
      reading.outOfRange = scale.at("outOfRange");
      reading.inNetMode = scale.at("netMode");
      reading.quality = QualityNamed(scale.at("quality").get<std::string>());
      reading.conditionWords = scale.at("reason");
      if (scale.at("ageMs").is_number()) reading.age = scale.at("ageMs").get<double>();
      readAt_[state.scale] = loop_.Now() - reading.age.value_or(0);
    }
  } catch (const Json::exception&) {
    return Lose({.status = 200, .body = {}, .error = {}});
  }
  states_ = std::move(states);
  events_ = client_->Stream(
      "/api/events?as=run", [this](std::string_view bytes) { reader_.Take(bytes); },
      [this](const HttpReply& end) { Lose(end); });
  connected_ = true;
  pause_ = 0;
  trouble_.clear();
  ConnectionChanged.Raise();
}

void RemoteSource::TakeEvent(const EventStreamReader::Event& streamed) {
  auto event = EventOfJson(streamed.data);
  if (!event) return;
  event->time = clock_();
  if (const auto found = states_.find(event->scale); found != states_.end()) {
    ScaleState& state = found->second;
    const bool isPrint = event->kind == ScaleEvent::Kind::PrintRecord;
    if (event->HasWeights() && !isPrint) {
      state.reading = event->reading;
      readAt_[event->scale] = loop_.Now() - event->reading.age.value_or(0);
    } else if (event->kind == ScaleEvent::Kind::Condition) {
      state.reading.quality = event->reading.quality;
      state.reading.reason = event->reading.reason;
      state.reading.conditionWords = event->reading.conditionWords;
      state.readingsPerSecond = event->readingsPerSecond;
      state.counters = event->counters;
      state.lastError = event->lastError;
    } else if (event->kind == ScaleEvent::Kind::NewDataReady) {
      state.fields = event->fields;
    }
  }
  Happened.Raise(*event);
}

/// The weights may be anything by now, so none stays that looks live.
void RemoteSource::Lose(const HttpReply& reply) {
  const bool wasConnected = std::exchange(connected_, false);
  const bool hasReason = reply.status != 200 && reply.status != 0;
  if (wasConnected && !hasReason)
    trouble_ = "it has ended or cannot be reached any more";
  else
    trouble_ = reply.status == 200 ? "what answers there is no tarnscale" : WordsOf(reply);
  wantsToken_ = reply.status == 401;
  for (auto& [number, state] : states_) {
    state.reading.quality = Quality::Error;
    state.reading.conditionWords = "no connection to the server: " + trouble_;
  }
  pause_ = std::clamp(pause_ * 2, 1, kLongestPause);
  again_->Interval(pause_ * 1000);
  again_->Enabled(true);
  events_.reset();
  scales_.reset();
  ConnectionChanged.Raise();
}

std::vector<int> RemoteSource::Scales() const {
  std::vector<int> numbers;
  for (const auto& [number, state] : states_) numbers.push_back(number);
  return numbers;
}

std::optional<ScaleState> RemoteSource::State(int scale) const {
  const auto found = states_.find(scale);
  if (found == states_.end()) return std::nullopt;
  ScaleState state = found->second;
  if (state.reading.age) state.reading.age = loop_.Now() - readAt_.at(scale);
  state.time = clock_();
  return state;
}

void RemoteSource::Give(int scale, const ScaleCommand& command, double tare, const OnDone& done) {
  if (commands_.size() >= kMostCommands)
    return done({Status::Failed, "too many commands wait for an answer"});
  const std::uint64_t number = ++lastCommand_;
  std::string body;
  if (command.command == OperatorCommand::PresetTare) {
    JsonWriter(body).BeginObject().Member("tare", tare).EndObject();
  }
  commands_[number] =
      client_->Post("/api/scales/" + std::to_string(scale) + "/" + std::string(command.word),
                    std::move(body), [this, number, done](const HttpReply& reply) {
                      const auto transfer = std::move(commands_[number]);
                      commands_.erase(number);
                      if (reply.status == 200)
                        done({});
                      else
                        done({StatusOf(reply.status), WordsOf(reply)});
                    });
}

}  // namespace tarn
