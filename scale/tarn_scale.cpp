#include "scale/tarn_scale.hpp"

#include <algorithm>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"

namespace tarn {

std::shared_ptr<TarnScale> TarnScale::Create(std::shared_ptr<ScaleSite> site) {
  return std::shared_ptr<TarnScale>(new TarnScale(std::move(site)));
}

TarnScale::TarnScale(std::shared_ptr<ScaleSite> site)
    : site_(std::move(site)),
      mvarWeightData(
          std::make_shared<tarn::WeightData>(site_->System().Locale().DecimalSeparator())),
      mvarPrintData(std::make_shared<tarn::PrintData>()),
      mvarTarnRecordTemplateData(std::make_shared<tarn::TarnRecordTemplateData>()) {
  onWeight_ = mvarWeightData->NewWeight.Subscribe([this] { mvarWeightData_NewWeight(); });
  onPrint_ = mvarPrintData->NewWeight.Subscribe([this] { mvarPrintData_NewWeight(); });
  ActivityTimer(std::make_shared<tarn::ActivityTimer>(site_->TickTimer()));
}

TarnScale::~TarnScale() {
  Detach();
}

void TarnScale::Detach() noexcept {
  try {
    if (!detached_) StopScale();
  } catch (const std::exception& error) {
    site_->System().Trace(aliasName_ + " did not stop cleanly: " + error.what());
  }
  if (!detached_) site_->ReleaseSocket(scaleNumber_);
  detached_ = true;
  scaleNumber_ = 0;
  UpdateTimer(std::shared_ptr<Timer>());
}

// --- Persistence
// ----------------------------------------------------------------------------------

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
  bag.WriteObject("Connection", connection_, "NoConnection");
  bag.WriteObject("Protocol", protocol_, "NoProtocol");
  bag.WriteBoolean("Disabled", disabled_, true);
  bag.WriteBoolean("ActivityLED", activityLED_, false);
  bag.WriteBoolean("ErrorLED", errorLED_, false);
  bag.WriteLong("ActivityTimeoutTime", activityTimeoutTime_, 0);
  bag.WriteDouble("UpdRate", updateRate_, 10);
  bag.WriteObject("SummitData", summitData_, "SummitData");
}

// --- Settings
// -------------------------------------------------------------------------------------

void TarnScale::UpdateTimer(std::shared_ptr<Timer> timer) {
  updateTimer_ = std::move(timer);
  onUpdateTimer_ = updateTimer_ ? updateTimer_->Tick.Subscribe([this] { UpdateWeight.Raise(); })
                                : Subscription();
}

void TarnScale::ActivityTimer(std::shared_ptr<tarn::ActivityTimer> timer) {
  activityTimer_ = std::move(timer);
  onActivityTimer_ =
      activityTimer_ ? activityTimer_->TimedOutEvent.Subscribe([this] { ActivityTimer_TimedOut(); })
                     : Subscription();
}

void TarnScale::UpdateRate(double rate) {
  const std::int32_t interval = rate > 0 ? RoundToLong(1000 / rate) : 0;
  updateRate_ = rate;
  updateInterval_ = interval;
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
  if (disabled) Required(connection_).Disconnect();
}

void TarnScale::StoreConnection(std::shared_ptr<_Connection> connection) {
  connection_ = std::move(connection);
  onConnectionChanged_ = connection_
                             ? connection_->PropertyChanged.Subscribe(
                                   [this](std::string_view name) { PropertyChanged.Raise(name); })
                             : Subscription();
}

void TarnScale::StoreProtocol(std::shared_ptr<_Protocol> protocol) {
  protocol_ = std::move(protocol);
  onProtocolChanged_ = protocol_
                           ? protocol_->PropertyChanged.Subscribe(
                                 [this](std::string_view name) { PropertyChanged.Raise(name); })
                           : Subscription();
}

