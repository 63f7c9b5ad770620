// Scales of other makers that send frames of a fixed layout.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "protocols/framed_protocol.hpp"
#include "protocols/generic_frame.hpp"

namespace tarn {

/// Reads the frames of types 24 to 28 by the definition that the type loads. The weight is filed as
/// the net weight; gross and tare read "*******".
///
/// Every frame ends with NoDataError, a sound one too, deliberately: the reading is raised with its
/// events and then replaced by the no-data state. So clients see the weight in the first of a
/// frame's two NewWeight only, where NoDataError still reads True from the frame before. With
/// CorrectReadings only a frame without values ends so, and the next sound one ends the state.
///
/// A scale that sends only when it is polled (type 28) is polled at the scale's UpdateRate. No type
/// defines commands: C, T, P, Z send nothing, and SetTare has no meaning.
class GenericProtocol final : public FramedProtocol {
 public:
  static constexpr std::string_view kClassName = "GenericProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::Generic;

  explicit GenericProtocol(ScaleSite& site) : FramedProtocol(ProtocolType::NoProtType, site) {}

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  using FramedProtocol::myScale;
  /// Also subscribes to the scale's updates, with which a polled scale is queried.
  void myScale(const std::shared_ptr<TarnScale>& scale) override;
  ProtocolType pType() const override { return FramedProtocol::pType(); }
  /// Any number is kept; 24 to 28 load what they list (see GenericFrameDef::Load).
  void pType(ProtocolType type) override;

  void Connect() override;
  void C() override { SendConfigured(definition_.CString); }
  void T() override { SendConfigured(definition_.TString); }
  void P() override { SendConfigured(definition_.PString); }
  void Z() override { SendConfigured(definition_.ZString); }

  std::string_view CommandHindrance(OperatorCommand command) const override {
    return GoesToTerminal(command) ? "its protocol has no commands" : "";
  }
  bool ReadingsEndWithNoData() const override { return Rules() == ReadingRules::Published; }
  bool NeedsCorrectReadings() const override { return definition_.WeightPos > 0; }

  const GenericFrameDef& FrameDef() const { return definition_; }

 private:
  bool IsStart(char character) const override;
  bool IsEnd(char character) const override;
  std::size_t LongestFrame() const override;
  std::int32_t SilenceTime() const override { return definition_.TimeoutTime; }
  void ParseFrame(const std::string& frame, tarn::WeightData& record) override;
  void AskAgain() override;

  void SendConfigured(const std::string& text);
  void SendInitString();
  void Publish(const GenericReading& reading, tarn::WeightData& record);
  static bool EndsWithNoData(const GenericReading& reading, ReadingRules rules);
  void mvarmyScale_UpdateWeight();

  GenericFrameDef definition_;
  Subscription onUpdateWeight_;
};

}  // namespace tarn
