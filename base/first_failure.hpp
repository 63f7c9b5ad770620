// Runs several steps even when some of them fail.
#pragma once

#include <exception>
#include <utility>

namespace tarn {

/// Keeps the first exception of the steps until all of them have run.
class FirstFailure {
 public:
  template <class Step>
  void Try(Step&& step) {
    try {
      std::forward<Step>(step)();
    } catch (...) {
      if (!failure_) failure_ = std::current_exception();
    }
  }
  void Rethrow() const {
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  std::exception_ptr failure_;
};

}  // namespace tarn
