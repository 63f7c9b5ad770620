#include "outlets/variable_fields.hpp"

#include <algorithm>
#include <memory>

#include "shareddata/summit_protocol.hpp"

namespace tarn {

std::vector<Field> VariablesOf(const TarnScale& scale) {
  std::vector<Field> fields;
  if (const auto data = scale.SummitData()) fields = data->NamedValues();
  if (const auto engine = std::dynamic_pointer_cast<SummitProtocol>(scale.Protocol())) {
    const auto polled = engine->Configuration()->NamedValues();
    fields.insert(fields.end(), polled.begin(), polled.end());
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

}  // namespace tarn
