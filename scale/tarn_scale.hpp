// One configured weighing point.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "base/keyed_collection.hpp"
#include "base/persistable.hpp"
#include "scale/activity_timer.hpp"
#include "scale/contracts.hpp"
#include "scale/data_object.hpp"
#include "scale/print_data.hpp"
#include "scale/reading_condition.hpp"
#include "scale/scale_site.hpp"
#include "scale/summit_data.hpp"
#include "scale/tarn_record_template_data.hpp"
#include "scale/weighing_detector.hpp"
#include "scale/weight_data.hpp"

namespace tarn {

/// What messages about a scale begin with: "Scale 3 (Packing)", or "Scale 3" without an alias of
/// its own.
std::string ScaleTitle(int number, std::string_view alias);

/// A scale owns its connection and protocol, its records and its watchdog. It starts and stops
/// communication, passes operator commands on, paces its clients' updates and notices silence.
///
/// Make one with Create, then call InitProperties or ReadProperties once. Errors of the protocol
/// and the connection propagate unchanged to the caller of every member.
class TarnScale final : public Persistable, public std::enable_shared_from_this<TarnScale> {
 public:
  static constexpr std::string_view kClassName = "TarnScale";
  /// The watchdog's shortest period when it follows the update interval, in milliseconds.
  static constexpr std::int32_t kShortestTimeout = 500;

  static std::shared_ptr<TarnScale> Create(std::shared_ptr<ScaleSite> site);
  ~TarnScale() override;

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  // Published members, in the order of the interface.

  /// True when no message came since the last time-out; protocols write False on every message.
  bool watchdog() const { return watchdog_; }
  void watchdog(bool value) { watchdog_ = value; }

  std::shared_ptr<Timer> UpdateTimer() const { return updateTimer_; }
  void UpdateTimer(std::shared_ptr<Timer> timer);
  std::shared_ptr<tarn::ActivityTimer> ActivityTimer() const { return activityTimer_; }
  void ActivityTimer(std::shared_ptr<tarn::ActivityTimer> timer);

  /// Updates per second; 0 or less means none. A running timer keeps its interval until RunScale.
  void UpdateRate(double rate);
  double UpdateRate() const { return updateRate_; }

  /// Milliseconds of silence after which the watchdog checks the scale; 0 turns it off. RunScale
  /// overwrites it when the scale has an update interval.
  void ActivityTimeoutTime(std::int32_t milliseconds) { activityTimeoutTime_ = milliseconds; }
  std::int32_t ActivityTimeoutTime() const { return activityTimeoutTime_; }

  /// Connects and starts the timers; false, and nothing connected, when the scale is disabled.
  /// Error 91 without an update timer, and on a scale that has left its server.
  bool RunScale();
  /// Stops the timers, blanks the weights and closes the connection. The protocol is not called.
  void StopScale();

  /// Copies a reading into PrintData: the present one when NoWait is true, else the next one
  /// without motion. A request that waits keeps the origin of who asked first.
  void printRequest(bool NoWait = false, PrintOrigin origin = PrintOrigin::Terminal);
  bool PRState() const { return printRequested_; }

  /// A null protocol is error 91 and changes nothing: a scale without one has a NoProtocol. The
  /// connection may be null. An object that served another scale serves this one from now on.
  std::shared_ptr<_Protocol> Protocol() const { return protocol_; }
  void Protocol(std::shared_ptr<_Protocol> protocol);
  std::shared_ptr<_Connection> Connection() const { return connection_; }
  void Connection(std::shared_ptr<_Connection> connection);

  void AliasName(std::string name);
  const std::string& AliasName() const { return aliasName_; }
  bool Disabled() const { return disabled_; }
  void Disabled(bool disabled);
  bool ActivityLED() const { return activityLED_; }
  void ActivityLED(bool on);
  bool ErrorLED() const { return errorLED_; }
  void ErrorLED(bool on);

  std::shared_ptr<tarn::PrintData> PrintData() const { return mvarPrintData; }
  std::shared_ptr<tarn::TarnRecordTemplateData> TarnRecordTemplateData() const {
    return recordTemplateData_;
  }
  void SummitData(std::shared_ptr<_SummitData> data);
  std::shared_ptr<_SummitData> SummitData() const { return summitData_; }
  std::shared_ptr<tarn::WeightData> WeightData() const { return mvarWeightData; }

  /// Commands: passed to the protocol when the connection is bidirectional, silently dropped
  /// otherwise. P on a one-way connection captures the next stable reading instead, unless the
  /// terminal prints records itself.
  void C();
  void T();
  void SetTare(double& TareValue);
  void P(PrintOrigin origin = PrintOrigin::Terminal);
  void Z();

  /// The data object of that name, without regard to case; null when there is no such object.
  std::shared_ptr<DataObject> GetAxDataObj(std::string_view DataObjectName) const;

