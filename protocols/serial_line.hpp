// The serial line of a protocol: the connection that it was given, and that connection's port.
#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "base/event.hpp"
#include "connections/serial_connection.hpp"
#include "scale/contracts.hpp"

namespace tarn {

/// Works over a serial connection only. A connection of another kind is deliberately ignored: the
/// former serial one stays and, while its port is open, goes on feeding the record. A null
/// connection releases it. Members that need the line throw error 91 without one.
class SerialLine {
 public:
  explicit SerialLine(std::function<void()> receive) : receive_(std::move(receive)) {}

  std::shared_ptr<_Connection> Connection() const { return connection_; }
  void Connection(std::shared_ptr<_Connection> connection);

  SerialConnection& Serial() const;
  void Send(std::string_view bytes) const;
  /// Null without a connection.
  const std::shared_ptr<SerialPort>& Port() const { return mvarComPort; }

 private:
  std::function<void()> receive_;
  std::shared_ptr<SerialConnection> connection_;
  std::shared_ptr<SerialPort> mvarComPort;
  Subscription onReceive_;
};

}  // namespace tarn
