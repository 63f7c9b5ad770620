#include "protocols/mira_protocol.hpp"

#include <exception>
#include <utility>

#include "base/number_text.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"

namespace tarn {
namespace {

constexpr std::string_view kAsk = "SI";
constexpr std::string_view kAskToRepeat = "SIR";
constexpr std::string_view kLineEnd = "\r\n";

}  // namespace

MiraProtocol::MiraProtocol(ScaleSite& site)
    : FramedProtocol(ProtocolType::Mira_Level_0_SIR, site) {}

void MiraProtocol::InitProperties() {
  pType(ProtocolType::Mira_Level_0_SIR);
}

void MiraProtocol::ReadProperties(const PropertyBag& bag) {
  pType(ProtocolType{bag.ReadLong("Ptype", 6)});
}

void MiraProtocol::WriteProperties(PropertyBag& bag) const {
  bag.WriteLong("Ptype", static_cast<std::int32_t>(pType()), 6);
}

// --- Commands --------------------------------------------------------------------------------

void MiraProtocol::Connect() {
  FramedProtocol::Connect();
  mvarRetriesLeft = 0;
  mvarPendingCommand.clear();
}

void MiraProtocol::SendLine(std::string_view text) {
  Send(System().Locale().ToBytes(text).append(kLineEnd));
}

void MiraProtocol::Await(std::string text) {
  mvarRetriesLeft = kRetries;
  mvarPendingCommand = std::move(text);
}

/// Only the request that ends the repeating is sent now; the command follows the next weight reply.
void MiraProtocol::Queue(std::string text) {
  if (RepeatsByItself()) SendLine(kAsk);
  Await(std::move(text));
}

void MiraProtocol::C() {
  Queue("@");
}
void MiraProtocol::T() {
  Queue("T");
}
void MiraProtocol::Z() {
  Queue("Z");
}
void MiraProtocol::SetTare(double& TareValue) {
  Queue("TA " + GeneralNumberText(TareValue, mvarDecimalSeparator) + " " + Record()->Units());
}

void MiraProtocol::AskAgain() {
  SendLine(kAsk);
  Await(std::string(RepeatsByItself() ? kAskToRepeat : kAsk));
}

// --- Replies ---------------------------------------------------------------------------------

/// If parsing fails in the middle of a line, the no-data state replaces what has been written by
/// then. The last two characters count as CR LF, whatever they are; a LF alone is an empty line.
void MiraProtocol::ParseFrame(const std::string& frame, tarn::WeightData& record) {
  const std::string_view line =
      std::string_view(frame).substr(0, frame.size() < 2 ? 0 : frame.size() - 2);
  try {
    ParseResponse(SplitMiraReply(line), record);
  } catch (const std::exception&) {
    NotUnderstood(ReadingCondition::Reject::Parse);
    record.NoDataError(true);
  }
}

void MiraProtocol::ParseResponse(const MiraReply& reply, tarn::WeightData& record) {
  const bool busy = reply.Status == "I";
  if (reply.Name == "S") {
    // A busy scale is queried again. Deliberately the command is not repeated: it follows the
    // weight that answers.
    if (busy)
      Retry(std::string(kAsk), record);
    else
      TakeWeightReply(reply, record);
  } else if (reply.Name == "I4") {
    if (reply.Status == "A")
      Answered();
    else
      Retry(mvarPendingCommand, record);
  } else if (reply.Name == "T" || reply.Name == "TA" || reply.Name == "Z") {
    // "+" and "-", where a limit prevents the command, end it as well.
    if (busy)
      Retry(mvarPendingCommand, record);
    else
      Answered();
  } else {
    const bool isError = reply.Name == "ES" || reply.Name == "EL" || reply.Name == "ET";
    if (isError)
      Trouble(ConditionReason::TerminalError);
    else
      NotUnderstood(ReadingCondition::Reject::Parse);
    record.NoDataError(true);
  }
}

void MiraProtocol::TakeWeightReply(const MiraReply& reply, tarn::WeightData& record) {
  SendPendingCommand();
  FileWeight(reply, record);
  // Deliberately no weight is requested if a handler of these events has queued a command: the
  // command then waits for a weight that the activity timer requests.
  if (mvarPendingCommand.empty() && pType() == ProtocolType::Mira_Level_0_Mode_Commands) {
    SendLine(kAsk);
  }
}

/// Any weight answers a query; a command stays pending until its reply arrives.
void MiraProtocol::SendPendingCommand() {
  if (mvarPendingCommand.empty()) return;
  if (mvarPendingCommand == kAsk) {
    mvarPendingCommand.clear();
    return;
  }
  SendLine(mvarPendingCommand);
  if (mvarPendingCommand == kAskToRepeat)
    mvarPendingCommand.clear();
  else
    mvarRetriesLeft = kRetries;
}

void MiraProtocol::FileWeight(const MiraReply& reply, tarn::WeightData& record) {
  if (reply.Status == "+" || reply.Status == "-") {
    record.OutOfRange(true);
    return;
  }
  const UserLocale& locale = System().Locale();
  const std::string units = locale.FromBytes(reply.Unit);
  record.Motion(reply.Status == "D");
  record.NetWeight(LocalizeDecimal(locale.FromBytes(reply.Value), mvarDecimalSeparator));
  record.TareWeight(std::string(kNoWeightText));
  record.GrossWeight(std::string(kNoWeightText));
  record.Units(units);
  record.OutOfRange(false);
}

void MiraProtocol::Retry(const std::string& text, tarn::WeightData& record) {
  if (mvarPendingCommand.empty() || mvarRetriesLeft <= 0) {
    mvarPendingCommand.clear();
    Trouble(ConditionReason::TerminalError);
    record.NoDataError(true);
    return;
  }
  SendLine(text);
  --mvarRetriesLeft;
}

void MiraProtocol::Answered() {
  if (const auto scale = myScale()) scale->Condition()->CommandAnswered();
  Resume();
}

void MiraProtocol::Resume() {
  SendLine(RepeatsByItself() ? kAskToRepeat : kAsk);
  mvarRetriesLeft = 0;
  mvarPendingCommand.clear();
}

}  // namespace tarn
