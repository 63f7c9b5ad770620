// The exceptions that end a command of tarnscale. The user sees their texts, which say what to do.
#pragma once

#include <stdexcept>

#include "tools/usage_error.hpp"

namespace tarn::tool {

/// The command failed. Exit status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarn::tool
