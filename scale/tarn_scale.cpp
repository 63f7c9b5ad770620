#include "scale/tarn_scale.hpp"

#include <algorithm>
#include <utility>

#include "base/automation_error.hpp"
#include "base/first_failure.hpp"
#include "base/number_text.hpp"
#include "platform/attempt.hpp"
#include "platform/utf8.hpp"

namespace tarn {

namespace {

ReadingRules RulesOf(bool correct) {
  return correct ? ReadingRules::Corrected : ReadingRules::Published;
}

}  // namespace

void ScalePart::Serve(const std::shared_ptr<TarnScale>& scale) {
  served_ = scale;
  rules_ = scale ? scale->Rules() : ReadingRules::Published;
}

std::string ScaleTitle(int number, std::string_view alias) {
  const std::string digits = std::to_string(number);
  const bool isNamed = !alias.empty() && alias != "Scale" + digits;  // the alias of a new scale
  return "Scale " + digits + (isNamed ? " (" + Printable(alias) + ")" : "");
}

std::string TarnScale::Title() const {
  return ScaleTitle(scaleNumber_, aliasName_);
}

std::shared_ptr<TarnScale> TarnScale::Create(std::shared_ptr<ScaleSite> site) {
  return std::shared_ptr<TarnScale>(new TarnScale(std::move(site)));
}

TarnScale::TarnScale(std::shared_ptr<ScaleSite> site)
    : site_(std::move(site)),
      condition_(std::make_shared<ReadingCondition>(site_->System(), site_->TickTimer())),
      mvarWeightData(
          std::make_shared<tarn::WeightData>(site_->System().Locale().DecimalSeparator())),
      mvarPrintData(std::make_shared<tarn::PrintData>()),
      recordTemplateData_(std::make_shared<tarn::TarnRecordTemplateData>()) {
  condition_->Scale(this);
  onWeight_ = mvarWeightData->NewWeight.Subscribe([this] { mvarWeightData_NewWeight(); });
  onPrint_ = mvarPrintData->NewWeight.Subscribe(this, &TarnScale::mvarPrintData_NewWeight);
  ActivityTimer(std::make_shared<tarn::ActivityTimer>(site_->TickTimer()));
}

TarnScale::~TarnScale() {
  Detach();
}

void TarnScale::Detach() noexcept {
  if (!detached_) {
    FirstFailure failure;
    failure.Try([this] { StopScale(); });
    failure.Try([this] { site_->ReleaseSocket(scaleNumber_); });
    Attempt(site_->System(), Title() + ": it did not stop cleanly", [&] { failure.Rethrow(); });
  }
  detached_ = true;
  condition_->Scale(nullptr);
  scaleNumber_ = 0;
  UpdateTimer(std::shared_ptr<Timer>());
}

// --- Persistence -----------------------------------------------------------------------------

void TarnScale::InitProperties() {
  const auto self = shared_from_this();
  AliasName("Scale x");
  StoreConnection(NewObject<_Connection>(*site_, "NoConnection"));
  StoreProtocol(NewObject<_Protocol>(*site_, "NoProtocol"));
  Disabled(true);
  ActivityLED(false);
  ErrorLED(false);
  ActivityTimeoutTime(0);
  UpdateRate(10);
  summitData_ = NewObject<_SummitData>(*site_, "SummitData");
  BuildDataObjects();
  BindProtocol();
  ScaleConfigurationChange.Raise();
}

void TarnScale::ReadProperties(const PropertyBag& bag) {
  const auto self = shared_from_this();
  // Before what goes by it.
  rules_ = RulesOf(bag.ReadBoolean("CorrectReadings", false));
  constexpr DetectionSettings kDefaults;
  detector_.Settings({.minimum = bag.ReadDouble("DetectMinimum", kDefaults.minimum),
                      .stable = bag.ReadLong("DetectStable", kDefaults.stable),
                      .digits = bag.ReadLong("DetectDigits", kDefaults.digits),
                      .rearm = bag.ReadDouble("DetectRearm", kDefaults.rearm)});
  AliasName(bag.ReadText("AliasName", "Scale x"));
  StoreConnection(ReadObject<_Connection>(bag, "Connection", *site_, "NoConnection"));
  StoreProtocol(ReadObject<_Protocol>(bag, "Protocol", *site_, "NoProtocol"));
  // Disabled comes before the lamps, since writing it clears them.
  Disabled(bag.ReadBoolean("Disabled", true));
  ActivityLED(bag.ReadBoolean("ActivityLED", false));
  ErrorLED(bag.ReadBoolean("ErrorLED", false));
  activityTimeoutTime_ = bag.ReadLong("ActivityTimeoutTime", 0);
  UpdateRate(bag.ReadDouble("UpdRate", 10));
  summitData_ = ReadObject<_SummitData>(bag, "SummitData", *site_, "SummitData");
  BuildDataObjects();
  BindProtocol();
  ScaleConfigurationChange.Raise();
}

void TarnScale::WriteProperties(PropertyBag& bag) const {
  bag.WriteText("AliasName", aliasName_, "Scale x");
  WriteObject(bag, "Connection", connection_, "NoConnection");
  WriteObject(bag, "Protocol", protocol_, "NoProtocol");
  bag.WriteBoolean("Disabled", disabled_, true);
  bag.WriteBoolean("ActivityLED", activityLED_, false);
  bag.WriteBoolean("ErrorLED", errorLED_, false);
  bag.WriteLong("ActivityTimeoutTime", activityTimeoutTime_, 0);
  bag.WriteDouble("UpdRate", updateRate_, 10);
  WriteObject(bag, "SummitData", summitData_, "SummitData");
  bag.WriteBoolean("CorrectReadings", CorrectReadings(), false);
  constexpr DetectionSettings kDefaults;
  bag.WriteDouble("DetectMinimum", DetectMinimum(), kDefaults.minimum);
  bag.WriteLong("DetectStable", DetectStable(), kDefaults.stable);
  bag.WriteLong("DetectDigits", DetectDigits(), kDefaults.digits);
  bag.WriteDouble("DetectRearm", DetectRearm(), kDefaults.rearm);
}

// --- Settings --------------------------------------------------------------------------------

void TarnScale::UpdateTimer(std::shared_ptr<Timer> timer) {
  updateTimer_ = std::move(timer);
  onUpdateTimer_ = updateTimer_ ? updateTimer_->Tick.Subscribe([this] { UpdateWeight.Raise(); })
                                : Subscription();
}

void TarnScale::ActivityTimer(std::shared_ptr<tarn::ActivityTimer> timer) {
  activityTimer_ = std::move(timer);
  onActivityTimer_ = activityTimer_ ? activityTimer_->TimedOutEvent.Subscribe(
                                          this, &TarnScale::ActivityTimer_TimedOut)
                                    : Subscription();
}

void TarnScale::UpdateRate(double rate) {
  const std::int32_t interval = rate > 0 ? RoundToLong(1000 / rate) : 0;
  updateRate_ = rate;
  updateInterval_ = interval;
}

void TarnScale::CorrectReadings(bool value) {
  if (value == CorrectReadings()) return;
  const auto self = weak_from_this().lock();
  StopScale();  // by the rules by which it was started
  rules_ = RulesOf(value);
  if (connection_ && IsOwn(*connection_)) connection_->Serve(self);
  if (protocol_ && IsOwn(*protocol_)) protocol_->Serve(self);
  PropertyChanged.Raise("CorrectReadings");
}

template <class Value>
void TarnScale::SetDetection(Value DetectionSettings::*setting, Value value,
                             std::string_view name) {
  DetectionSettings settings = detector_.Settings();
  settings.*setting = value;
  detector_.Settings(settings);
  PropertyChanged.Raise(name);
}

void TarnScale::DetectMinimum(double load) {
  SetDetection(&DetectionSettings::minimum, load, "DetectMinimum");
}
void TarnScale::DetectStable(std::int32_t milliseconds) {
  SetDetection(&DetectionSettings::stable, milliseconds, "DetectStable");
}
void TarnScale::DetectDigits(std::int32_t digits) {
  SetDetection(&DetectionSettings::digits, digits, "DetectDigits");
}
void TarnScale::DetectRearm(double load) {
  SetDetection(&DetectionSettings::rearm, load, "DetectRearm");
}

void TarnScale::AliasName(std::string name) {
  const auto self = weak_from_this().lock();
  aliasName_ = std::move(name);
  PropertyChanged.Raise("AliasName");
  ScaleConfigurationChange.Raise();
}

void TarnScale::ActivityLED(bool on) {
  activityLED_ = on;
  PropertyChanged.Raise("ActivityLED");
}

void TarnScale::ErrorLED(bool on) {
  const auto self = weak_from_this().lock();
  errorLED_ = on;
  PropertyChanged.Raise("ErrorLED");
  NewStatus.Raise();
}

void TarnScale::Disabled(bool disabled) {
  const auto self = weak_from_this().lock();
  ActivityLED(false);
  ErrorLED(false);
  disabled_ = disabled;
  PropertyChanged.Raise("Disabled");
  if (!disabled) return;
  detector_.Restart();
  CloseConnection();
}

/// In the destructor, where no shared pointer to the scale is left, a part that serves no scale was
/// this one's.
bool TarnScale::IsOwn(const ScalePart& part) const {
  const auto served = part.ServedScale();
  return !served || served.get() == this;
}

void TarnScale::StoreConnection(std::shared_ptr<_Connection> connection) {
  const auto former = std::exchange(connection_, std::move(connection));
  if (former && former != connection_ && IsOwn(*former)) {
    former->Serve(nullptr);
    former->Replaced();
  }
  if (connection_) connection_->Serve(weak_from_this().lock());
  onConnectionChanged_ = connection_
                             ? connection_->PropertyChanged.Subscribe(
                                   [this](std::string_view name) { PropertyChanged.Raise(name); })
                             : Subscription();
}

void TarnScale::StoreProtocol(std::shared_ptr<_Protocol> protocol) {
  protocol_ = std::move(protocol);
  if (protocol_) protocol_->Serve(weak_from_this().lock());
  onProtocolChanged_ = protocol_
                           ? protocol_->PropertyChanged.Subscribe(
                                 [this](std::string_view name) { PropertyChanged.Raise(name); })
                           : Subscription();
}

void TarnScale::Protocol(std::shared_ptr<_Protocol> protocol) {
  Required(protocol, "A scale without a protocol has a NoProtocol");
  const auto self = shared_from_this();
  const auto former = protocol_;
  StoreProtocol(std::move(protocol));
  PropertyChanged.Raise("Protocol");
  // A client may still hold the former protocol, which would read bytes meant for its successor.
  if (former && former != protocol_ && IsOwn(*former)) {
    former->Serve(nullptr);
    former->Connection(nullptr);
    former->myScale(nullptr);
  }
  BindProtocol();
}

void TarnScale::Connection(std::shared_ptr<_Connection> connection) {
  const auto self = shared_from_this();
  StoreConnection(std::move(connection));
  PropertyChanged.Raise("Connection");
  BindProtocol();
}

void TarnScale::SummitData(std::shared_ptr<_SummitData> data) {
  summitData_ = std::move(data);
  BuildDataObjects();
  ScaleConfigurationChange.Raise();
}

void TarnScale::ScaleNumber(std::int16_t number) {
  if (detached_) return;  // replaced by a handler while it was made
  scaleNumber_ = number;
  UpdateTimer(site_->UpdateTimer(number));
}

/// Stops first, which closes the connection that was just set.
///
/// A protocol that delivers no weight marks the record when it receives it, so the record is reset
/// to one with weights before that.
void TarnScale::BindProtocol() {
  StopScale();
  mvarWeightData->WeightAvailable(true);
  const auto protocol = protocol_;
  _Protocol& bound = Required(protocol);
  if (!IsOwn(bound)) return;
  bound.myScale(shared_from_this());
  const auto connection = connection_;
  bound.Connection(connection && IsOwn(*connection) ? connection : nullptr);
  bound.WeightData(mvarWeightData);
  bound.PrintData(mvarPrintData);
  bound.TarnRecordTemplateData(recordTemplateData_);
}

void TarnScale::BuildDataObjects() {
  ClearDataObjects();
  dataObjects_.Add(mvarWeightData, "WeightData");
  dataObjects_.Add(mvarPrintData, "PrintData");
  dataObjects_.Add(recordTemplateData_, "TarnRecordTemplateData");
  if (!summitData_) return;
  const std::string_view name = summitData_->DataObjectName();
  if (!name.empty()) dataObjects_.Add(summitData_, std::string(name));
}

void TarnScale::ClearDataObjects() {
  while (dataObjects_.Count() > 0) dataObjects_.Remove(1);
}

std::shared_ptr<DataObject> TarnScale::GetAxDataObj(std::string_view DataObjectName) const {
  const auto* object = dataObjects_.Find(DataObjectName);
  return object == nullptr ? nullptr : *object;
}

// --- Running ---------------------------------------------------------------------------------

bool TarnScale::RunScale() {
  return Start([](_Connection& connection) { connection.Connect(); });
}

std::optional<AutomationError> TarnScale::RunUnattended() {
  std::optional<AutomationError> failure;
  Start([&failure](_Connection& connection) {
    try {
      connection.Connect();
    } catch (const AutomationError& error) {
      if (!connection.KeepTrying(error)) throw;
      failure = error;
    }
  });
  return failure;
}

bool TarnScale::Start(const ConnectLine& connectLine) {
  const auto self = shared_from_this();
  RequireAttached();
  if (disabled_) {
    const auto timer = updateTimer_;
    Required(timer, "The scale has no update timer").Interval(0);
    timer->Enabled(false);
    mvarWeightData->ClearWeight();
    return false;
  }

  try {
    Connect(self, connectLine);
  } catch (const AutomationError& error) {
    condition_->StartFailed(error.Number(), error.Description());
    throw;
  } catch (const std::exception& error) {
    condition_->StartFailed(ErrorNumber{}, error.what());
    throw;
  }
  if (updateInterval_ > 0) {
    activityTimeoutTime_ = std::max(RoundToLong(4.0 * updateInterval_), kShortestTimeout);
  }
  Required(activityTimer_).TimeoutTime(activityTimeoutTime_);
  Required(updateTimer_, "The scale has no update timer").Interval(updateInterval_);
  updateTimer_->Enabled(true);
  condition_->Started();
  return true;
}

/// Handlers and clients' own objects may remove the scale from the table meanwhile.
void TarnScale::Connect(const std::shared_ptr<TarnScale>& self, const ConnectLine& connectLine) {
  const auto protocol = protocol_;
  Required(protocol).Serve(self);
  protocol->myScale(self);
  protocol->Connect();
  RequireAttached();
  const auto connection = connection_;
  Required(connection).Serve(self);
  connectLine(*connection);
  if (detached_) connection->Disconnect();
  RequireAttached();
}

/// Closes only the connection: the protocol's own Disconnect is deliberately not called. A
/// handler of the record that fails does not keep the line from being closed.
void TarnScale::StopScale() {
  const auto self = weak_from_this().lock();
  if (activityTimer_) activityTimer_->TimeoutTime(0);
  if (updateTimer_) updateTimer_->Enabled(false);
  condition_->Stopped();
  detector_.Restart();
  FirstFailure failure;
  failure.Try([this] { mvarWeightData->ClearWeight(); });
  failure.Try([this] { CloseConnection(); });
  failure.Rethrow();
}

void TarnScale::CloseConnection() {
  const auto connection = connection_;
  if (connection && IsOwn(*connection)) connection->Disconnect();
}

void TarnScale::RequireAttached() const {
  if (detached_) ThrowObjectNotSet("The scale has left its server");
}

/// Since the watchdog flag begins False, the first time-out after a start never reports an error.
/// Both ways write the lamp and the record, so every time-out notifies every client. A handler that
/// fails does not keep the watchdog from being armed again; one that removes the scale from its
/// table does.
void TarnScale::ActivityTimer_TimedOut() {
  if (disabled_ || detached_) return;
  const bool silent = watchdog_;
  FirstFailure failure;
  failure.Try([&] { mvarWeightData->NoDataError(silent); });
  if (silent) failure.Try([this] { ActivityLED(false); });
  failure.Try([&] { ErrorLED(silent); });
  watchdog_ = true;
  if (activityTimer_ && !detached_) activityTimer_->TimeoutTime(activityTimeoutTime_);
  failure.Rethrow();
}

// --- Commands --------------------------------------------------------------------------------

/// Holds protocol and connection, since the command may replace them. False over a one-way
/// connection.
template <class Command>
bool TarnScale::PassOn(OperatorCommand what, Command command) {
  const auto self = shared_from_this();
  const auto connection = connection_;
  if (!Required(connection).IsBidirectional()) return false;
  const auto protocol = protocol_;
  command(Required(protocol));
  if (protocol->CommandHindrance(what).empty()) ++condition_->Line()->total.commandsSent;
  return true;
}

void TarnScale::C() {
  PassOn(OperatorCommand::ClearTare, [](_Protocol& protocol) { protocol.C(); });
}
void TarnScale::T() {
  PassOn(OperatorCommand::Tare, [](_Protocol& protocol) { protocol.T(); });
}
void TarnScale::Z() {
  PassOn(OperatorCommand::Zero, [](_Protocol& protocol) { protocol.Z(); });
}
void TarnScale::SetTare(double& TareValue) {
  PassOn(OperatorCommand::PresetTare, [&](_Protocol& protocol) { protocol.SetTare(TareValue); });
}

void TarnScale::P(PrintOrigin origin) {
  const auto self = shared_from_this();
  if (PassOn(OperatorCommand::Print, [](_Protocol& protocol) { protocol.P(); })) return;
  const auto protocol = protocol_;
  if (Required(protocol).pType() != ProtocolType::DemandTemplateType) printRequest(false, origin);
}

void TarnScale::printRequest(bool NoWait, PrintOrigin origin) {
  if (NoWait)
    CaptureReading(origin);
  else if (!std::exchange(printRequested_, true))
    requestOrigin_ = origin;
}

void TarnScale::CaptureReading(PrintOrigin origin) {
  const auto print = mvarPrintData;
  print->Origin(origin);
  print->Units(mvarWeightData->Units());
  print->GrossWeight(mvarWeightData->GrossWeight());
  print->GrossWeightValue(mvarWeightData->GrossWeightValue());
  print->TareWeight(mvarWeightData->TareWeight());
  print->TareWeightValue(mvarWeightData->TareWeightValue());
  print->NetWeight(mvarWeightData->NetWeight());
  print->NetWeightValue(mvarWeightData->NetWeightValue());
}

/// Where it fails, it costs a line of the log, and no reading.
void TarnScale::AttemptCapture(PrintOrigin origin) {
  Attempt(site_->System(), aliasName_ + ": a print is not in the log",
          [&] { CaptureReading(origin); });
}

/// Deliberately a request stays pending when its print fails, for example since the log cannot be
/// written: the next reading without motion tries again, and fails again before clients hear of it.
/// Not so with CorrectReadings, and never where a weighing was detected, which is one record only.
///
/// What is detected comes first, so that no failure of a request can cost it.
void TarnScale::mvarWeightData_NewWeight() {
  const std::uint32_t commits = mvarWeightData->Commits();
  const bool isReading = std::exchange(commits_, commits) != commits;
  if (isReading) condition_->Taken();
  const bool weighed = isReading && detector_.IsOn() &&
                       detector_.Take(LoadReadingOf(*mvarWeightData, site_->System().Loop().Now(),
                                                    condition_->Limit()));
  if (!weighed && (!printRequested_ || mvarWeightData->Motion())) return;
  // Held only where it matters: this runs with every reading of every scale.
  const auto self = weak_from_this().lock();
  if (weighed) AttemptCapture(PrintOrigin::Detection);
  if (!printRequested_ || mvarWeightData->Motion()) return;
  if (CorrectReadings())
    AttemptCapture(requestOrigin_);
  else
    CaptureReading(requestOrigin_);
  printRequested_ = false;
}

void TarnScale::mvarPrintData_NewWeight() {
  site_->LogPrint(*this);
}

}  // namespace tarn
