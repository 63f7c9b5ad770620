// The terminals' continuous output over a serial line: frame after frame, unasked.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "protocols/continuous_frame.hpp"
#include "protocols/serial_protocol.hpp"

namespace tarn {

/// Writes the scale's weight record with every complete frame and passes the terminal's print
/// request on. Commands are single characters with nothing added; no answer is awaited.
class TarnContinuousProtocol final : public SerialProtocol {
 public:
  static constexpr std::string_view kClassName = "TarnContinuousProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::TarnContinuous;

  explicit TarnContinuousProtocol(ScaleSite& site);

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  /// 4 and 5 are the short layouts; every other number behaves as the standard layout.
  ProtocolType pType() const override { return Protocol::pType(); }
  void pType(ProtocolType type) override;

  void Connect() override;
  void C() override;
  void T() override;
  void P() override;
  void Z() override;
  /// The value first and the letter behind it: 12.5 is sent as "12.5T". The point is always ".",
  /// as in all that the terminal sends.
  void SetTare(double& TareValue) override;
  std::string FrameHint(std::string_view bytes) const override;

 private:
  static constexpr int kCharactersPerPass = 100;

  bool IsShortLayout() const;
  void mvarComPort_Receive() override;
  void ParseFrame(std::string_view text);
  void RejectLength() const;
  void PublishFrame(std::string_view text, tarn::WeightData& record);

  std::int16_t FrameLength = kStandardFrameLength;
};

}  // namespace tarn
