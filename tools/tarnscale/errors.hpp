// The exceptions that end a command of tarnscale. The user sees their texts, which say what to do.
#pragma once

#include <stdexcept>
#include <string>

#include "tools/usage_error.hpp"

namespace tarn::tool {

// The statuses of commands that ask a terminal for something, beside those of all tools.
inline constexpr int kTimedOut = 3;
inline constexpr int kRefused = 4;        ///< the scale cannot take the command
inline constexpr int kNoValidWeight = 5;  ///< the terminal answers, without a weight to be used

/// The command failed.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& text, int status = 1)
      : std::runtime_error(text), status_(status) {}

  /// The exit status.
  int Status() const { return status_; }

 private:
  int status_;
};

}  // namespace tarn::tool
