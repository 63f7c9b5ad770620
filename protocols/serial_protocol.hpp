// What the protocols that read weights from a serial line have in common.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "protocols/serial_line.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// Made with make_shared, since handlers of events keep their protocol alive.
class SerialProtocol : public Protocol, public std::enable_shared_from_this<SerialProtocol> {
 public:
  std::shared_ptr<_Connection> Connection() const override { return line_.Connection(); }
  void Connection(std::shared_ptr<_Connection> connection) override {
    line_.Connection(std::move(connection));
  }

 protected:
  SerialProtocol(ProtocolType type, ScaleSite& site)
      : Protocol(type),
        mvarDecimalSeparator(site.System().Locale().DecimalSeparator()),
        system_(site.System()),
        line_([this] { mvarComPort_Receive(); }) {}

  const SerialLine& Line() const { return line_; }
  void Send(std::string_view bytes) { line_.Send(bytes); }
  /// Raised by the port whenever as many characters wait as Connect has asked for.
  virtual void mvarComPort_Receive() = 0;

  Host& System() const { return system_; }

  /// The user's, found once: a locale that changes meanwhile shows in protocols made after that.
  const std::string mvarDecimalSeparator;

 private:
  Host& system_;
  SerialLine line_;
};

}  // namespace tarn
