#include "shareddata/kes_sd_protocol.hpp"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "platform/attempt.hpp"
#include "platform/utf8.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"
#include "shareddata/message_layout.hpp"

namespace tarn {
namespace {

constexpr std::int16_t kDefaultType = static_cast<std::int16_t>(ProtocolType::KesSharedDataType);
constexpr std::string_view kDefaultLetter = "A";

constexpr auto kUdp = static_cast<std::int16_t>(SocketTransport::Udp);
constexpr std::int16_t kLocalPortBase = 1700;
constexpr std::int16_t kVariablePort = 1701;

/// Every request has this length; a name that runs over its field is cut at the end of it.
constexpr std::size_t kRequestLength = 201;
constexpr std::uint8_t kLastSequence = 126;

// The variable's name in the source of a reply, behind the node text.
constexpr std::size_t kReplyNameStart = 7;
constexpr std::size_t kReplyNameLength = 6;
constexpr std::size_t kLengthByte = 27;

/// Bytes that a read over the terminals' own network may return.
constexpr std::int32_t kNetworkBuffer = 20;

// Bits of the second character of the status, but for the motion in the first.
constexpr unsigned kMotionBit = 0x01;
constexpr unsigned kValidBit = 0x02;
constexpr unsigned kPrintBit = 0x10;

enum Command : std::uint8_t {
  kTareCommand,
  kClearCommand,
  kPrintCommand,
  kZeroCommand,
  kPresetTare
};

/// By node number less 1. The break in the numbers of the preset tare is deliberate.
constexpr std::array<std::array<std::string_view, 5>, 5> kCommandVariables = {{
    {"/t_690", "/t_691", "/t_692", "/t_693", "/bas12"},
    {"/t_6a0", "/t_6a1", "/t_6a2", "/t_6a3", "/bas13"},
    {"/t_620", "/t_621", "/t_622", "/t_623", "/bas54"},
    {"/t_630", "/t_631", "/t_632", "/t_633", "/bas55"},
    {"/t_640", "/t_641", "/t_642", "/t_643", "/bas56"},
}};

bool IsCommandVariable(std::string_view name) {
  return std::any_of(kCommandVariables.begin(), kCommandVariables.end(), [name](const auto& node) {
    return std::find(node.begin(), node.end(), name) != node.end();
  });
}

/// Copies as much as there is room for from the offset on.
void CopyTo(std::string& buffer, std::size_t offset, std::string_view bytes) {
  const std::string_view fitting = bytes.substr(0, buffer.size() - offset);
  buffer.replace(offset, fitting.size(), fitting);
}

/// What stands before the first 0 byte, without the blanks around it.
std::string_view ExtractText(std::string_view value) {
  std::string_view text = value.substr(0, value.find('\0'));
  const std::size_t start = text.find_first_not_of(' ');
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(' ') - start + 1);
}

unsigned ByteAt(std::string_view bytes, std::size_t at) {
  return at < bytes.size() ? static_cast<std::uint8_t>(bytes[at]) : 0U;
}

}  // namespace

KesSDProtocol::KesSDProtocol(ScaleSite& site)
    : Protocol(ProtocolType::KesSharedDataType),
      system_(site.System()),
      decimalSeparator_(system_.Locale().DecimalSeparator()) {}

void KesSDProtocol::InitProperties() {
  pType(ProtocolType::KesSharedDataType);
}

void KesSDProtocol::ReadProperties(const PropertyBag& bag) {
  pType(ProtocolType{bag.ReadInteger("Ptype", kDefaultType)});
  scaleNum(bag.ReadText("ScaleNum", kDefaultLetter));
}

void KesSDProtocol::WriteProperties(PropertyBag& bag) const {
  bag.WriteText("ScaleNum", scaleNum_, kDefaultLetter);
  bag.WriteInteger("Ptype", static_cast<std::int16_t>(pType()), kDefaultType);
}

void KesSDProtocol::pType(ProtocolType type) {
  const auto number = static_cast<std::int32_t>(type);
  if (static_cast<std::int16_t>(number) != number) ThrowOverflow();
  Protocol::pType(type);
}

void KesSDProtocol::scaleNum(std::string_view letter) {
  if (letter.empty()) return;
  scaleNum_ = LowerCase(letter);
  node_ = static_cast<std::int16_t>(ByteAt(system_.Locale().ToBytes(scaleNum_), 0)) - ('a' - 1);
  const std::string node = std::to_string(node_);
  values_[kStatus].name = "/_s" + scaleNum_ + "fl";
  values_[kGross].name = "/wt" + node + "01";
  values_[kNet].name = "/wt" + node + "02";
  values_[kTare].name = "/ws" + node + "02";
  values_[kUnits].name = "/wt" + node + "03";
  PropertyChanged.Raise("ScaleNum");
}

void KesSDProtocol::myScale(const std::shared_ptr<TarnScale>& scale) {
  Protocol::myScale(scale);
  onUpdateWeight_ =
      scale ? scale->UpdateWeight.Subscribe(this, &KesSDProtocol::mvarmyScale_UpdateWeight)
            : Subscription();
}

