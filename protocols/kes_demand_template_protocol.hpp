// Records of named fields that a terminal prints over a TCP connection, by itself or on demand.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/socket.hpp"
#include "protocols/template_protocol.hpp"

namespace tarn {

/// As DemandTemplateProtocol, with the terminal's keep-alive texts cut out wherever they fall.
///
/// One that arrives in pieces is cut out as well. Bytes that may be its beginning do not belong to
/// a field until the rest has arrived; if the buffer held nothing else, the record's time limit,
/// which started with them, is cancelled. If the rest does not arrive within the time limit, they
/// count as text of a record that did not end.
class KesDemandTemplateProtocol final : public TemplateProtocol {
 public:
  static constexpr std::string_view kClassName = "KesDemandTemplateProtocol";
  static constexpr ProtocolClass kFamily = ProtocolClass::KesDemandTemplate;
  /// Where the terminals listen.
  static constexpr std::int16_t kTerminalPort = 1749;

  explicit KesDemandTemplateProtocol(std::shared_ptr<ScaleSite> site)
      : TemplateProtocol(std::move(site), ProtocolType::KesDemandTemplateType) {}

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  /// The letter of the scale at its terminal. Kept and saved, not used here.
  void scaleNum(std::string letter);
  const std::string& scaleNum() const { return scaleNum_; }

  std::shared_ptr<_Connection> Connection() const override {
    return TemplateProtocol::Connection();
  }
  /// Any other connection, or null, releases the socket and discards what was received.
  void Connection(std::shared_ptr<_Connection> connection) override;
  bool WorksOver(ConnectionType type) const override { return type == ConnectionType::EtherNet; }
  /// Takes the socket of an Ethernet connection; with any other nothing is received.
  void Connect() override;
  /// Demands a record: sends the template's demand text with nothing added. Nothing happens while
  /// the socket is not connected.
  void P() override;

 private:
  void TakeSocket(TarnScale& scale);
  void mvarSocket_DataArrival(std::int32_t bytesTotal);

  std::string scaleNum_ = "A";
  std::shared_ptr<SocketControl> mvarSocket;
  Subscription onDataArrival_;
};

}  // namespace tarn
