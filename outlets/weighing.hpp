// Weighings: print records and records of fields, numbered, as the outlets hand them on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/event.hpp"
#include "outlets/json_writer.hpp"
#include "outlets/scale_event.hpp"

namespace tarn {

struct Weighing {
  std::uint64_t number = 0;  ///< 1 for the first one of a book
  WallTime time;
  int scale = 0;
  std::string alias;
  Reading reading;            ///< blank for a record of fields
  std::vector<Field> fields;  ///< of a record of fields
  PrintOrigin origin = PrintOrigin::Terminal;
};

/// The object that stands for a weighing wherever one appears.
void WriteWeighing(JsonWriter& json, const Weighing& weighing);
std::string WeighingJson(const Weighing& weighing);

/// Numbers the weighings and keeps them. Used on the loop's thread only; outlives the outlets.
class WeighingBook {
 public:
  using OnFetched = std::function<void(std::vector<Weighing> weighings)>;

  WeighingBook() = default;
  WeighingBook(const WeighingBook&) = delete;
  WeighingBook& operator=(const WeighingBook&) = delete;
  virtual ~WeighingBook() = default;

  /// The sequence that the numbers belong to; another one means that they have begun anew. Those
  /// of a book on the disk go on for ever.
  virtual std::string Id() const { return "journal"; }

  /// Takes a PrintRecord or NewDataReady; other events are none of its business.
  virtual void Enter(const ScaleEvent& event) = 0;

  /// A weighing is as safe as this book makes it. In the order of the numbers.
  Event<const Weighing&> Entered;
  /// A weighing could not be kept, for this reason; nobody gets it.
  Event<const ScaleEvent&, const std::string&> Refused;

  /// The number of the latest weighing; 0 before the first.
  virtual std::uint64_t Latest() const = 0;
  /// Fetches the weighings behind this number, the oldest first and not more than `most`, at once
  /// or later. `fetched` may outlive who asked, so it must know whether that is still there.
  virtual void Fetch(std::uint64_t after, std::size_t most, OnFetched fetched) const = 0;

  /// The receiver of this name has everything up to this number; what somebody has not got yet is
  /// kept longer than anything else. A receiver counts from its first call on, with 0 too.
  virtual void Acknowledge(std::string_view receiver, std::uint64_t number) = 0;
  /// 0 for a receiver that has acknowledged nothing yet.
  virtual std::uint64_t Acknowledged(std::string_view receiver) const = 0;
};

/// Keeps the latest weighings in memory, so the numbers begin with 1 at each start of the program.
class RecentWeighings final : public WeighingBook {
 public:
  static constexpr std::size_t kMost = 1000;

  std::string Id() const override { return id_; }
  void Enter(const ScaleEvent& event) override;
  std::uint64_t Latest() const override { return latest_; }
  void Fetch(std::uint64_t after, std::size_t most, OnFetched fetched) const override;
  void Acknowledge(std::string_view /*receiver*/, std::uint64_t /*number*/) override {}
  std::uint64_t Acknowledged(std::string_view /*receiver*/) const override { return 0; }

 private:
  std::string id_ = UtcText(std::chrono::system_clock::now());
  std::deque<Weighing> weighings_;
  std::uint64_t latest_ = 0;
};

/// The weighing of an event, without a number; nothing for an event that is none.
std::optional<Weighing> WeighingOf(const ScaleEvent& event);

}  // namespace tarn
