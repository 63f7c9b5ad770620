// Records of named fields that a terminal prints over a serial line, by itself or on demand.
#pragma once

#include <memory>
#include <string_view>

#include "protocols/serial_line.hpp"
#include "protocols/template_protocol.hpp"

namespace tarn {

/// The commands but P do nothing.
class DemandTemplateProtocol final : public TemplateProtocol {
 public:
  static constexpr std::string_view kClassName = "DemandTemplateProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::DemandTemplate;

  explicit DemandTemplateProtocol(std::shared_ptr<ScaleSite> site)
      : TemplateProtocol(std::move(site), ProtocolType::DemandTemplateType) {}

  std::string_view ClassName() const override { return kClassName; }

  std::shared_ptr<_Connection> Connection() const override { return line_.Connection(); }
  void Connection(std::shared_ptr<_Connection> connection) override {
    line_.Connection(std::move(connection));
  }

  bool WorksOver(ConnectionType type) const override { return type == ConnectionType::serial; }
  void Connect() override;
  /// Demands a record: writes the template's demand text with nothing added.
  void P() override;

 private:
  void mvarComPort_Receive();

  SerialLine line_{Held(this, &DemandTemplateProtocol::mvarComPort_Receive)};
};

}  // namespace tarn
