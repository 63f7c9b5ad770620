#include "automation/com_summit_data.hpp"

#include <string_view>

#include "automation/client_contracts.hpp"
#include "shareddata/tarn_kes_basic_data.hpp"
#include "shareddata/tarn_orbix_diag_data.hpp"
#include "shareddata/tarn_predict_failure_data.hpp"
#include "shareddata/tarn_scale_diag_data.hpp"

namespace tarn {
namespace {

struct Class {
  std::string_view name;
  ComPtr<IUnknown> (*wrap)(ComModule& module, const std::shared_ptr<_SummitData>& data);
};
constexpr Class kClasses[] = {
    {TarnScaleDiagData::kClassName, WrapScaleDiagData},
    {TarnPredictFailureData::kClassName, WrapPredictFailureData},
    {TarnOrbixDiagData::kClassName, WrapOrbixDiagData},
    {TarnKesBasicData::kClassName, WrapKesBasicData},
};

}  // namespace

ComPtr<IUnknown> Wrap(ComModule& module, const std::shared_ptr<_SummitData>& data) {
  if (!data) return {};
  if (const auto* made = AsClientMade(data)) return made->Object().Own();
  for (const Class& known : kClasses) {
    if (known.name == data->ClassName()) return known.wrap(module, data);
  }
  return WrapAs<ComSummitData>(module, data);
}

}  // namespace tarn
