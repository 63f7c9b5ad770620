// Small things that the POSIX files share: an owned descriptor, calls repeated after a signal, the
// system's error numbers as run-time errors.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "base/automation_error.hpp"

namespace tarn {

class OwnedFd {
 public:
  OwnedFd() = default;
  explicit OwnedFd(int fd) : fd_(fd) {}
  OwnedFd(OwnedFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  OwnedFd& operator=(OwnedFd&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.fd_, -1));
    return *this;
  }
  ~OwnedFd() { Reset(); }

  int Get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  void Reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  /// Hands the descriptor over to the caller.
  int Release() { return std::exchange(fd_, -1); }
  /// Closes and returns what the system said: 0 or -1 with errno.
  int Close() { return ::close(std::exchange(fd_, -1)); }

 private:
  int fd_ = -1;
};

/// A system call, made again when a signal interrupted it.
template <class Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

inline std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

[[noreturn]] inline void ThrowError(ErrorNumber number, const std::string& what, int error) {
  throw AutomationError(number, what + ": " + ErrorText(error));
}

/// The error number of a failure that has no special meaning where it happened: 61 the disk is
/// full, 70 no permission, 57 anything else.
inline ErrorNumber CommonErrorNumber(int error) {
  if (error == ENOSPC || error == EDQUOT) return ErrorNumber::DiskFull;
  if (error == EACCES || error == EPERM || error == EROFS) return ErrorNumber::PermissionDenied;
  return ErrorNumber::DeviceInputOutput;
}

/// The number where a file is to be made or written: as above, and 75 where its place is none.
inline ErrorNumber WriteErrorNumber(int error) {
  const bool noPlace = error == ENOENT || error == ENOTDIR || error == EISDIR || error == ELOOP ||
                       error == ENAMETOOLONG || error == ENXIO;
  return noPlace ? ErrorNumber::PathFileAccess : CommonErrorNumber(error);
}

}  // namespace tarn
