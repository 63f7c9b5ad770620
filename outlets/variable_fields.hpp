// The values of a scale's terminal variables, for people and for programs.
#pragma once

#include <vector>

#include "outlets/scale_event.hpp"
#include "scale/tarn_scale.hpp"

namespace tarn {

/// By the published names of the data object's members, an array as its values up to the last that
/// is not 0; of the BASIC exchange the polled variables by their easy indexes. None for a scale
/// that reads no terminal variables.
std::vector<Field> VariablesOf(const TarnScale& scale);

/// Those of the fields that are not the same in the former ones.
std::vector<Field> ChangedFields(const std::vector<Field>& former,
                                 const std::vector<Field>& fields);

}  // namespace tarn
