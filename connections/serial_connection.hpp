// The serial line of a scale: port number, line settings, and the port control that the protocol
// reads and writes through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "connections/reconnector.hpp"
#include "platform/serial_port.hpp"
#include "scale/contracts.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// Errors of the port (see SerialPort) reach the caller of Connect and of the setters that reopen.
class SerialConnection final : public _Connection, public ReconnectingConnection {
 public:
  static constexpr std::string_view kClassName = "SerialConnection";

  explicit SerialConnection(ScaleSite& site);
  ~SerialConnection() override;

  std::string_view ClassName() const override { return kClassName; }
  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  std::shared_ptr<SerialPort> SaxPort() const { return saxPort_; }
  void SaxPort(std::shared_ptr<SerialPort> port);

  /// 1 is the first serial port. Takes effect at the next Connect.
  std::int16_t ComPort() const { return comPort_; }
  void ComPort(std::int16_t number);

  /// Indexes into fixed texts, not line values. Written while the port is open, each closes it and
  /// opens it again with the new settings.
  CommBaudRate BaudRate() const { return baudRate_; }
  void BaudRate(CommBaudRate index);
  CommParity Parity() const { return parity_; }
  void Parity(CommParity index);
  CommDataBits DataBits() const { return dataBits_; }
  void DataBits(CommDataBits index);
  CommStopBits StopBits() const { return stopBits_; }
  void StopBits(CommStopBits index);

  /// Characters that must wait before the port raises Receive; applied at the next Connect. Each
  /// protocol sets it, so it is not saved. Writing it forgets the end character of the protocol
  /// before.
  std::int16_t ReceiveThresholdLength() const { return receiveThresholdLength_; }
  void ReceiveThresholdLength(std::int16_t length);

  /// The character that ends each message, for protocols that must not be woken before it (see
  /// SerialPort); applied at the next Connect. Not published.
  void ReceiveEndCharacter(char end) { receiveEndCharacter_ = end; }

  /// The device that ComPort stands for, such as "/dev/ttyUSB0", unless the host's user has named
  /// another for that number. Empty: the system's own. Takes effect at the next Connect. Saved as
  /// "Device", behind the published settings. Not published.
  const std::string& Device() const { return device_; }
  void Device(std::string name);

  bool IsBidirectional() const override { return isBidirectional_; }
  void IsBidirectional(bool value) override;
  ConnectionType Ctype() const override { return ConnectionType::serial; }
  void Connect() override;
  void Disconnect() override;
  bool AutoReconnect() const override { return reconnector_.Enabled(); }
  void AutoReconnect(bool value) override;
  LinkState Link() const override;
  void CountPortErrors() override;
  /// From the parity of the bytes and the errors of the port.
  std::string BytesHint(const LineRecord& line) const override;
  bool KeepTrying(const AutomationError& error) override { return reconnector_.KeepTrying(error); }

 private:
  static constexpr std::size_t kLongestSettings = 128;

  const std::string& BuildSettings();
  std::string WrongIndexes() const;
  void ReopenIfOpen();
  void Open();
  template <class Index>
  void WriteLineSetting(Index& setting, Index value, std::string_view name);

  std::shared_ptr<SerialPort> saxPort_;
  std::int16_t comPort_ = 1;
  CommBaudRate baudRate_ = CommBaudRate::Baud_9600;
  CommParity parity_ = CommParity::Even;
  CommDataBits dataBits_ = CommDataBits::Seven;
  CommStopBits stopBits_ = CommStopBits::Two;
  std::int16_t receiveThresholdLength_ = 1;
  std::optional<char> receiveEndCharacter_;
  bool isBidirectional_ = false;
  std::string device_;
  std::string settings_;
  Reconnector reconnector_;
  Subscription onLost_;
};

/// The pieces of the settings text by index, "38400," for the index that is named Baud_34800.
/// Empty for an index that is none.
std::string_view BaudRatePiece(CommBaudRate index);
std::string_view ParityPiece(CommParity index);
std::string_view DataBitsPiece(CommDataBits index);
std::string_view StopBitsPiece(CommStopBits index);

}  // namespace tarn
