// What every protocol on a serial line has in common.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/event.hpp"
#include "connections/serial_connection.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// Works over a serial connection only: any other is ignored when it is handed in, and what needs
/// the line is then error 91. No connection at all lets go of the one that was there.
///
/// Made with make_shared, since handlers of events keep their protocol alive.
class SerialProtocol : public Protocol, public std::enable_shared_from_this<SerialProtocol> {
 public:
  std::shared_ptr<_Connection> Connection() const override { return serialConnection_; }
  void Connection(std::shared_ptr<_Connection> connection) override;

 protected:
  SerialProtocol(ProtocolType type, ScaleSite& site);

  SerialConnection& Line() const;
  void Send(std::string_view bytes);
  /// Raised by the port whenever as many characters wait as Connect has asked for.
  virtual void mvarComPort_Receive() = 0;

  Host& System() const { return system_; }

  std::shared_ptr<SerialPort> mvarComPort;
  /// The user's, found once: a locale that changes meanwhile shows in protocols made after that.
  const std::string mvarDecimalSeparator;

 private:
  Host& system_;
  std::shared_ptr<SerialConnection> serialConnection_;
  Subscription onReceive_;
};

}  // namespace tarn
