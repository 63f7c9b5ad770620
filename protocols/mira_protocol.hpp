// Scales that are queried and commanded by short lines of text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "protocols/framed_protocol.hpp"
#include "protocols/mira_reply.hpp"

namespace tarn {

/// Queries the weight, stores the replies, and passes operator commands on one at a time.
///
///   type 6  "SI" once, then "SIR": the scale repeats its weight by itself. A command first sends
///           "SI", which ends the repeating, and goes out with the weight that answers it.
///   type 7  "SI" again and again, each weight asks for the next. A command takes the place of one
///           "SI".
///
/// One command waits at a time; a new one replaces it. A scale that is busy is asked twice more,
/// then the command is dropped and the record shows no data. Nothing is sent before the scale's
/// activity timer first runs out: that begins the asking, and begins it again after silence, in
/// place of any command that still waited.
///
/// The scale reports one weight, which is stored as the net weight; gross and tare read "*******".
class MiraProtocol final : public FramedProtocol {
 public:
  static constexpr std::string_view kClassName = "MiraProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::Mira;
  /// Characters without LF after which a line is discarded.
  static constexpr std::size_t kLongestLine = 30;

  explicit MiraProtocol(ScaleSite& site);

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  void Connect() override;
  void C() override;
  void T() override;
  void Z() override;
  /// In the unit of the last weight reply, with the user's decimal separator.
  void SetTare(double& TareValue) override;

  std::string_view CommandHindrance(OperatorCommand command) const override {
    const bool print = command == OperatorCommand::Print;
    return print ? "its protocol has no print command; \"print\" takes the next reading" : "";
  }
  bool CommandsFollowReadings() const override { return true; }

 private:
  static constexpr std::int16_t kRetries = 2;

  bool IsEnd(char character) const override { return character == '\n'; }
  std::size_t LongestFrame() const override { return kLongestLine; }
  std::int32_t SilenceTime() const override { return 2000; }
  void ParseFrame(const std::string& frame, tarn::WeightData& record) override;
  void AskAgain() override;

  bool RepeatsByItself() const { return pType() == ProtocolType::Mira_Level_0_SIR; }
  /// Text and CR LF.
  void SendLine(std::string_view text);
  void Queue(std::string text);
  void Await(std::string text);
  void ParseResponse(const MiraReply& reply, tarn::WeightData& record);
  void TakeWeightReply(const MiraReply& reply, tarn::WeightData& record);
  void SendPendingCommand();
  void FileWeight(const MiraReply& reply, tarn::WeightData& record);
  void Retry(const std::string& text, tarn::WeightData& record);
  void Answered();
  void Resume();

  std::string mvarPendingCommand;  ///< empty when none
  std::int16_t mvarRetriesLeft = 0;
};

}  // namespace tarn
