// What the tests of the POSIX host share beside the fixture: a pipe and another process.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <functional>

#include "platform/posix/posix_support.hpp"
#include "tests/platform/platform_contract.hpp"

namespace tarn {

/// A descriptor that a test makes ready.
struct Pipe {
  Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC) < 0) return;
    read.Reset(ends[0]);
    write.Reset(ends[1]);
  }
  void Put() const { ASSERT_EQ(::write(write.Get(), "x", 1), 1); }
  void Take() const {
    char c = 0;
    [[maybe_unused]] const auto taken = ::read(read.Get(), &c, 1);
  }
  OwnedFd read, write;
};

/// Another process. It ends with status 0, or with 1 where its work throws.
class Child {
 public:
  explicit Child(const std::function<void()>& work) : number_(::fork()) {
    if (number_ != 0) return;
    try {
      work();
      ::_exit(0);
    } catch (...) {
      ::_exit(1);
    }
  }
  /// As waitpid has it.
  int Status() const {
    int status = -1;
    ::waitpid(number_, &status, 0);
    return status;
  }

 private:
  pid_t number_;
};

}  // namespace tarn
