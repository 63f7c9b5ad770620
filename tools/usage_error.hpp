// The error for wrong input of the user: an argument, a key, a script.
#pragma once

#include <stdexcept>

namespace tarn::tool {

/// The text says what to write instead. Exit status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarn::tool
