// What run and monitor publish beside their own output.
#pragma once

#include <memory>
#include <string>

#include "outlets/scale_source.hpp"
#include "outlets/weighing.hpp"
#include "tools/tarnscale/program.hpp"

namespace tarn::tool {

/// Each is off while it is empty.
struct OutletOptions {
  std::string journal;  ///< the folder
  int journalDays = 0;  ///< 0: all
};

/// The outlets that the options name. Make it before the scales start, so that it sees the first
/// reading; the server outlives it.
class Outlets {
 public:
  /// Throws UsageError and Failure.
  Outlets(Program& program, TarnScaleServer& server, const OutletOptions& options);

 private:
  ServerSource source_;
  std::unique_ptr<WeighingBook> book_;
  bool isRefusing_ = false;
  Subscription onEvent_;
  Subscription onRefused_;
  Subscription onEntered_;
};

}  // namespace tarn::tool
