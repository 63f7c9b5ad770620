// The terminals' continuous output over a serial line: frame after frame, unasked.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "connections/serial_connection.hpp"
#include "protocols/continuous_frame.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// Writes the scale's weight record with every complete frame and passes the terminal's print
/// request on. Works over a serial connection only; any other is ignored when it is handed in, and
/// Connect and the commands are then error 91. Commands are single characters with nothing added;
/// no answer is awaited.
class TarnContinuousProtocol final : public Protocol,
                                     public std::enable_shared_from_this<TarnContinuousProtocol> {
 public:
  static constexpr std::string_view kClassName = "TarnContinuousProtocol";

  explicit TarnContinuousProtocol(ScaleSite& site);

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  std::shared_ptr<_Connection> Connection() const override { return serialConnection_; }
  void Connection(std::shared_ptr<_Connection> connection) override;

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

 private:
  static constexpr int kCharactersPerPass = 100;

  bool IsShortLayout() const;
  void Send(std::string_view bytes);
  void mvarComPort_Receive();
  void ParseFrame(std::string_view text);
  void PublishFrame(std::string_view text, tarn::WeightData& record);

  std::shared_ptr<SerialConnection> serialConnection_;
  std::shared_ptr<SerialPort> mvarComPort;
  std::int16_t FrameLength = kStandardFrameLength;
  std::string decimalSeparator_;
  Subscription onReceive_;
};

}  // namespace tarn
