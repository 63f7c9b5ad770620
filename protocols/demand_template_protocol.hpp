// Records of named fields that a terminal prints over a serial line, on its own or on demand.
#pragma once

#include <memory>
#include <string_view>

#include "connections/serial_connection.hpp"
#include "protocols/template_protocol.hpp"

namespace tarn {

/// Works over a serial connection only; any other is ignored when it is handed in, and Connect and
/// P are then error 91. The other commands do nothing.
class DemandTemplateProtocol final : public TemplateProtocol {
 public:
  static constexpr std::string_view kClassName = "DemandTemplateProtocol";

  explicit DemandTemplateProtocol(std::shared_ptr<ScaleSite> site)
      : TemplateProtocol(std::move(site), ProtocolType::DemandTemplateType) {}

  std::string_view ClassName() const override { return kClassName; }

  std::shared_ptr<_Connection> Connection() const override { return serialConnection_; }
  void Connection(std::shared_ptr<_Connection> connection) override;

  void Connect() override;
  /// Demands a record: writes the template's demand text with nothing added.
  void P() override;

 private:
  void mvarComPort_Receive();

  std::shared_ptr<SerialConnection> serialConnection_;
  std::shared_ptr<SerialPort> mvarComPort;
  Subscription onReceive_;
};

}  // namespace tarn