void KesSDProtocol::Connection(std::shared_ptr<_Connection> connection) {
  if (connection != connection_) {
    onDataArrival_.Reset();
    mvarSocket.reset();
    ClearValues();
  }
  Protocol::Connection(std::move(connection));
}

void KesSDProtocol::Connect() {
  const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(connection_);
  if (!ethernet) return;
  const auto scale = myScale();
  const std::int16_t number = Required(scale, "The protocol has no scale").ScaleNumber();
  mvarSocket = ethernet->TakeSocket(number, scale->Site());
  onDataArrival_ =
      mvarSocket ? mvarSocket->DataArrival.Subscribe(this, &KesSDProtocol::mvarSocket_DataArrival)
                 : Subscription();
  ethernet->SocketProtocol(kUdp);
  ethernet->LocalPort(static_cast<std::int16_t>(kLocalPortBase + number));
  ethernet->RemotePort(kVariablePort);
}

// --- Commands --------------------------------------------------------------------------------

void KesSDProtocol::C() {
  WriteCommand(kClearCommand, "1");
}
void KesSDProtocol::T() {
  WriteCommand(kTareCommand, "1");
}
void KesSDProtocol::P() {
  WriteCommand(kPrintCommand, "1");
}
void KesSDProtocol::Z() {
  WriteCommand(kZeroCommand, "1");
}
void KesSDProtocol::SetTare(double& TareValue) {
  const auto bytes = LittleEndian(TareValue);
  WriteCommand(kPresetTare, {bytes.data(), bytes.size()});
}

void KesSDProtocol::WriteCommand(std::size_t command, std::string_view value) {
  if (node_ < 1 || node_ > static_cast<std::int16_t>(kCommandVariables.size())) return;
  WriteVariable(kCommandVariables[static_cast<std::size_t>(node_ - 1)][command], value);
}

void KesSDProtocol::WriteVariable(std::string_view name, std::string_view value) {
  if (const auto network = std::dynamic_pointer_cast<ArcNetConnection>(connection_))
    network->WriteValue(name, value, static_cast<std::int32_t>(value.size()));
  else
    SendWriteRequest(name, value);
}

// --- Requests --------------------------------------------------------------------------------

void KesSDProtocol::SendReadRequest(std::string_view name) {
  SendRequest(kReadCommand, name, {});
}

void KesSDProtocol::SendWriteRequest(std::string_view name, std::string_view value) {
  SendRequest(kWriteCommand, name, value);
}

void KesSDProtocol::SendRequest(std::uint8_t command, std::string_view name,
                                std::string_view value) {
  const auto ethernet = std::dynamic_pointer_cast<EthernetConnection>(connection_);
  Required(ethernet, "The protocol has no Ethernet connection");
  const auto socket = mvarSocket;
  Required(socket, "The Ethernet connection has no socket");

  sequence_ = sequence_ < kLastSequence ? static_cast<std::uint8_t>(sequence_ + 1) : 0;
  MessageHeaderStruct header;
  header.priority = kRequestPriority;
  header.msgType = LittleEndian(kRequestType);
  header.command = command;
  header.sequenceNumber = sequence_;
  header.length[0] = static_cast<char>(value.size());

  std::string request(kRequestLength, '\0');
  std::memcpy(request.data(), &header, offsetof(MessageHeaderStruct, source));
  CopyTo(request, offsetof(MessageHeaderStruct, source), kServerName);
  CopyTo(request, offsetof(MessageHeaderStruct, destination),
         system_.Locale().ToBytes(ethernet->NodeName()).append(system_.Locale().ToBytes(name)));
  // A name that is too long for its field has overwritten these.
  std::memcpy(request.data() + offsetof(MessageHeaderStruct, command), &header.command,
              kMessageHeaderLength - offsetof(MessageHeaderStruct, command));
  CopyTo(request, kMessageHeaderLength, value);
  socket->SendData(request);
}

// --- The read cycle --------------------------------------------------------------------------

void KesSDProtocol::mvarmyScale_UpdateWeight() {
  const auto scale = myScale();
  // A scale that is disabled while it runs keeps its updates, but not its line.
  if (!scale || scale->Disabled()) return;
  if (const auto network = std::dynamic_pointer_cast<ArcNetConnection>(connection_))
    ReadNetwork(*network);
  else if (cycleComplete_ == 1 || !scale->ActivityLED())
    BeginCycle();
}

/// By the published rules deliberately without the gross weight, so that nothing is published.
void KesSDProtocol::ReadNetwork(ArcNetConnection& network) {
  static constexpr std::array<std::pair<Variable, std::int32_t>, 5> kReads = {
      {{kStatus, 3}, {kNet, 13}, {kTare, 13}, {kUnits, 4}, {kGross, 13}}};
  const std::size_t count = Rules() == ReadingRules::Corrected ? 5 : 4;
  for (const auto& [variable, length] : std::span(kReads).first(count)) {
    if (ReadVariable(network, values_[variable], length)) continue;
    ClearValues();
    if (const auto scale = myScale()) scale->Condition()->Trouble(ConditionReason::Unreachable);
    const auto record = WeightData();
    Required(record, "The protocol has no weight record").NoDataError(true);
    return;
  }
  PublishWeight();
}

