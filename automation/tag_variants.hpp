// The values of terminal variables as variants, and back.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "automation/com_module.hpp"
#include "automation/com_owners.hpp"
#include "shareddata/tag_value.hpp"

namespace tarn {

Variant ToVariant(const TagValue& value);

/// A value that terminals do not have, such as an object, is kept unchanged, and so is an array of
/// bytes that does not count from 0. Error 13 for a reference to nothing.
TagValue ToTagValue(ComModule& module, const VARIANT& value);

/// The same for a value on its way to a terminal: a number of a kind that no variable has, such as
/// a currency or an unsigned one, is taken as a double, and bytes are taken wherever their array
/// begins.
TagValue ToWrittenValue(ComModule& module, const VARIANT& value);

}  // namespace tarn
