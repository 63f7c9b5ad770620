// The common part of the two template protocols: the template, the cutting of records out of the
// received bytes, and the time limit of a record that has begun.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/event.hpp"
#include "protocols/tarn_record_template_config.hpp"
#include "scale/activity_timer.hpp"
#include "scale/contracts.hpp"
#include "scale/reading_condition.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

class TarnScale;

/// Stores the fields of each record in the scale's TarnRecordTemplateData; the weight record is not
/// written. A silent terminal is not an error; a record that begins and does not end in time is.
class TemplateProtocol : public Protocol, public std::enable_shared_from_this<TemplateProtocol> {
 public:
  /// Bytes. A template without a time limit has nothing else that empties the buffer.
  static constexpr std::size_t kMostBuffered = 64U << 10U;

  void InitProperties() override;
  void ReadProperties(const PropertyBag& bag) override;
  void WriteProperties(PropertyBag& bag) const override;

  using Protocol::myScale;
  /// A null scale releases the record as well.
  void myScale(const std::shared_ptr<TarnScale>& scale) override;
  std::shared_ptr<tarn::WeightData> WeightData() const override { return Protocol::WeightData(); }
  /// The record shows "N/A" from now on, since no weight will come.
  void WeightData(std::shared_ptr<tarn::WeightData> record) override;
  std::shared_ptr<tarn::TarnRecordTemplateData> TarnRecordTemplateData() const override {
    return Protocol::TarnRecordTemplateData();
  }
  /// The record gets the template's layout at once.
  void TarnRecordTemplateData(std::shared_ptr<tarn::TarnRecordTemplateData> record) override;

  std::string_view CommandHindrance(OperatorCommand command) const override;
  bool ReadingsComeByHand() const override { return true; }

  /// The record gets the layout of a template that is assigned here with its next change only, or
  /// when the protocol is bound again: deliberate.
  std::shared_ptr<TarnRecordTemplateConfig> TemplateConfig() const { return mvarTemplateConfig; }
  void TemplateConfig(std::shared_ptr<TarnRecordTemplateConfig> config);

 protected:
  TemplateProtocol(std::shared_ptr<ScaleSite> site, ProtocolType type);

  /// The demand text as bytes on the wire, exactly as configured.
  std::string DemandBytes() const;

  /// Cancels the record that has begun, and its time limit.
  void ForgetRecordStart();
  /// What has arrived begins a record, unless one has begun already. Cuts one record out of
  /// mvarRxBuffer and files it, with CorrectReadings all that are complete; the last `held` bytes
  /// are not looked at. Error 91 without a template.
  void TakeRecord(std::size_t held = 0);

  bool mvarRecordStarted = false;
  std::string mvarRxBuffer;  ///< bytes received and not yet consumed

 private:
  void HoldTemplate(std::shared_ptr<TarnRecordTemplateConfig> config);
  bool TakeOneRecord(std::size_t held);
  void RejectRecord(ReadingCondition::Reject why);
  void FileRecord(const std::vector<std::string>& fields);
  void DropRecord();
  void mvarTemplateConfig_ConfigChanged();
  void myActivityTimer_TimedOut();

  std::shared_ptr<ScaleSite> site_;
  ProtocolType defaultType_;
  std::shared_ptr<TarnRecordTemplateConfig> mvarTemplateConfig;
  ActivityTimer myActivityTimer;
  Subscription onTimedOut_;
  Subscription onConfigChanged_;
  Subscription onTemplateProperty_;
};

}  // namespace tarn
