// The files of a journal: weighings go in, numbered and chained, and come out again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "outlets/journal/journal_text.hpp"
#include "platform/durable_folder.hpp"

namespace tarn {

/// Every call may wait for the disk. One thread at a time. What counts is what is whole on the
/// disk: a line is a weighing from there on, whatever was said of it, and its number is spent.
class JournalStore {
 public:
  struct Options {
    WallClock clock;
    /// So many files are kept at least, those of the latest days; all when 0.
    std::size_t days = 0;
  };
  /// What one Append came to.
  struct Result {
    /// What is in the journal now, in the order of the numbers: first what an earlier attempt had
    /// left there after all, then the first ones of the batch.
    std::vector<Weighing> kept;
    std::size_t refused = 0;  ///< so many of the batch's last ones are not
    std::string reason;       ///< why
  };
  /// What a receiver has, by its name.
  using Receivers = std::map<std::string, std::uint64_t, std::less<>>;

  static constexpr std::size_t kMostFetched = 1000;

  /// Finds the end of the journal; a torn one is marked, now or before the next weighing. Throws
  /// what the folder throws.
  JournalStore(std::unique_ptr<DurableFolder> folder, Options options);

  std::uint64_t Latest() const { return place_.end.number; }
  const Receivers& Acknowledged() const { return receivers_; }

  /// What those who look after the program should know, since the last call.
  std::vector<std::string> TakeNotes() { return std::exchange(notes_, {}); }

  /// Writes the weighings, has the disk store them and reads them back.
  Result Append(std::vector<Weighing> batch);
  /// At most kMostFetched. Errors as DurableFolder::Read.
  std::vector<Weighing> Fetch(std::uint64_t after, std::size_t most);
  /// Errors as DurableFolder::Replace. Then removes the files that nobody needs any more.
  void Acknowledge(Receivers receivers);

 private:
  struct File {
    std::string name;
    std::optional<std::uint64_t> before;  ///< the number before its first line, where it is known
  };

  void ListFiles();
  JournalReader ReadThrough(const File& file, const JournalPlace& from, bool isKnown,
                            JournalReader::Handlers handlers);
  void Open();
  std::vector<Weighing> FindEnd();
  void TakeEnd(const JournalReader& reader, const std::string& name);
  void Mend();
  void Write(std::vector<Weighing>& batch, std::size_t first, std::size_t end, Result& result);
  void WriteThrough(const JournalWriter& writer);
  void BeginFile(const std::string& day);
  void LoadReceivers();
  void RemoveOldFiles();

  std::unique_ptr<DurableFolder> folder_;
  Options options_;
  std::vector<File> files_;  ///< the last one is written
  JournalPlace place_;       ///< its end
  std::string placeName_;    ///< the file that this end is in
  JournalWriter::Waste waste_;
  std::uint64_t wastedLines_ = 0;
  bool lacksLineEnd_ = false;
  bool isEndKnown_ = false;
  std::vector<std::string> notes_;
  Receivers receivers_;
  /// Where fetches ended, since the next one usually goes on there; by number.
  std::map<std::uint64_t, std::pair<std::string, JournalPlace>> cursors_;
};

/// Whether somebody has begun a journal there, with a weighing or without.
bool IsJournal(DurableFolder& folder);
/// The files of a journal in their order, and the receivers that its folder knows.
std::vector<std::string> JournalFiles(DurableFolder& folder);
JournalStore::Receivers ReadReceivers(DurableFolder& folder);

}  // namespace tarn
