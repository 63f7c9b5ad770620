// The journal: a book of weighings on the disk, which hands on what is stored there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/journal/journal_store.hpp"
#include "outlets/weighing.hpp"
#include "platform/message_loop.hpp"

namespace tarn {

/// The files are used on a separate thread only, so a disk that hangs holds up nobody: weighings
/// wait for it, kMostWaiting at most, and further ones are refused. What waits at the same time is
/// stored at once.
class Journal final : public WeighingBook {
 public:
  static constexpr std::size_t kMostWaiting = 4096;
  static constexpr std::size_t kMostInMemory = 1000;
  static constexpr std::size_t kMostFetches = 256;

  using TraceSink = std::function<void(std::string_view text)>;

  /// The loop outlives it. Traces come on its thread.
  Journal(MessageLoop& loop, std::unique_ptr<JournalStore> store, TraceSink trace);
  /// Gives the disk two seconds for what still waits.
  ~Journal() override;

  void Enter(const ScaleEvent& event) override;
  std::uint64_t Latest() const override { return latest_; }
  /// A thousand at most. While the disk cannot be read, it is asked again each second; with
  /// kMostFetches waiting, a further one is answered with nothing.
  void Fetch(std::uint64_t after, std::size_t most, OnFetched fetched) const override;
  /// Reaches the disk a little later. The receiver is known from now on, with 0 too: what it has
  /// not got is not removed.
  void Acknowledge(std::string_view receiver, std::uint64_t number) override;
  std::uint64_t Acknowledged(std::string_view receiver) const override;

 private:
  struct Shared;
  struct FetchJob;
  class Worker;
  void Answer(const FetchJob& job, const std::vector<Weighing>& found);
  void Finish(const std::vector<ScaleEvent>& batch, const JournalStore::Result& result);

  std::shared_ptr<Shared> shared_;
  TraceSink trace_;
  std::uint64_t latest_;
  JournalStore::Receivers receivers_;
  std::deque<Weighing> newest_;
};

}  // namespace tarn
