// The error that a call ends with.
#pragma once

#include <gtest/gtest.h>

#include "base/automation_error.hpp"

namespace tarn {

/// The number of the AutomationError that a call throws, 0 when it throws none.
template <class Call>
int ErrorOf(const Call& call) {
  try {
    call();
  } catch (const AutomationError& error) {
    EXPECT_NE(error.Description(), "");
    return static_cast<int>(error.Number());
  }
  return 0;
}

}  // namespace tarn