void TarnScale::Protocol(std::shared_ptr<_Protocol> protocol) {
  const auto self = shared_from_this();
  const auto former = protocol_;
  StoreProtocol(std::move(protocol));
  PropertyChanged.Raise("Protocol");
  // A client may still hold the former one, which would read what is meant for its successor.
  if (former && former != protocol_) {
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
  scaleNumber_ = number;
  UpdateTimer(site_->UpdateTimer(number));
}

/// Stopping first means that the connection that was just given is the one that is closed; one that
/// was replaced stays as it is until it is released.
///
/// A protocol that delivers no weight says so when it is handed the record. So the record is made
/// ready for weights again before that, and before it is blanked.
void TarnScale::BindProtocol() {
  mvarWeightData->WeightAvailable(true);
  StopScale();
  const auto protocol = protocol_;
  _Protocol& bound = Required(protocol);
  bound.myScale(shared_from_this());
  bound.Connection(connection_);
  bound.WeightData(mvarWeightData);
  bound.PrintData(mvarPrintData);
  bound.TarnRecordTemplateData(mvarTarnRecordTemplateData);
}

void TarnScale::BuildDataObjects() {
  ClearDataObjects();
  dataObjects_.Add(mvarWeightData, "WeightData");
  dataObjects_.Add(mvarPrintData, "PrintData");
  dataObjects_.Add(mvarTarnRecordTemplateData, "TarnRecordTemplateData");
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

// --- Running
// --------------------------------------------------------------------------------------

bool TarnScale::RunScale() {
  const auto self = shared_from_this();
  if (detached_) ThrowObjectNotSet("The scale has left its server");
  if (disabled_) {
    const auto timer = updateTimer_;
    Required(timer, "The scale has no update timer").Interval(0);
    timer->Enabled(false);
    mvarWeightData->ClearWeight();
    return false;
  }

  const auto protocol = protocol_;
  Required(protocol).myScale(self);
  protocol->Connect();
  const auto connection = connection_;
  Required(connection).Connect();

  if (updateInterval_ > 0) {
    activityTimeoutTime_ = std::max(RoundToLong(4.0 * updateInterval_), kShortestTimeout);
  }
  Required(activityTimer_).TimeoutTime(activityTimeoutTime_);
  Required(updateTimer_, "The scale has no update timer").Interval(updateInterval_);
  updateTimer_->Enabled(true);
  return true;
}

/// Closes only the connection: the protocol's own Disconnect is deliberately left to its life
/// cycle.
void TarnScale::StopScale() {
  const auto self = weak_from_this().lock();
  if (activityTimer_) activityTimer_->TimeoutTime(0);
  if (updateTimer_) updateTimer_->Enabled(false);
  mvarWeightData->ClearWeight();
  const auto connection = connection_;
  if (connection) connection->Disconnect();
}

/// Since the watchdog flag begins False, the first time-out after a start never reports an error.
/// Both ways write the lamp and the record, so every time-out tells every client.
void TarnScale::ActivityTimer_TimedOut() {
  const auto self = weak_from_this().lock();
  if (disabled_) return;
  if (watchdog_) {
    mvarWeightData->NoDataError(true);
    ActivityLED(false);
    ErrorLED(true);
  } else {
    mvarWeightData->NoDataError(false);
    ErrorLED(false);
  }
  watchdog_ = true;
  if (activityTimer_) activityTimer_->TimeoutTime(activityTimeoutTime_);
}

// --- Commands
// -------------------------------------------------------------------------------------

void TarnScale::C() {
  if (Required(connection_).IsBidirectional()) Required(protocol_).C();
}
void TarnScale::T() {
  if (Required(connection_).IsBidirectional()) Required(protocol_).T();
}
void TarnScale::Z() {
  if (Required(connection_).IsBidirectional()) Required(protocol_).Z();
}
void TarnScale::SetTare(double& TareValue) {
  if (Required(connection_).IsBidirectional()) Required(protocol_).SetTare(TareValue);
}

void TarnScale::P() {
  if (Required(connection_).IsBidirectional()) {
    Required(protocol_).P();
  } else if (Required(protocol_).pType() != ProtocolType::DemandTemplateType) {
    printRequest(false);
  }
}

void TarnScale::printRequest(bool NoWait) {
  if (NoWait)
    CaptureReading();
  else
    printRequested_ = true;
}

void TarnScale::CaptureReading() {
  const auto self = weak_from_this().lock();
  const auto print = mvarPrintData;
  print->Units(mvarWeightData->Units());
  print->GrossWeight(mvarWeightData->GrossWeight());
  print->GrossWeightValue(mvarWeightData->GrossWeightValue());
  print->TareWeight(mvarWeightData->TareWeight());
  print->TareWeightValue(mvarWeightData->TareWeightValue());
  print->NetWeight(mvarWeightData->NetWeight());
  print->NetWeightValue(mvarWeightData->NetWeightValue());
}

void TarnScale::mvarWeightData_NewWeight() {
  if (!printRequested_ || mvarWeightData->Motion()) return;
  const auto self = weak_from_this().lock();
  CaptureReading();
  printRequested_ = false;
}

void TarnScale::mvarPrintData_NewWeight() {
  const auto site = site_;
  site->LogPrint(*this);
}

}  // namespace tarn
