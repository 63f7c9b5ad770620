// What ends a command of tarnscale. The texts go to the user as they stand and say what to do next.
#pragma once

#include <stdexcept>

#include "tools/usage_error.hpp"

namespace tarn::tool {

/// What was asked for did not work out. Exit status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarn::tool
