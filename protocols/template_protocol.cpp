#include "protocols/template_protocol.hpp"

#include <utility>
#include <vector>

#include "base/automation_error.hpp"
#include "scale/tarn_record_template_data.hpp"
#include "scale/tarn_scale.hpp"
#include "scale/weight_data.hpp"

namespace tarn {
namespace {

constexpr const char* kNoTemplate = "The protocol has no template";

}  // namespace

TemplateProtocol::TemplateProtocol(std::shared_ptr<ScaleSite> site, ProtocolType type)
    : Protocol(type),
      site_(std::move(site)),
      defaultType_(type),
      myActivityTimer(site_->TickTimer()) {
  onTimedOut_ =
      myActivityTimer.TimedOutEvent.Subscribe(this, &TemplateProtocol::myActivityTimer_TimedOut);
}

// --- Settings ---------------------------------------------------------------------------------

void TemplateProtocol::InitProperties() {
  pType(defaultType_);
  HoldTemplate(NewObject<TarnRecordTemplateConfig>(*site_, TarnRecordTemplateConfig::kClassName));
}

void TemplateProtocol::ReadProperties(const PropertyBag& bag) {
  pType(ProtocolType{bag.ReadLong("Ptype", static_cast<std::int32_t>(defaultType_))});
  HoldTemplate(ReadObject<TarnRecordTemplateConfig>(bag, "TemplateConfig", *site_,
                                                    TarnRecordTemplateConfig::kClassName));
}

void TemplateProtocol::WriteProperties(PropertyBag& bag) const {
  bag.WriteLong("Ptype", static_cast<std::int32_t>(pType()),
                static_cast<std::int32_t>(defaultType_));
  // A client may have removed the template; reading then creates a new one.
  if (mvarTemplateConfig) WriteObject(bag, "TemplateConfig", *mvarTemplateConfig);
}

void TemplateProtocol::TemplateConfig(std::shared_ptr<TarnRecordTemplateConfig> config) {
  HoldTemplate(std::move(config));
  PropertyChanged.Raise("Template");
}

void TemplateProtocol::HoldTemplate(std::shared_ptr<TarnRecordTemplateConfig> config) {
  mvarTemplateConfig = std::move(config);
  onConfigChanged_.Reset();
  onTemplateProperty_.Reset();
  if (!mvarTemplateConfig) return;
  onConfigChanged_ = mvarTemplateConfig->ConfigChanged.Subscribe(
      this, &TemplateProtocol::mvarTemplateConfig_ConfigChanged);
  onTemplateProperty_ = mvarTemplateConfig->PropertyChanged.Subscribe(
      [this](std::string_view name) { PropertyChanged.Raise(name); });
}

std::string TemplateProtocol::DemandBytes() const {
  return site_->System().Locale().ToBytes(Required(mvarTemplateConfig, kNoTemplate).DemandOutput());
}

std::string_view TemplateProtocol::CommandHindrance(OperatorCommand command) const {
  if (!GoesToTerminal(command)) return "its protocol has no weights to print";
  return command == OperatorCommand::Print ? "" : "its protocol has no command but P";
}

/// After its scale has replaced it, a protocol no longer writes the scale's record.
void TemplateProtocol::myScale(const std::shared_ptr<TarnScale>& scale) {
  Protocol::myScale(scale);
  if (!scale) templateData_.reset();
}

void TemplateProtocol::WeightData(std::shared_ptr<tarn::WeightData> record) {
  Protocol::WeightData(record);
  if (!record) return;
  record->WeightAvailable(false);
  record->ClearWeight();
}

void TemplateProtocol::TarnRecordTemplateData(
    std::shared_ptr<tarn::TarnRecordTemplateData> record) {
  Protocol::TarnRecordTemplateData(std::move(record));
  mvarTemplateConfig_ConfigChanged();
}

void TemplateProtocol::mvarTemplateConfig_ConfigChanged() {
  const auto record = templateData_;
  if (!record || !mvarTemplateConfig) return;
  record->SetNumFields(mvarTemplateConfig->NumFields());
  for (std::int16_t i = 1; i <= mvarTemplateConfig->MaxNumFields(); ++i) {
    record->SetFieldName(i, mvarTemplateConfig->FieldName(i));
  }
  record->RaiseConfigChanged();
}

// --- Records ----------------------------------------------------------------------------------

void TemplateProtocol::ForgetRecordStart() {
  myActivityTimer.TimeoutTime(0);
  mvarRecordStarted = false;
}

/// Deliberately takes one record by the published rules: the remaining bytes wait for the next
/// event of the line, within the time limit of a record.
void TemplateProtocol::TakeRecord(std::size_t held) {
  while (TakeOneRecord(held) && Rules() == ReadingRules::Corrected && mvarRxBuffer.size() > held) {
  }
}

/// Returns true if a record was taken and the buffer is shorter by it. Bytes that arrive while
/// there is no template are discarded, so that they do not become the beginning of the first record
/// of the next template.
bool TemplateProtocol::TakeOneRecord(std::size_t held) {
  const auto config = mvarTemplateConfig;
  if (!config) mvarRxBuffer.clear();
  const std::int32_t timeout = Required(config, kNoTemplate).Timeout();
  if (!mvarRecordStarted) myActivityTimer.TimeoutTime(timeout);
  mvarRecordStarted = true;
  if (mvarRxBuffer.size() > kMostBuffered) {
    DropRecord();
    return false;
  }
  std::vector<std::string> fields;
  const std::string tail = mvarRxBuffer.substr(mvarRxBuffer.size() - held);
  mvarRxBuffer.resize(mvarRxBuffer.size() - held);
  const std::size_t before = mvarRxBuffer.size();
  const std::int16_t count = config->ParseRecord(mvarRxBuffer, fields, Rules());
  const bool shorter = mvarRxBuffer.size() < before;
  mvarRxBuffer += tail;
  if (count < 1) {
    if (shorter && mvarRxBuffer.empty()) ForgetRecordStart();
    return false;
  }

  const auto scale = myScale();
  Required(scale, "The protocol has no scale").ActivityLED(true);
  scale->ErrorLED(false);
  scale->Condition()->FrameTaken();
  scale->Condition()->Taken();
  if (mvarRxBuffer.empty())
    ForgetRecordStart();
  else
    myActivityTimer.TimeoutTime(timeout);
  FileRecord(fields);
  return shorter;
}

/// The fields above those of a shorter record deliberately keep their values.
void TemplateProtocol::FileRecord(const std::vector<std::string>& fields) {
  const auto record = templateData_;
  if (!record) return;
  const UserLocale& locale = site_->System().Locale();
  std::int16_t number = 0;
  for (const std::string& field : fields) record->SetFieldData(++number, locale.FromBytes(field));
  record->RaiseNewDataReady();
}

/// A buffer that grows too long without a record counts as a record that does not end in time.
void TemplateProtocol::DropRecord() {
  mvarRxBuffer.clear();
  ForgetRecordStart();
  RejectRecord(ReadingCondition::Reject::Overflow);
}

void TemplateProtocol::myActivityTimer_TimedOut() {
  RejectRecord(ReadingCondition::Reject::Timeout);
}

void TemplateProtocol::RejectRecord(ReadingCondition::Reject why) {
  const auto scale = myScale();
  if (!scale || scale->Disabled()) return;
  mvarRxBuffer.clear();
  mvarRecordStarted = false;
  scale->Condition()->Rejected(why);
  scale->Condition()->Trouble(ConditionReason::RecordIncomplete);
  scale->ActivityLED(false);
  scale->ErrorLED(true);
  if (const auto record = templateData_) record->SetTimeoutError();
}

}  // namespace tarn
