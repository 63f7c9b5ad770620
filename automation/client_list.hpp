// The clients of the server, as the operator sees them.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "automation/com_module.hpp"

namespace tarn {

/// A new array of two dimensions, both from 1: a row for each apartment of a client that the server
/// calls, and for each further process that has created objects; the columns are ClientColumn.
SAFEARRAY* ListClients(ComModule& module);

}  // namespace tarn
