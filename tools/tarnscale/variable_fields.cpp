#include "tools/tarnscale/variable_fields.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "base/automation_error.hpp"
#include "shareddata/summit_protocol.hpp"
#include "shareddata/tarn_kes_basic_config.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"

namespace tarn::tool {
namespace {

using Fields = std::vector<Field>;

template <class Values>
void Add(Fields& fields, const char* name, const Values& values) {
  using Value = typename Values::value_type;
  const auto last = std::find_if(values.rbegin(), values.rend(),
                                 [](const Value& value) { return value != Value{}; });
  const auto count = std::max<std::ptrdiff_t>(values.rend() - last, 1);
  std::string text;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    if (i > 0) text += ' ';
    const Value& value = values[static_cast<std::size_t>(i)];
    if constexpr (std::is_same_v<Value, std::string>)
      text += value.empty() ? "-" : value;
    else
      text += std::to_string(value);
  }
  fields.push_back({name, std::move(text)});
}

void AddDiagnostics(Fields& fields, const TarnScaleDiagData& data) {
  Add(fields, "ScaleCalZeroCounts", data.ScaleCalZeroCountsArray());
  Add(fields, "ScaleCurrentZeroCounts", data.ScaleCurrentZeroCountsArray());
  Add(fields, "ScaleCalHighCounts", data.ScaleCalHighCountsArray());
  Add(fields, "ScaleCalHighWeight", data.ScaleCalHighWeightArray());
  Add(fields, "ScaleCalMidCounts", data.ScaleCalMidCountsArray());
  Add(fields, "ScaleCalMidWeight", data.ScaleCalMidWeightArray());
  Add(fields, "ScaleCriticalError", data.ScaleCriticalErrorArray());
  Add(fields, "LastScaleError", data.LastScaleErrorArray());
  Add(fields, "ScaleErrorCounter", data.ScaleErrorCounterArray());
  Add(fields, "WeighmentCounter", data.WeighmentCounterArray());
  Add(fields, "ScaleOverloadCounter", data.ScaleOverloadCounterArray());
  Add(fields, "ScaleImpactCounter", data.ScaleImpactCounterArray());
  Add(fields, "ScaleZeroCounter", data.ScaleZeroCounterArray());
  Add(fields, "ScaleZeroFailCounter", data.ScaleZeroFailCounterArray());
}

void AddPrediction(Fields& fields, const TarnPredictFailureData& data) {
  Add(fields, "ScanTable", data.ScanTable());
  Add(fields, "ReplacementCell", data.ReplacementCellArray());
  Add(fields, "BadCell", data.BadCellArray());
  Add(fields, "SymmetryFailure", data.SymmetryFailureArray());
  Add(fields, "EstimatingWeightStatus", data.EstimatingWeightStatusArray());
  Add(fields, "CellZeroDriftStatus", data.CellZeroDriftStatusArray());
  Add(fields, "CellSymFailCounter", data.CellSymFailCounterArray());
  Add(fields, "CellZeroDriftCounter", data.CellZeroDriftCounterArray());
}

void AddCells(Fields& fields, const TarnOrbixDiagData& data) {
  Add(fields, "ScanTable", data.ScanTable());
  Add(fields, "CellCounts", data.CellCountsArray());
  Add(fields, "CellErrorNumber", data.CellErrorNumberArray());
  Add(fields, "CellOverloadStatus", data.CellOverloadStatusArray());
}

std::string ValueOf(const TagValue& value) {
  if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&value)) {
    std::string text;
    for (const auto byte : *bytes) text += (text.empty() ? "" : " ") + std::to_string(byte);
    return text;
  }
  try {
    return ToText(value, ".");
  } catch (const AutomationError&) {
    return "?";  // an object of a client
  }
}

void AddPolledTags(Fields& fields, const TarnKesBasicConfig& config) {
  for (std::int16_t i = 1; i <= config.GetTagInfoCount(); ++i) {
    const auto tag = config.GetTagInfoByIndex(i);
    fields.push_back({tag->EasyIndex(), ValueOf(tag->TagData())});
  }
}

template <class Data>
void AddFrom(Fields& fields, const TarnScale& scale, void (*add)(Fields&, const Data&)) {
  if (const auto data = std::dynamic_pointer_cast<Data>(scale.SummitData())) add(fields, *data);
}

}  // namespace

std::vector<Field> VariablesOf(const TarnScale& scale) {
  Fields fields;
  AddFrom(fields, scale, AddDiagnostics);
  AddFrom(fields, scale, AddPrediction);
  AddFrom(fields, scale, AddCells);
  if (const auto engine = std::dynamic_pointer_cast<SummitProtocol>(scale.Protocol())) {
    const auto config = std::dynamic_pointer_cast<TarnKesBasicConfig>(engine->Configuration());
    if (config) AddPolledTags(fields, *config);
  }
  return fields;
}

std::vector<Field> ChangedFields(const std::vector<Field>& former,
                                 const std::vector<Field>& fields) {
  std::vector<Field> changed;
  for (const Field& field : fields) {
    const bool same = std::any_of(former.begin(), former.end(), [&](const Field& before) {
      return before.name == field.name && before.value == field.value;
    });
    if (!same) changed.push_back(field);
  }
  return changed;
}

}  // namespace tarn::tool