bool KesSDProtocol::NeedsCorrectReadings() const {
  return connection_ && connection_->Ctype() == ConnectionType::arcnet;
}

bool KesSDProtocol::ReadVariable(ArcNetConnection& network, Pair& pair, std::int32_t length) {
  std::string buffer(static_cast<std::size_t>(kNetworkBuffer), '\0');
  std::int32_t result = 0;
  Attempt(system_, Name(),
          [&] { result = network.ReadValue(pair.name, buffer, length, kNetworkBuffer); });
  if (result == 0) return false;
  pair.value = buffer;
  return true;
}

void KesSDProtocol::ClearValues() {
  for (Pair& pair : values_) pair.value.clear();
}

void KesSDProtocol::BeginCycle() {
  ClearValues();
  cycleComplete_ = 0;
  AskFor(kStatus);
}

/// A failure must not keep clients' handlers of the same tick from being called.
void KesSDProtocol::AskFor(Variable variable) {
  if (!mvarSocket || !std::dynamic_pointer_cast<EthernetConnection>(connection_)) return;
  Attempt(system_, Name(), [&] { SendReadRequest(values_[variable].name); });
}

void KesSDProtocol::mvarSocket_DataArrival(std::int32_t bytesTotal) {
  const auto socket = mvarSocket;
  const std::string data = socket->GetData();
  std::string_view left = data;
  std::int64_t consumed = 0;
  AskedVariables asked;
  do {
    const std::size_t length = kMessageHeaderLength + ByteAt(left, kLengthByte);
    if (left.size() < kMessageHeaderLength || left.size() < length) {
      system_.Trace(Name() + ": A reply is cut short");
      if (const auto scale = myScale()) {
        scale->Condition()->Rejected(ReadingCondition::Reject::Length);
      }
      break;
    }
    TakeReply(left.substr(kReplyNameStart, kReplyNameLength),
              left.substr(kMessageHeaderLength, length - kMessageHeaderLength), asked);
    left.remove_prefix(length);
    consumed += static_cast<std::int64_t>(length);
  } while (consumed < bytesTotal);
  PublishWeight();
}

/// One datagram asks for a variable once, however many replies it holds.
void KesSDProtocol::TakeReply(std::string_view name, std::string_view value,
                              AskedVariables& asked) {
  const auto pair = std::find_if(values_.begin(), values_.end(),
                                 [name](const Pair& known) { return known.name == name; });
  const auto scale = myScale();
  if (scale) scale->Condition()->FrameTaken();
  if (pair == values_.end()) {
    if (scale && IsCommandVariable(name)) scale->Condition()->CommandAnswered();
    return;
  }
  if (scale && value.empty()) scale->Condition()->Trouble(ConditionReason::VariableUnknown);
  pair->value = value;
  const auto next = static_cast<std::size_t>(pair - values_.begin()) + 1;
  if (next >= kVariables || asked.test(next)) return;
  asked.set(next);
  AskFor(static_cast<Variable>(next));
}

std::string KesSDProtocol::WeightText(std::string_view value) const {
  return LocalizeDecimal(system_.Locale().FromBytes(ExtractText(value)), decimalSeparator_);
}

/// Called for every arrival. Deliberately a complete reading is published again as long as its
/// values stay.
void KesSDProtocol::PublishWeight() {
  const auto missing = [](const Pair& pair) { return pair.value.empty(); };
  if (std::any_of(values_.begin(), values_.end(), missing)) return;
  const auto scale = myScale();
  const auto record = WeightData();
  tarn::WeightData& weight = Required(record, "The protocol has no weight record");
  const auto reading = values_;  // a handler may let the next cycle begin

  Required(scale, "The protocol has no scale").ActivityLED(true);
  scale->watchdog(false);
  cycleComplete_ = 1;

  const unsigned first = ByteAt(reading[kStatus].value, 0);
  const unsigned second = ByteAt(reading[kStatus].value, 1);
  if ((second & kValidBit) == 0) {
    weight.NetWeight(std::string(kNoWeightText));
    weight.TareWeight(std::string(kNoWeightText));
    weight.GrossWeight(std::string(kNoWeightText));
    weight.OutOfRange(true);
    return;
  }
  weight.Motion((first & kMotionBit) != 0);
  // One request each time the bit changes to set.
  const bool print = (second & kPrintBit) != 0;
  if (print && !printLatch_) scale->printRequest(false);
  printLatch_ = print;
  weight.GrossWeight(WeightText(reading[kGross].value));
  weight.NetWeight(WeightText(reading[kNet].value));
  weight.TareWeight(WeightText(reading[kTare].value));
  weight.Units(system_.Locale().FromBytes(ExtractText(reading[kUnits].value)));
  weight.OutOfRange(false);
}

std::string KesSDProtocol::Name() const {
  const auto scale = myScale();
  return scale ? scale->Title() : "A scale";
}

}  // namespace tarn
