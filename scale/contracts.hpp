// The two contracts through which a scale talks to the world: the connection (how bytes reach the
// terminal) and the protocol (how they are read and written). Any protocol may be paired with any
// connection; a protocol that cannot use its connection reports an error when it connects.
//
// Objects are shared, since clients hold them too: an old connection or protocol lives on while a
// client holds it. Everything happens on the thread of the message loop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/automation_error.hpp"
#include "base/persistable.hpp"
#include "scale/condition.hpp"
#include "scale/enumerations.hpp"
#include "scale/reading_rules.hpp"

namespace tarn {

class LineRecord;
class PrintData;
class TarnRecordTemplateData;
class TarnScale;
class WeightData;

/// A connection or protocol, which a client may move from one scale to another. It serves the scale
/// that received or started it last; an earlier scale neither closes nor unbinds it.
class ScalePart : public Persistable {
 public:
  /// Null before the first scale, and after that scale has replaced the part.
  std::shared_ptr<TarnScale> ServedScale() const { return served_.lock(); }
  void Serve(const std::shared_ptr<TarnScale>& scale);
  /// Those of the served scale; as published without one. Kept here, since each frame asks.
  ReadingRules Rules() const { return rules_; }
  /// Called when the scale that it served has replaced it. Must not throw or raise events.
  virtual void Replaced() {}

 private:
  std::weak_ptr<TarnScale> served_;
  ReadingRules rules_ = ReadingRules::Published;
};

class _Connection : public ScalePart {
 public:
  /// Whether commands may be sent to the terminal over this link; the scale checks it before it
  /// passes a command on. A plain setting.
  virtual bool IsBidirectional() const = 0;
  virtual void IsBidirectional(bool value) = 0;
  virtual ConnectionType Ctype() const = 0;
  virtual void Disconnect() = 0;
  /// Errors of the port or socket reach the caller.
  virtual void Connect() = 0;

  /// Called after Connect has failed with this error, at a start that nobody watches. Returns true
  /// where the connection will try again by itself until Disconnect. Not published.
  virtual bool KeepTrying(const AutomationError& /*error*/) { return false; }

  // What the condition of a reading asks of a connection. Not published: a client's own connection
  // has these answers.

  virtual LinkState Link() const { return {}; }
  /// Brings the errors of the port in the record of its line up to date.
  virtual void CountPortErrors() {}
  /// What bytes that form no frame look like, in words such as "looks like 9600 7E"; empty where
  /// they look like nothing in particular.
  virtual std::string BytesHint(const LineRecord& /*line*/) const { return {}; }
};

/// The contract's own implementation, which connects nothing.
class Connection : public _Connection {
 public:
  static constexpr std::string_view kClassName = "Connection";

  std::string_view ClassName() const override { return kClassName; }
  bool IsBidirectional() const override { return isBidirectional_; }
  void IsBidirectional(bool value) override { isBidirectional_ = value; }
  ConnectionType Ctype() const override { return ConnectionType::none; }
  void Disconnect() override {}
  void Connect() override {}
  LinkState Link() const override {
    return {.known = true, .fault = ConditionReason::NoConnection};
  }

 private:
  bool isBidirectional_ = false;
};

/// What an operator may ask of a scale: commands for the terminal, then print records that the
/// scale makes from its readings.
enum class OperatorCommand : std::uint8_t {
  Zero,
  Tare,
  ClearTare,
  Print,
  PresetTare,
  TakePrint,     ///< of the next reading without motion
  TakePrintNow,  ///< of the present reading
};
constexpr bool GoesToTerminal(OperatorCommand command) {
  return command < OperatorCommand::TakePrint;
}

class _Protocol : public ScalePart {
 public:
  /// The objects that the scale passes in when it binds the protocol. The scale is not owned.
  virtual std::shared_ptr<TarnScale> myScale() const = 0;
  virtual void myScale(const std::shared_ptr<TarnScale>& scale) = 0;
  virtual std::shared_ptr<tarn::WeightData> WeightData() const = 0;
  virtual void WeightData(std::shared_ptr<tarn::WeightData> record) = 0;
  virtual std::shared_ptr<tarn::PrintData> PrintData() const = 0;
  virtual void PrintData(std::shared_ptr<tarn::PrintData> record) = 0;
  virtual std::shared_ptr<tarn::TarnRecordTemplateData> TarnRecordTemplateData() const = 0;
  virtual void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData> record) = 0;
  virtual std::shared_ptr<_Connection> Connection() const = 0;
  virtual void Connection(std::shared_ptr<_Connection> connection) = 0;

