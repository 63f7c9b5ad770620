// What the protocols that read weights from a serial line have in common.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "protocols/serial_line.hpp"
#include "scale/reading_condition.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// Made with make_shared: events hold the protocol while it handles them.
class SerialProtocol : public Protocol, public std::enable_shared_from_this<SerialProtocol> {
 public:
  std::shared_ptr<_Connection> Connection() const override { return line_.Connection(); }
  void Connection(std::shared_ptr<_Connection> connection) override {
    line_.Connection(std::move(connection));
  }
  bool WorksOver(ConnectionType type) const override { return type == ConnectionType::serial; }

 protected:
  SerialProtocol(ProtocolType type, ScaleSite& site)
      : Protocol(type),
        mvarDecimalSeparator(site.System().Locale().DecimalSeparator()),
        system_(site.System()),
        line_(Held(this, &SerialProtocol::mvarComPort_Receive)) {}

  const SerialLine& Line() const { return line_; }
  void Send(std::string_view bytes) { line_.Send(bytes); }
  /// Called when as many characters wait at the port as Connect has asked for.
  virtual void mvarComPort_Receive() = 0;

  Host& System() const { return system_; }

  /// What the line sends is no reading; the record shows no data in its place.
  void NotUnderstood(ReadingCondition::Reject why) const;
  void Trouble(ConditionReason reason) const;

  /// The user's, read once: a change of the locale affects only protocols that are made later.
  const std::string mvarDecimalSeparator;

 private:
  Host& system_;
  SerialLine line_;
};

}  // namespace tarn
