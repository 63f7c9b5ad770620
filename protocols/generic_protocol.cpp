#include "protocols/generic_protocol.hpp"

#include <exception>

#include "base/number_text.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"

namespace tarn {

void GenericProtocol::InitProperties() {
  definition_ = {};
  pType(ProtocolType::NoProtType);
}

void GenericProtocol::ReadProperties(const PropertyBag& bag) {
  pType(ProtocolType{bag.ReadLong("Ptype", 0)});
}

void GenericProtocol::WriteProperties(PropertyBag& bag) const {
  bag.WriteLong("Ptype", static_cast<std::int32_t>(pType()), 0);
}

void GenericProtocol::pType(ProtocolType type) {
  definition_.Load(type);
  FramedProtocol::pType(type);
}

void GenericProtocol::myScale(const std::shared_ptr<TarnScale>& scale) {
  FramedProtocol::myScale(scale);
  onUpdateWeight_ =
      scale ? scale->UpdateWeight.Subscribe(this, &GenericProtocol::mvarmyScale_UpdateWeight)
            : Subscription();
}

// --- What is sent ----------------------------------------------------------------------------

void GenericProtocol::Connect() {
  FramedProtocol::Connect();
  SendInitString();
}

/// An empty text is not written at all: while the scale starts, the port is not open yet.
void GenericProtocol::SendConfigured(const std::string& text) {
  if (!text.empty()) Send(text);
}

void GenericProtocol::SendInitString() {
  if (!definition_.PollString.empty()) SendConfigured(definition_.InitString);
}

void GenericProtocol::AskAgain() {
  SendInitString();
}

void GenericProtocol::mvarmyScale_UpdateWeight() {
  Ask([this](const TarnScale& /*scale*/) { SendConfigured(definition_.PollString); });
}

// --- What is received ------------------------------------------------------------------------

bool GenericProtocol::IsStart(char character) const {
  return definition_.StartChar != 0 &&
         static_cast<std::uint8_t>(character) == definition_.StartChar;
}

bool GenericProtocol::IsEnd(char character) const {
  return static_cast<std::uint8_t>(character) == definition_.EndChar;
}

std::size_t GenericProtocol::LongestFrame() const {
  return static_cast<std::size_t>(definition_.RecordLength);
}

/// By the published rules deliberately always, even after a valid frame.
bool GenericProtocol::EndsWithNoData(const GenericReading& reading, ReadingRules rules) {
  return rules == ReadingRules::Published || !reading.OutOfRange;
}

/// The state is written only where the frame changes it or there is nothing to show, since clients
/// hear of each time that it is.
void GenericProtocol::ParseFrame(const std::string& frame, tarn::WeightData& record) {
  bool noData = true;
  try {
    const ReadingRules rules = Rules();
    const GenericReading reading = ParseGenericFrame(definition_, frame, rules);
    Publish(reading, record);
    noData = EndsWithNoData(reading, rules);
  } catch (const std::exception&) {
    // A handler of the record's events failed: the frame ends here, as it does below.
    NotUnderstood(ReadingCondition::Reject::Parse);
  }
  if (noData || record.NoDataError()) record.NoDataError(noData);
}

void GenericProtocol::Publish(const GenericReading& reading, tarn::WeightData& record) {
  const UserLocale& locale = System().Locale();
  if (reading.Motion) record.Motion(*reading.Motion);
  if (reading.Units) record.Units(locale.FromBytes(*reading.Units));
  if (!reading.OutOfRange) {
    if (const auto scale = myScale())
      scale->Condition()->Rejected(ReadingCondition::Reject::Length);
    return;
  }
  if (!*reading.OutOfRange) {
    record.NetWeight(LocalizeDecimal(locale.FromBytes(reading.Weight), mvarDecimalSeparator));
    record.TareWeight(std::string(kNoWeightText));
    record.GrossWeight(std::string(kNoWeightText));
  }
  record.OutOfRange(*reading.OutOfRange);
}

}  // namespace tarn