  Event<> NewStatus;
  Event<> ScaleConfigurationChange;
  Event<> UpdateWeight;

  // Beside the published members.

  /// Whether readings are made by the rules that are meant where the published ones falsify or
  /// withhold them. False by default. A change stops the scale, as assigning a protocol does. Saved
  /// as "CorrectReadings".
  bool CorrectReadings() const { return rules_ == ReadingRules::Corrected; }
  void CorrectReadings(bool value);

  /// The detection of weighings: each load that comes to rest makes a print record, beside those
  /// that are asked for. DetectionSettings says what they mean and which values are error 380.
  /// Saved under the names of the properties.
  double DetectMinimum() const { return detector_.Settings().minimum; }
  void DetectMinimum(double load);
  std::int32_t DetectStable() const { return detector_.Settings().stable; }
  void DetectStable(std::int32_t milliseconds);
  std::int32_t DetectDigits() const { return detector_.Settings().digits; }
  void DetectDigits(std::int32_t digits);
  double DetectRearm() const { return detector_.Settings().rearm; }
  void DetectRearm(double load);

  // Not published.

  ReadingRules Rules() const { return rules_; }

  /// The slot in the server's table. A number from 1 to 32 takes the update timer of that number;
  /// any other leaves the scale without one.
  void ScaleNumber(std::int16_t number);
  std::int16_t ScaleNumber() const { return scaleNumber_; }
  std::int32_t UpdateInterval() const { return updateInterval_; }
  /// As RunScale, for a start that nobody watches. Where only the connection fails, and tries again
  /// by itself (_Connection::KeepTrying), the scale runs and shows silence until the line is there:
  /// the result is then the connection's error.
  std::optional<AutomationError> RunUnattended();
  /// "Scale 3 (Packing)".
  std::string Title() const;
  ScaleSite& Site() const { return *site_; }

  /// How good the present reading is, and what has passed through the line. Never null.
  const std::shared_ptr<ReadingCondition>& Condition() const { return condition_; }

  /// Stops the scale for good and releases its timers and its socket, before it leaves the server's
  /// table. Clients may go on holding the scale, its connection and its protocol, but nothing
  /// happens there any more, and the number is 0. Never throws.
  void Detach() noexcept;

 private:
  explicit TarnScale(std::shared_ptr<ScaleSite> site);

  using ConnectLine = std::function<void(_Connection& connection)>;
  bool Start(const ConnectLine& connectLine);
  void BindProtocol();
  void BuildDataObjects();
  void ClearDataObjects();
  void StoreConnection(std::shared_ptr<_Connection> connection);
  void StoreProtocol(std::shared_ptr<_Protocol> protocol);
  bool IsOwn(const ScalePart& part) const;
  void CloseConnection();
  void RequireAttached() const;
  void Connect(const std::shared_ptr<TarnScale>& self, const ConnectLine& connectLine);
  template <class Command>
  bool PassOn(OperatorCommand what, Command command);
  template <class Value>
  void SetDetection(Value DetectionSettings::*setting, Value value, std::string_view name);
  void CaptureReading(PrintOrigin origin);
  void AttemptCapture(PrintOrigin origin);
  void ActivityTimer_TimedOut();
  void mvarWeightData_NewWeight();
  void mvarPrintData_NewWeight();

  std::shared_ptr<ScaleSite> site_;
  std::shared_ptr<ReadingCondition> condition_;
  std::uint32_t commits_ = 0;  ///< of the weight record, known to the condition
  bool detached_ = false;
  bool watchdog_ = false;
  bool disabled_ = true;
  bool activityLED_ = false;
  bool errorLED_ = false;
  bool printRequested_ = false;
  PrintOrigin requestOrigin_ = PrintOrigin::Terminal;
  std::string aliasName_ = "Scale x";
  std::int32_t activityTimeoutTime_ = 0;
  double updateRate_ = 10;
  ReadingRules rules_ = ReadingRules::Published;
  WeighingDetector detector_;
  std::int32_t updateInterval_ = 100;
  std::int16_t scaleNumber_ = 0;
  std::shared_ptr<_Connection> connection_;
  std::shared_ptr<_Protocol> protocol_;
  std::shared_ptr<_SummitData> summitData_;
  std::shared_ptr<Timer> updateTimer_;
  std::shared_ptr<tarn::ActivityTimer> activityTimer_;
  std::shared_ptr<tarn::WeightData> mvarWeightData;
  std::shared_ptr<tarn::PrintData> mvarPrintData;
  std::shared_ptr<tarn::TarnRecordTemplateData> recordTemplateData_;
  KeyedCollection<std::shared_ptr<DataObject>> dataObjects_;

  Subscription onConnectionChanged_;
  Subscription onProtocolChanged_;
  Subscription onUpdateTimer_;
  Subscription onActivityTimer_;
  Subscription onWeight_;
  Subscription onPrint_;
};

}  // namespace tarn
