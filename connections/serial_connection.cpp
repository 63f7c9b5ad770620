#include "connections/serial_connection.hpp"

#include <array>
#include <cstddef>
#include <utility>

#include "base/automation_error.hpp"
#include "connections/line_settings_hint.hpp"

namespace tarn {
namespace {

template <class Index, std::size_t Count>
std::string_view PieceAt(const std::array<std::string_view, Count>& pieces, Index index) {
  const auto position = static_cast<std::size_t>(index);  // a negative index becomes a huge one
  return position < Count ? pieces[position] : std::string_view();
}

constexpr std::array<std::string_view, 13> kBaudRates = {
    "110,",   "300,",   "1200,",   "2400,",   "4800,",   "9600,",  "19200,",
    "38400,", "57600,", "115200,", "230400,", "460800,", "921600,"};
constexpr std::array<std::string_view, 5> kParities = {"n,", "e,", "o,", "s,", "m,"};
constexpr std::array<std::string_view, 5> kDataBits = {"8,", "7,", "6,", "5,", "4,"};
constexpr std::array<std::string_view, 3> kStopBits = {"1", "1.5", "2"};

}  // namespace

std::string_view BaudRatePiece(CommBaudRate index) {
  return PieceAt(kBaudRates, index);
}
std::string_view ParityPiece(CommParity index) {
  return PieceAt(kParities, index);
}
std::string_view DataBitsPiece(CommDataBits index) {
  return PieceAt(kDataBits, index);
}
std::string_view StopBitsPiece(CommStopBits index) {
  return PieceAt(kStopBits, index);
}

SerialConnection::SerialConnection(ScaleSite& site)
    : reconnector_(
          site.System(), *this, [this] { Open(); },
          [this] { return "port " + std::to_string(comPort_); }) {
  SaxPort(site.System().CreateSerialPort());
}

SerialConnection::~SerialConnection() {
  try {
    Disconnect();
  } catch (const std::exception&) {
    // The port is destroyed with this object, and no caller is left to report to.
  }
}

void SerialConnection::InitProperties() {
  ComPort(1);
  BaudRate(CommBaudRate::Baud_9600);
  Parity(CommParity::Even);
  DataBits(CommDataBits::Seven);
  StopBits(CommStopBits::Two);
  IsBidirectional(false);
}

void SerialConnection::ReadProperties(const PropertyBag& bag) {
  ComPort(bag.ReadInteger("ComPort", 1));
  BaudRate(CommBaudRate{bag.ReadLong("BaudRate", 5)});
  Parity(CommParity{bag.ReadLong("Parity", 1)});
  DataBits(CommDataBits{bag.ReadLong("DataBits", 1)});
  StopBits(CommStopBits{bag.ReadLong("StopBits", 2)});
  IsBidirectional(bag.ReadBoolean("IsBidirectional", false));
  AutoReconnect(bag.ReadBoolean("AutoReconnect", false));
  Device(bag.ReadText("Device", ""));
}

void SerialConnection::WriteProperties(PropertyBag& bag) const {
  bag.WriteInteger("ComPort", comPort_, 1);
  bag.WriteLong("BaudRate", static_cast<std::int32_t>(baudRate_), 5);
  bag.WriteLong("Parity", static_cast<std::int32_t>(parity_), 1);
  bag.WriteLong("DataBits", static_cast<std::int32_t>(dataBits_), 1);
  bag.WriteLong("StopBits", static_cast<std::int32_t>(stopBits_), 2);
  bag.WriteBoolean("IsBidirectional", isBidirectional_, false);
  bag.WriteBoolean("AutoReconnect", AutoReconnect(), false);
  bag.WriteText("Device", device_, "");
}

void SerialConnection::SaxPort(std::shared_ptr<SerialPort> port) {
  saxPort_ = std::move(port);
  onLost_ = saxPort_ ? saxPort_->Lost.Subscribe([this] {
    reconnector_.TraceBreak(saxPort_->LostText());
    reconnector_.Broken(ConditionReason::PortGone);
  })
                     : Subscription();
}

void SerialConnection::AutoReconnect(bool value) {
  reconnector_.Enabled(value);
  PropertyChanged.Raise("AutoReconnect");
}

void SerialConnection::ComPort(std::int16_t number) {
  comPort_ = number;
  PropertyChanged.Raise("ComPort");
}

void SerialConnection::Device(std::string name) {
  device_ = std::move(name);
  PropertyChanged.Raise("Device");
}

template <class Index>
void SerialConnection::WriteLineSetting(Index& setting, Index value, std::string_view name) {
  setting = value;
  ReopenIfOpen();
  PropertyChanged.Raise(name);
}

void SerialConnection::BaudRate(CommBaudRate index) {
  WriteLineSetting(baudRate_, index, "BaudRate");
}
void SerialConnection::Parity(CommParity index) {
  WriteLineSetting(parity_, index, "Parity");
}
void SerialConnection::DataBits(CommDataBits index) {
  WriteLineSetting(dataBits_, index, "DataBits");
}
void SerialConnection::StopBits(CommStopBits index) {
  WriteLineSetting(stopBits_, index, "StopBits");
}

void SerialConnection::ReopenIfOpen() {
  if (!saxPort_ || !saxPort_->PortOpen()) return;
  Disconnect();
  Connect();
}

void SerialConnection::ReceiveThresholdLength(std::int16_t length) {
  receiveThresholdLength_ = length;
  receiveEndCharacter_.reset();
}

void SerialConnection::IsBidirectional(bool value) {
  isBidirectional_ = value;
  PropertyChanged.Raise("IsBidirectional");
}

/// A baud rate that is not a valid index deliberately leaves the text of the last call in place, so
/// that the other pieces are appended once more; the port then refuses the text. The bound keeps
/// the text from growing with every attempt of a client.
const std::string& SerialConnection::BuildSettings() {
  if (const auto baud = BaudRatePiece(baudRate_); !baud.empty()) settings_ = baud;
  if (settings_.size() > kLongestSettings) return settings_;
  settings_ += ParityPiece(parity_);
  settings_ += DataBitsPiece(dataBits_);
  settings_ += StopBitsPiece(stopBits_);
  return settings_;
}

void SerialConnection::Connect() {
  Open();
  reconnector_.Wanted(true);
}

void SerialConnection::Open() {
  SerialPort& port = Required(saxPort_, "The serial connection has no port");
  port.PortNumber(comPort_);
  port.Device(device_);
  port.Settings(BuildSettings());
  port.ReceiveThreshold(receiveThresholdLength_);
  port.EndCharacter(receiveEndCharacter_);
  port.Record(RecordOf(*this));
  port.ClearInput();
  try {
    port.PortOpen(true);
  } catch (const AutomationError& error) {
    const std::string wrong = WrongIndexes();
    if (error.Number() != ErrorNumber::InvalidPropertyValue || wrong.empty()) throw;
    throw AutomationError(error.Number(), error.Description() + ": " + wrong);
  }
  reconnector_.Restored();
}

LinkState SerialConnection::Link() const {
  LinkState link = reconnector_.Link();
  link.silence = "cable, terminal off, or wrong port";
  const bool open = saxPort_ && saxPort_->PortOpen();
  if (open)
    link.fault = ConditionReason::None;
  else if (link.fault == ConditionReason::None)
    link.fault = ConditionReason::Stopped;
  return link;
}

void SerialConnection::CountPortErrors() {
  if (saxPort_) saxPort_->CountErrors();
}

std::string SerialConnection::BytesHint(const LineRecord& line) const {
  return saxPort_ ? LineSettingsHint(line, saxPort_->Settings()) : std::string();
}

/// Which properties are out of range when the port has refused the text. As a rule a client has
/// written a line's value instead of its index.
std::string SerialConnection::WrongIndexes() const {
  const struct {
    const char* name;
    std::int32_t index;
    std::size_t count;
  } settings[] = {
      {"BaudRate", static_cast<std::int32_t>(baudRate_), kBaudRates.size()},
      {"Parity", static_cast<std::int32_t>(parity_), kParities.size()},
      {"DataBits", static_cast<std::int32_t>(dataBits_), kDataBits.size()},
      {"StopBits", static_cast<std::int32_t>(stopBits_), kStopBits.size()},
  };
  std::string wrong;
  for (const auto& [name, index, count] : settings) {
    if (index >= 0 && static_cast<std::size_t>(index) < count) continue;
    wrong += (wrong.empty() ? "" : "; ") + std::string(name) + " is an index from 0 to " +
             std::to_string(count - 1) + ", not " + std::to_string(index);
  }
  return wrong;
}

void SerialConnection::Disconnect() {
  reconnector_.Wanted(false);
  if (saxPort_) saxPort_->PortOpen(false);
}

}  // namespace tarn
