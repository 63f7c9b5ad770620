// What ends a command of tarnscale. The texts go to the user as they stand and say what to do next.
#pragma once

#include <stdexcept>

namespace tarn::tool {

/// What was asked for cannot be: a wrong argument, a key that does not fit. Exit status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What was asked for did not work out. Exit status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarn::tool
