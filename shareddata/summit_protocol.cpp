#include "shareddata/summit_protocol.hpp"

#include <algorithm>
#include <utility>

#include "base/automation_error.hpp"
#include "connections/ethernet_connection.hpp"
#include "platform/attempt.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"
#include "shareddata/data_sets.hpp"
#include "shareddata/message_layout.hpp"
#include "shareddata/tag_messages.hpp"

namespace tarn {
namespace {

enum Sequence : std::uint8_t { kPolling = 1, kSingleRead = 2, kWrite = 3 };

constexpr std::size_t kSequenceAt = offsetof(MessageHeaderStruct, sequenceNumber);
constexpr std::int16_t kFirstLocalPort = 1700;
constexpr std::int16_t kTerminalPort = 1701;

// Milliseconds, as activity timers count them.
constexpr std::int32_t kTriggerPace = 10;   ///< until triggers are looked at again
constexpr std::int32_t kRoundPace = 1000;   ///< between rounds of a scale without update interval
constexpr std::int32_t kReadTimeout = 500;  ///< of a single read
/// The limit of a single read even when the tick has stopped.
constexpr std::int32_t kLongestRead = 1000;

/// Trigger reads after which a tag is read regardless of the triggers.
constexpr std::int16_t kTriggerPatience = 2;
constexpr std::size_t kTriggerNameLength = 5;
/// A configuration that never ends its list is a client's mistake.
constexpr std::int16_t kMostTriggers = 100;

/// Whether the engine may replace an object: null, the base class, or what the engine provided for
/// another type.
bool GivesWay(const std::shared_ptr<Persistable>& object, std::string_view base,
              std::string_view broughtBefore) {
  if (!object) return true;
  if (object->IsClientMade()) return false;
  return object->ClassName() == base || object->ClassName() == broughtBefore;
}

/// The next reply follows the data that this one announces, even if this one cannot be loaded: data
/// must not be taken for a header.
std::size_t WholeLength(std::string_view reply) {
  if (reply.size() < kMessageHeaderLength) return reply.size();
  return kMessageHeaderLength + DataLength(HeaderOf(reply));
}

}  // namespace

SummitProtocol::SummitProtocol(std::shared_ptr<ScaleSite> site)
    : site_(std::move(site)), configuration_(std::make_shared<SummitConfig>()) {}

SummitProtocol::~SummitProtocol() = default;

// --- Settings ---------------------------------------------------------------------------------

void SummitProtocol::InitProperties() {
  Configuration(nullptr);
}

void SummitProtocol::ReadProperties(const PropertyBag& bag) {
  Protocol::pType(ProtocolType{bag.ReadLong("Ptype", 0)});
  Configuration(ReadObject<_SummitConfig>(bag, "Configuration", *site_, SummitConfig::kClassName));
}

void SummitProtocol::WriteProperties(PropertyBag& bag) const {
  bag.WriteLong("Ptype", static_cast<std::int32_t>(pType()), 0);
  WriteObject(bag, "Configuration", *configuration_);
}

void SummitProtocol::Configuration(std::shared_ptr<_SummitConfig> configuration) {
  const auto self = weak_from_this().lock();
  configuration_ = configuration ? std::move(configuration) : std::make_shared<SummitConfig>();
  onConfigurationChanged_ = configuration_->PropertyChanged.Subscribe(
      this, [this](std::string_view) { ConfigurationHasChanged(); });
  ConfigurationHasChanged();
}

void SummitProtocol::ConfigurationHasChanged() {
  if (pollingIndex_ > 0) EndRound();
  PropertyChanged.Raise("Configuration");
  if (const auto data = Data()) Attempt([&] { data->ConfigurationChanged(); });
}

void SummitProtocol::pType(ProtocolType type) {
  const auto self = weak_from_this().lock();
  const ProtocolType former = pType();
  Protocol::pType(type);
  BringPair(former);
}

void SummitProtocol::BringPair(ProtocolType former) {
  const DataSet* set = FindDataSet(pType());
  if (set == nullptr) return;
  const DataSet* formerSet = former == pType() ? nullptr : FindDataSet(former);
  const auto brought = [&](const ClassRow DataSet::*part) {
    return formerSet == nullptr ? std::string_view() : (formerSet->*part).name;
  };
  if (GivesWay(configuration_, SummitConfig::kClassName, brought(&DataSet::configuration))) {
    Configuration(NewObject<_SummitConfig>(*site_, set->configuration.name));
  }
  const auto scale = myScale();
  if (scale && GivesWay(scale->SummitData(), SummitData::kClassName, brought(&DataSet::data))) {
    scale->SummitData(NewObject<_SummitData>(*site_, set->data.name));
  }
}

void SummitProtocol::WeightData(std::shared_ptr<tarn::WeightData> record) {
  Protocol::WeightData(record);
  if (!record) return;
  record->WeightAvailable(false);
  record->ClearWeight();
}

// --- Life -------------------------------------------------------------------------------------

void SummitProtocol::myScale(const std::shared_ptr<TarnScale>& scale) {
  if (scale != myScale()) Disconnect();
  Protocol::myScale(scale);
}

void SummitProtocol::Connection(std::shared_ptr<_Connection> connection) {
  if (connection != connection_) Disconnect();
  Protocol::Connection(std::move(connection));
}

void SummitProtocol::Connect() {
  Disconnect();
  BringPair(pType());
  const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(connection_);
  if (!ethernet) return;
  const auto scale = myScale();
  ScaleSite& site = Required(scale, "The protocol has no scale").Site();
  mvarSocket = ethernet->TakeSocket(scale->ScaleNumber(), site);
  nodeName_ = ethernet->NodeName();
  ethernet->SocketProtocol(1);
  ethernet->LocalPort(static_cast<std::int16_t>(kFirstLocalPort + scale->ScaleNumber()));
  ethernet->RemotePort(kTerminalPort);
  if (!mvarSocket) return;

  onArrival_ = mvarSocket->DataArrival.Subscribe(this, &SummitProtocol::mvarSocket_DataArrival);
  myScaleActivityTimer = std::make_unique<ActivityTimer>(site.TickTimer());
  onActivityTimer_ = myScaleActivityTimer->TimedOutEvent.Subscribe(
      this, &SummitProtocol::myScaleActivityTimer_TimedOut);
  myTriggerUpdateTimer = std::make_unique<ActivityTimer>(site.TickTimer());
  onTriggerTimer_ = myTriggerUpdateTimer->TimedOutEvent.Subscribe(
      this, &SummitProtocol::myTriggerUpdateTimer_TimedOut);
  OfferAccess();
  resetTriggersDue_ = true;
  // The connection opens the socket only after this, so the first round waits for the timer.
  myTriggerUpdateTimer->TimeoutTime(kTriggerPace);
}

void SummitProtocol::Disconnect() {
  ++turn_;
  pendingRead_.reset();
  polledTag_.reset();
  pollingIndex_ = 0;
  onArrival_.Reset();
  onActivityTimer_.Reset();
  onTriggerTimer_.Reset();
  myScaleActivityTimer.reset();
  myTriggerUpdateTimer.reset();
  mvarSocket.reset();
}

std::shared_ptr<_SummitData> SummitProtocol::Data() const {
  const auto scale = myScale();
  return scale ? scale->SummitData() : nullptr;
}

void SummitProtocol::OfferAccess() {
  if (const auto user = std::dynamic_pointer_cast<TagAccessUser>(Data())) {
    user->Access(weak_from_this());
  }
}

bool SummitProtocol::IsRunning() const {
  return myScale() && mvarSocket && mvarSocket->State() == SocketState::Open;
}

// --- Turns ------------------------------------------------------------------------------------

SummitProtocol::Turn SummitProtocol::TakeTurn() {
  return {++turn_, shared_from_this(), myScale(), configuration_, Data()};
}

/// A scale that was stopped, or got another data object, starts again with a whole round.
bool SummitProtocol::Holds(const Turn& turn) {
  if (turn.number != turn_) return false;
  if (turn.data == Data() && IsRunning()) return true;
  EndRound();
  return false;
}

/// Runs code that may call a client's object or handler; false when it threw.
bool SummitProtocol::Attempt(const std::function<void()>& work) const {
  const auto scale = myScale();
  return tarn::Attempt(site_->System(), scale ? scale->Title() : "Terminal variables", work);
}

// --- Messages ---------------------------------------------------------------------------------

std::string SummitProtocol::Destination(std::string_view variable) const {
  return nodeName_ + "/" + std::string(variable);
}

/// Every request is built in a new message, since a shorter name would leave the end of a longer
/// one in place.
bool SummitProtocol::BeginRequest(std::optional<KesMessage>& message, bool write,
                                  std::string_view variable, std::uint8_t sequence) {
  message.emplace(site_->System().Locale());
  return write ? message->InitWriteRequest(kServerName, Destination(variable), sequence)
               : message->InitReadRequest(kServerName, Destination(variable), sequence);
}

bool SummitProtocol::Send(const KesMessage& message) {
  const auto socket = mvarSocket;
  return socket && Attempt([&] { socket->SendData(message.GetRequestBytes()); });
}

void SummitProtocol::WriteTrigger(const std::string& name, bool value) {
  if (!BeginRequest(pollingMessage_, true, name, kPolling)) return;
  pollingMessage_->PutBit(value);
  Send(*pollingMessage_);
}

void SummitProtocol::ReadTrigger(const std::string& name) {
  if (BeginRequest(pollingMessage_, false, name, kPolling)) Send(*pollingMessage_);
  readTriggers_.push_back(name);
}

/// The names of a trigger list, up to the first that is none; none where the turn has ended.
std::vector<std::string> SummitProtocol::TriggersOf(const Turn& turn, GetTrigger get) {
  std::vector<std::string> names;
  for (std::int16_t i = 1; i <= kMostTriggers; ++i) {
    std::string name;
    Attempt([&] { name = (turn.configuration.get()->*get)(i); });
    if (!Holds(turn)) return {};
    if (name.size() != kTriggerNameLength) break;
    names.push_back(std::move(name));
  }
  return names;
}

void SummitProtocol::ResetTriggers(const Turn& turn) {
  for (const auto& name : TriggersOf(turn, &_SummitConfig::GetResetTrigger)) {
    WriteTrigger(name, true);
  }
}

void SummitProtocol::ArmUpdateTriggers(const Turn& turn) {
  const auto names = TriggersOf(turn, &_SummitConfig::GetUpdateTrigger);
  if (names.empty()) return;
  if (turn.data) Attempt([&] { turn.data->ResetState(); });
  if (!Holds(turn)) return;
  for (const auto& name : names) WriteTrigger(name, true);
}

void SummitProtocol::ReadUpdateTriggers(const Turn& turn) {
  if (triggerReads_ <= kTriggerPatience) ++triggerReads_;
  readTriggers_.clear();
  for (const auto& name : TriggersOf(turn, &_SummitConfig::GetUpdateTrigger)) ReadTrigger(name);
}

// --- Single variables -------------------------------------------------------------------------

SDAccessStatus SummitProtocol::ReadTag(const std::shared_ptr<SDTagInfo>& tag) {
  const auto self = shared_from_this();
  if (!tag) return SDAccessStatus::INVALID_TAG;
  if (pendingRead_ || !IsRunning()) return SDAccessStatus::READ_FAILURE;
  if (!BeginRequest(readMessage_, false, tag->TagName(), kSingleRead) || !Send(*readMessage_)) {
    return SDAccessStatus::READ_FAILURE;
  }
  const auto pending = std::make_shared<PendingRead>(PendingRead{tag});
  pendingRead_ = pending;
  ActivityTimer timer(myScale()->Site().TickTimer());
  timer.TimeoutTime(kReadTimeout);
  // The scale and its site may be gone afterwards.
  site_->System().Loop().RunUntil(
      [&] {
        return pending->answered || pendingRead_ != pending || timer.TimedOut() || !IsRunning();
      },
      kLongestRead);
  if (pendingRead_ == pending) pendingRead_.reset();
  return pending->answered ? SDAccessStatus::RW_SUCCESS : SDAccessStatus::READ_FAILURE;
}

SDAccessStatus SummitProtocol::WriteTag(const std::shared_ptr<SDTagInfo>& tag,
                                        const TagValue& value) {
  const auto self = shared_from_this();
  if (!tag) return SDAccessStatus::INVALID_TAG;
  if (!IsRunning()) return SDAccessStatus::WRITE_FAILURE;
  if (!BeginRequest(writeMessage_, true, tag->TagName(), kWrite)) {
    return SDAccessStatus::WRITE_FAILURE;
  }
  try {
    const std::string separator = site_->System().Locale().DecimalSeparator();
    if (!PutTagValue(*writeMessage_, tag->TagType(), value, separator, Rules())) {
      return SDAccessStatus::WRONG_DATA_TYPE;
    }
  } catch (const AutomationError&) {
    return SDAccessStatus::WRONG_DATA_TYPE;
  }
  const bool sent = writeMessage_->MessageOK() && Send(*writeMessage_);
  if (const auto scale = myScale(); scale && sent) ++scale->Condition()->Line()->total.commandsSent;
  return sent ? SDAccessStatus::RW_SUCCESS : SDAccessStatus::WRITE_FAILURE;
}

// --- Arrivals ---------------------------------------------------------------------------------

/// A datagram may hold several replies, one behind the other.
void SummitProtocol::mvarSocket_DataArrival(std::int32_t /*bytesTotal*/) {
  const auto socket = mvarSocket;
  if (!IsRunning()) return;
  const std::string received = socket->GetData();
  datagram_ = {};
  std::string_view left = received;
  while (!left.empty() && socket == mvarSocket && IsRunning()) {
    TakeReply(left);
    left.remove_prefix(std::min(left.size(), WholeLength(left)));
  }
}

void SummitProtocol::TakeReply(std::string_view bytes) {
  const char sequence = bytes.size() > kSequenceAt ? bytes[kSequenceAt] : '\0';
  switch (sequence) {
    case kPolling:
      return TakePollingReply(bytes);
    case kSingleRead:
      return TakeReadReply(bytes);
    case kWrite:
      break;
    default:
      ReportNoData();
  }
  return TakeWriteReply(bytes);
}

/// Whether the reply has data; one that cannot be loaded has none.
bool SummitProtocol::Load(std::optional<KesMessage>& message, std::string_view bytes) {
  if (!message) message.emplace(site_->System().Locale());
  const std::int16_t length = message->LoadReply(bytes, static_cast<std::int32_t>(bytes.size()));
  const bool loaded = message->MessageOK();
  if (const auto scale = myScale()) {
    if (loaded)
      scale->Condition()->FrameTaken();
    else
      scale->Condition()->Rejected(ReadingCondition::Reject::Parse);
  }
  if (!loaded) ReportNoData();
  return length > 0;
}

/// Compares the variable only, whichever node the reply names.
bool SummitProtocol::Names(const KesMessage& reply, const std::string& variable) {
  return reply.ReplySource().ends_with("/" + variable);
}

void SummitProtocol::TakePollingReply(std::string_view bytes) {
  const bool hasData = Load(pollingMessage_, bytes);
  const auto scale = myScale();
  const bool isAnswer =
      polledTag_ && pollingMessage_->MessageOK() && Names(*pollingMessage_, polledTag_->TagName());
  if (scale && !hasData && isAnswer) {
    scale->Condition()->Trouble(ConditionReason::VariableUnknown);
  }
  if (pollingIndex_ >= 1 && hasData) FilePolledReply();
}

/// A late answer to an abandoned read names another variable than the pending one, and is ignored.
void SummitProtocol::TakeReadReply(std::string_view bytes) {
  const bool hasData = Load(readMessage_, bytes);
  const auto pending = pendingRead_;
  if (!pending) return;
  if (readMessage_->MessageOK() && !Names(*readMessage_, pending->tag->TagName())) return;
  if (hasData) ConvertReadData(*pending->tag, *readMessage_, Rules());
  pending->answered = true;
  pendingRead_.reset();
}

void SummitProtocol::TakeWriteReply(std::string_view bytes) {
  if (const auto scale = myScale()) scale->Condition()->CommandAnswered();
  Load(writeMessage_, bytes);
}

// --- The round --------------------------------------------------------------------------------

/// Late, doubled and foreign replies, and those of the triggers, name another variable than the one
/// that was asked for. A second reply of a variable in the same datagram is a doubled one, also
/// where the list names the variable twice: one datagram must not make any number of requests.
void SummitProtocol::FilePolledReply() {
  const auto tag = polledTag_;
  if (!tag || !Names(*pollingMessage_, tag->TagName())) {
    FileTriggerReply();
    return;
  }
  if (!datagram_.filed.insert(tag->TagName()).second) return;
  polledTag_.reset();
  const Turn turn = TakeTurn();
  if (turn.data != roundData_.lock()) {
    EndRound();  // the new object gets a whole round
    return;
  }
  // A copy, since a handler may wait for a single read, and further replies arrive meanwhile.
  KesMessage reply = *pollingMessage_;
  bool delivered = false;
  datagram_.noDataReported = false;
  Attempt([&] {
    delivered = turn.data && DeliverPolledData(
                                 reply, tag, *turn.data, [&] { return Holds(turn); }, Rules());
  });
  if (!Holds(turn)) return;
  if (!delivered) {
    FailRound();
    return;
  }
  ++pollingIndex_;
  PollNextTag(turn);
}

/// A trigger that the configuration knows as a tag is delivered to the data object, which decides
/// from it whether the triggers are complete.
void SummitProtocol::FileTriggerReply() {
  const auto trigger =
      std::find_if(readTriggers_.begin(), readTriggers_.end(),
                   [this](const std::string& name) { return Names(*pollingMessage_, name); });
  if (trigger == readTriggers_.end()) return;
  const std::string name = *trigger;
  readTriggers_.erase(trigger);
  KesMessage reply = *pollingMessage_;
  const std::uint32_t number = turn_;
  Attempt([&] {
    const auto configuration = configuration_;
    const auto tag = configuration->GetTagInfoByKey(name);
    const auto data = Data();
    const auto goesOn = [&] { return number == turn_ && IsRunning(); };
    if (tag && data && goesOn()) DeliverPolledData(reply, tag, *data, goesOn, Rules());
  });
}

void SummitProtocol::BeginRound(const Turn& turn) {
  pollingIndex_ = 1;
  triggerReads_ = 0;
  errorInRound_ = false;
  roundData_ = turn.data;
  OfferAccess();
  if (resetTriggersDue_) ResetTriggers(turn);
  if (!Holds(turn)) return;
  resetTriggersDue_ = false;
  ArmUpdateTriggers(turn);
}

void SummitProtocol::PollNextTag(const Turn& turn) {
  std::int16_t count = 0;
  std::shared_ptr<SDTagInfo> tag;
  bool mustWait = false;
  const bool asked = Attempt([&] {
    count = turn.configuration->GetTagInfoCount();
    if (pollingIndex_ > count || !Holds(turn)) return;
    tag = turn.configuration->GetTagInfoByIndex(static_cast<std::int16_t>(pollingIndex_));
    if (!Holds(turn)) return;
    mustWait = Required(tag).TriggerRequired() && triggerReads_ <= kTriggerPatience &&
               !Required(turn.data).TriggersComplete();
  });
  if (!Holds(turn)) return;
  if (!asked)
    FailRound();
  else if (pollingIndex_ > count)
    count > 0 ? CompleteRound(turn) : EndRound();
  else if (mustWait)
    myTriggerUpdateTimer->TimeoutTime(kTriggerPace);
  else
    RequestPolledTag(turn, tag);
}

/// If the scale has no time-out, the request is repeated after a while instead.
void SummitProtocol::RequestPolledTag(const Turn& turn, const std::shared_ptr<SDTagInfo>& tag) {
  if (!BeginRequest(pollingMessage_, false, tag->TagName(), kPolling)) {
    FailRound();
    return;
  }
  polledTag_ = tag;
  const std::int32_t timeout = turn.scale->ActivityTimeoutTime();
  myScaleActivityTimer->TimeoutTime(timeout);
  myTriggerUpdateTimer->TimeoutTime(timeout > 0 ? 0 : kRoundPace);
  Send(*pollingMessage_);
}

void SummitProtocol::CompleteRound(const Turn& turn) {
  myScaleActivityTimer->TimeoutTime(0);
  Attempt([&] {
    turn.scale->ActivityLED(true);
    turn.scale->ErrorLED(false);
  });
  turn.scale->watchdog(false);
  turn.scale->Condition()->Taken();
  if (!Holds(turn)) return;
  Attempt([&] {
    _SummitData& data = Required(turn.data);
    // The terminal answers again, which ends an error of an earlier round.
    if (!errorInRound_ && data.CommLossError() && Holds(turn)) data.CommLossError(false);
    if (Holds(turn) && !errorInRound_ && data.NoDataError() && Holds(turn)) data.NoDataError(false);
    if (Holds(turn)) data.DataUpdated();
  });
  if (Holds(turn)) EndRound();
}

void SummitProtocol::FailRound() {
  EndRound();
  if (const auto scale = myScale()) scale->Condition()->Trouble(ConditionReason::NotUnderstood);
  ReportNoData();
}

/// The next round begins from the timer.
void SummitProtocol::EndRound() {
  ++turn_;
  pollingIndex_ = 0;
  polledTag_.reset();
  readTriggers_.clear();
  const auto scale = myScale();
  if (!scale || !myScaleActivityTimer) return;
  myScaleActivityTimer->TimeoutTime(0);
  const std::int32_t interval = scale->UpdateInterval();
  myTriggerUpdateTimer->TimeoutTime(interval > 0 ? interval : kRoundPace);
}

/// Reports only once for consecutive replies of a datagram that cannot be read: the data object has
/// no more values to lose, and its clients need not be notified again.
void SummitProtocol::ReportNoData() {
  errorInRound_ = true;
  if (std::exchange(datagram_.noDataReported, true)) return;
  if (const auto data = Data()) Attempt([&] { data->NoDataError(true); });
}

/// The data object loses its values, so the next round begins with the first variable. Deliberately
/// the loss is also reported when the scale has been stopped since the request; only a scale that
/// has left its server reports nothing.
void SummitProtocol::myScaleActivityTimer_TimedOut() {
  const Turn turn = TakeTurn();
  EndRound();
  if (turn.scale) turn.scale->Condition()->Rejected(ReadingCondition::Reject::Timeout);
  const auto isWatched = [&] {
    return turn.scale && turn.scale == myScale() && turn.scale->ScaleNumber() != 0;
  };
  if (turn.data && isWatched()) Attempt([&] { turn.data->CommLossError(true); });
  if (isWatched()) Attempt([&] { turn.scale->ErrorLED(true); });
}

/// A socket that is closed may be opened again, so the timer goes on.
void SummitProtocol::myTriggerUpdateTimer_TimedOut() {
  const Turn turn = TakeTurn();
  datagram_ = {};
  if (pollingIndex_ == 0 && IsRunning()) BeginRound(turn);
  if (Holds(turn)) ReadUpdateTriggers(turn);
  if (Holds(turn)) PollNextTag(turn);
}

}  // namespace tarn
