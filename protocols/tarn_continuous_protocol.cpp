#include "protocols/tarn_continuous_protocol.hpp"

#include <exception>
#include <optional>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"

namespace tarn {

TarnContinuousProtocol::TarnContinuousProtocol(ScaleSite& site)
    : SerialProtocol(ProtocolType::TarnContinuousStandard, site) {}

void TarnContinuousProtocol::InitProperties() {
  pType(ProtocolType::TarnContinuousStandard);
}

void TarnContinuousProtocol::ReadProperties(const PropertyBag& bag) {
  pType(ProtocolType{bag.ReadLong("Ptype", 1)});
}

void TarnContinuousProtocol::WriteProperties(PropertyBag& bag) const {
  bag.WriteLong("Ptype", static_cast<std::int32_t>(pType()), 1);
}

bool TarnContinuousProtocol::IsShortLayout() const {
  return pType() == ProtocolType::TarnContinuousShort ||
         pType() == ProtocolType::TarnContinuousShortSetpoint;
}

void TarnContinuousProtocol::pType(ProtocolType type) {
  Protocol::pType(type);
  FrameLength = IsShortLayout() ? kShortFrameLength : kStandardFrameLength;
}

void TarnContinuousProtocol::Connect() {
  SerialConnection& serial = Line().Serial();
  const auto scale = myScale();
  serial.ReceiveThresholdLength(FrameLength);
  serial.ReceiveEndCharacter(kCarriageReturn);
  Required(scale, "The protocol has no scale").ActivityTimeoutTime(500);
  scale->UpdateRate(0);
}

void TarnContinuousProtocol::C() {
  Send("C");
}
void TarnContinuousProtocol::T() {
  Send("T");
}
void TarnContinuousProtocol::P() {
  Send("P");
}
void TarnContinuousProtocol::Z() {
  Send("Z");
}
void TarnContinuousProtocol::SetTare(double& TareValue) {
  Send(GeneralNumberText(TareValue) + "T");
}

/// Two rules find the frames again on a disturbed line: an STX anywhere begins a frame, and only a
/// text of exactly the right length counts, wherever it began. Nothing is carried from one event to
/// the next: characters of a pass that found no frame are lost.
void TarnContinuousProtocol::mvarComPort_Receive() {
  const auto port = Line().Port();
  std::string collected;
  do {
    int taken = 0;
    for (; taken < kCharactersPerPass; ++taken) {
      const std::optional<char> character = port->Input();
      if (!character) break;
      if (*character == kStx)
        collected.clear();
      else
        collected.push_back(*character);
      if (*character == kCarriageReturn) break;
    }
    if (collected.size() == static_cast<std::size_t>(FrameLength)) {
      const auto scale = myScale();
      Required(scale, "The protocol has no scale").Condition()->FrameTaken();
      scale->ActivityLED(true);
      ParseFrame(collected);
      scale->watchdog(false);
    } else if (taken > 0 && !collected.empty() && collected.back() == kCarriageReturn) {
      // As the first character of a pass it is the checksum of the frame before.
      RejectLength();
    }
  } while (port->InBufferCount() >= FrameLength);
}

void TarnContinuousProtocol::RejectLength() const {
  if (const auto scale = myScale()) scale->Condition()->Rejected(ReadingCondition::Reject::Length);
}

/// The other layout's frames have another distance from STX to CR.
std::string TarnContinuousProtocol::FrameHint(std::string_view bytes) const {
  const std::size_t other = IsShortLayout() ? kStandardFrameLength : kShortFrameLength;
  std::size_t found = 0;
  for (std::size_t at = bytes.find(kStx); at != std::string_view::npos;
       at = bytes.find(kStx, at + 1)) {
    const std::size_t end = bytes.find(kCarriageReturn, at);
    if (end == at + other) ++found;
  }
  if (found < 2) return {};
  return IsShortLayout() ? "looks like the standard layout" : "looks like a short layout";
}

/// A frame is abandoned at the first failure; the no-data state then replaces what it has written
/// to the record.
void TarnContinuousProtocol::ParseFrame(std::string_view text) {
  const auto record = WeightData();
  tarn::WeightData& weight = Required(record, "The protocol has no weight record");
  try {
    PublishFrame(text, weight);
  } catch (const std::exception&) {
    NotUnderstood(ReadingCondition::Reject::Parse);
    weight.NoDataError(true);
  }
}

void TarnContinuousProtocol::PublishFrame(std::string_view text, tarn::WeightData& record) {
  ContinuousFrame frame;
  frame.Rules = Rules();
  frame.ReadStatusAndWeight(text);
  record.NetWeight(frame.NetWeight(mvarDecimalSeparator));

  if (IsShortLayout()) {
    frame.NoTareAndGross();
    record.TareWeight(frame.TareText);
    record.GrossWeight(frame.GrossText);
  } else {
    frame.ReadTareAndGross(text);
    record.GrossWeight(frame.GrossWeight(mvarDecimalSeparator));
    record.TareWeight(frame.TareWeight(mvarDecimalSeparator));
  }

  record.Motion(frame.Motion());
  // Deliberately before the units and the range of the same frame: a request is served by the
  // commit below, or by an earlier event of this frame.
  // The scale may have replaced this protocol by now.
  if (const auto scale = myScale(); scale && frame.PrintRequest()) scale->printRequest(false);
  record.Units(std::string(frame.Units()));
  record.OutOfRange(frame.OutOfRange());
}

}  // namespace tarn
