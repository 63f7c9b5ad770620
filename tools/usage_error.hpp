// What the user asked for cannot be: a wrong argument, a key that does not fit, a script that is
// not understood.
#pragma once

#include <stdexcept>

namespace tarn::tool {

/// The text says what to do instead. The program ends with status 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tarn::tool
