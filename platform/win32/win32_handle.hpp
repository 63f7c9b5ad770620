// An owner of handles, which the system wants back.
#pragma once

#include <windows.h>

#include <utility>

namespace tarn {

/// The handle of a kernel object; nullptr if there is none, also where the system returns
/// INVALID_HANDLE_VALUE.
class OwnedHandle {
 public:
  OwnedHandle() = default;
  explicit OwnedHandle(HANDLE handle)
      : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  OwnedHandle(OwnedHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  OwnedHandle& operator=(OwnedHandle&& other) noexcept {
    if (this != &other) {
      Reset();
      handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
  }
  ~OwnedHandle() { Reset(); }

  HANDLE Get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

  void Reset() {
    if (handle_ != nullptr) CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  HANDLE handle_ = nullptr;
};

/// An event, not signalled. Error 57 where the system has none left.
OwnedHandle CreateEventHandle(bool manualReset);

}  // namespace tarn
