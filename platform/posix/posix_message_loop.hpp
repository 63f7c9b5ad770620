// The message loop on epoll.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "platform/descriptor_watcher.hpp"
#include "platform/loop_base.hpp"
#include "platform/posix/posix_support.hpp"

namespace tarn {

class PosixMessageLoop final : public LoopBase, public DescriptorWatcher {
 public:
  /// Gets the epoll events. They are a hint: a nested RunUntil may have served them already, so the
  /// descriptor must not block.
  using Ready = std::function<void(std::uint32_t events)>;

  /// One watched descriptor; destroying it ends the watching. Destroy it before the descriptor is
  /// closed.
  class Watch {
   public:
    Watch() = default;
    Watch(Watch&& other) noexcept
        : loop_(std::exchange(other.loop_, nullptr)), id_(other.id_), fd_(other.fd_) {}
    Watch& operator=(Watch&& other) noexcept;
    ~Watch() { Reset(); }

    void Events(std::uint32_t events);
    void Reset();

   private:
    friend class PosixMessageLoop;
    Watch(PosixMessageLoop& loop, std::uint64_t id, int fd) : loop_(&loop), id_(id), fd_(fd) {}

    PosixMessageLoop* loop_ = nullptr;
    std::uint64_t id_ = 0;
    int fd_ = -1;
  };

  explicit PosixMessageLoop(TraceSink trace);
  ~PosixMessageLoop() override { DropPosted(); }

  double Now() const override;

  /// Throws std::system_error where the descriptor cannot be watched (EPERM: a plain file).
  [[nodiscard]] Watch WatchFd(int fd, std::uint32_t events, Ready ready);
  std::unique_ptr<DescriptorWatch> WatchDescriptor(int descriptor, bool reading, bool writing,
                                                   DescriptorWatcher::Ready ready) override;

 protected:
  void WaitAndDispatch(double milliseconds) override;
  void Wake() override;

 private:
  OwnedFd epoll_;
  OwnedFd wakeUp_;
  // Numbers are never used twice, so an event for a watch that is gone finds nothing, even if the
  // number of its descriptor is in use again.
  std::map<std::uint64_t, std::shared_ptr<Ready>> watches_;
  std::uint64_t lastId_ = 0;
  Watch wakeUpWatch_;
};

}  // namespace tarn