  virtual ProtocolType pType() const = 0;
  virtual void pType(ProtocolType type) = 0;

  virtual void Disconnect() = 0;
  /// Starts communication over Connection; called before the connection itself connects, so that
  /// the protocol can prepare the port.
  virtual void Connect() = 0;
  virtual ProtocolClass TypeToClass(ProtocolType type) const = 0;

  /// Zero, print, tare, preset tare (weight in the terminal's unit), clear tare. A command that has
  /// no meaning for a dialect does nothing.
  virtual void Z() = 0;
  virtual void P() = 0;
  virtual void T() = 0;
  virtual void SetTare(double& TareValue) = 0;
  virtual void C() = 0;

  // What tools ask of a protocol. Not published: a client's own protocol has these answers.

  /// Why a command would have no effect, in words that follow "it cannot be given: "; empty where
  /// it works.
  virtual std::string_view CommandHindrance(OperatorCommand /*command*/) const { return {}; }
  /// Whether it can read a terminal over such a connection.
  virtual bool WorksOver(ConnectionType /*type*/) const { return true; }
  /// Whether a command is sent only when the next reading arrives, and is forgotten without one.
  virtual bool CommandsFollowReadings() const { return false; }
  /// Whether every reading is followed by the no-data state, so that the latest one stands for as
  /// long as the terminal is heard.
  virtual bool ReadingsEndWithNoData() const { return false; }
  /// Whether no weight would stay in the record by the published rules, over the connection that
  /// the protocol has now.
  virtual bool NeedsCorrectReadings() const { return false; }
  /// Whether the terminal sends only when somebody presses its key, so that silence says nothing.
  virtual bool ReadingsComeByHand() const { return false; }
  /// What bytes in which no frame was found look like to this dialect, in words; or empty.
  virtual std::string FrameHint(std::string_view /*bytes*/) const { return {}; }
};

/// The contract's own implementation: stores what it is given and sends nothing. The protocols
/// derive from it.
class Protocol : public _Protocol {
 public:
  static constexpr std::string_view kClassName = "Protocol";
  /// The dialects that the class speaks. A protocol of the server hides this by its own family.
  static constexpr ProtocolClass kFamily = ProtocolClass::NoProt;

  explicit Protocol(ProtocolType type = ProtocolType::NoProtType) : pType_(type) {}

  std::string_view ClassName() const override { return kClassName; }

  std::shared_ptr<TarnScale> myScale() const override { return myScale_.lock(); }
  void myScale(const std::shared_ptr<TarnScale>& scale) override { myScale_ = scale; }
  std::shared_ptr<tarn::WeightData> WeightData() const override { return mvarWeightData; }
  void WeightData(std::shared_ptr<tarn::WeightData> record) override {
    mvarWeightData = std::move(record);
  }
  std::shared_ptr<tarn::PrintData> PrintData() const override { return mvarPrintData; }
  void PrintData(std::shared_ptr<tarn::PrintData> record) override {
    mvarPrintData = std::move(record);
  }
  std::shared_ptr<tarn::TarnRecordTemplateData> TarnRecordTemplateData() const override {
    return templateData_;
  }
  void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData> record) override {
    templateData_ = std::move(record);
  }
  std::shared_ptr<_Connection> Connection() const override { return connection_; }
  void Connection(std::shared_ptr<_Connection> connection) override {
    connection_ = std::move(connection);
  }
  ProtocolType pType() const override { return pType_; }
  void pType(ProtocolType type) override {
    pType_ = type;
    PropertyChanged.Raise("Ptype");
  }
  void Disconnect() override {}
  void Connect() override {}
  ProtocolClass TypeToClass(ProtocolType type) const override { return tarn::TypeToClass(type); }
  void Z() override {}
  void P() override {}
  void T() override {}
  void SetTare(double& /*TareValue*/) override {}
  void C() override {}

 protected:
  std::shared_ptr<tarn::WeightData> mvarWeightData;
  std::shared_ptr<tarn::PrintData> mvarPrintData;
  std::shared_ptr<tarn::TarnRecordTemplateData> templateData_;
  std::shared_ptr<_Connection> connection_;

 private:
  std::weak_ptr<TarnScale> myScale_;
  ProtocolType pType_;
};

}  // namespace tarn
