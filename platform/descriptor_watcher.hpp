// Lets the loop watch descriptors that belong to a library, so that the library needs no thread.
#pragma once

#include <functional>
#include <memory>

namespace tarn {

/// One watched descriptor; destroying it ends the watching. Destroy it before the descriptor is
/// closed. It may be destroyed and changed inside its own callback.
class DescriptorWatch {
 public:
  DescriptorWatch() = default;
  DescriptorWatch(const DescriptorWatch&) = delete;
  DescriptorWatch& operator=(const DescriptorWatch&) = delete;
  virtual ~DescriptorWatch() = default;

  /// What the library waits for from now on; an error of the descriptor is reported in any case.
  virtual void Want(bool reading, bool writing) = 0;
};

/// Used on the loop's thread only.
class DescriptorWatcher {
 public:
  /// Called on the loop's thread as long as the descriptor is ready; an error or the end of the
  /// stream reports both. It is a hint: a nested RunUntil may have served it, so the descriptor
  /// must not block.
  using Ready = std::function<void(bool readable, bool writable)>;

  DescriptorWatcher() = default;
  DescriptorWatcher(const DescriptorWatcher&) = delete;
  DescriptorWatcher& operator=(const DescriptorWatcher&) = delete;
  virtual ~DescriptorWatcher() = default;

  /// Throws std::system_error where the system cannot watch the descriptor.
  virtual std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, bool reading,
                                                           bool writing, Ready ready) = 0;
};

}  // namespace tarn
