#include "outlets/journal/journal_store.hpp"

#include <algorithm>
#include <charconv>
#include <exception>

#include "base/automation_error.hpp"

namespace tarn {
namespace {

constexpr std::size_t kPiece = 64U << 10U;
constexpr std::size_t kLongestReceivers = 1U << 20U;
constexpr std::size_t kMostCursors = 16;
constexpr const char* kReceiversName = "receivers.txt";
/// A first line is shorter, so what a file follows stands there.
constexpr std::size_t kFirstBytes = 512;

/// What the first line of a file says it follows.
std::optional<std::uint64_t> NumberBefore(DurableFolder& folder, const std::string& name) {
  const std::string bytes = folder.Read(name, 0, kFirstBytes);
  JournalReader reader(DayOfJournalFile(name).value_or(""), {}, false, {});
  reader.Take(std::string_view(bytes).substr(0, bytes.find('\n') + 1));
  if (!reader.Place().begun) return std::nullopt;
  return reader.Place().end.number;
}

/// Somebody may have taken an old file away.
std::string ReadIfThere(DurableFolder& folder, const std::string& name, std::uint64_t offset,
                        std::size_t most) {
  try {
    return folder.Read(name, offset, most);
  } catch (const AutomationError& error) {
    if (error.Number() == ErrorNumber::FileNotFound) return {};
    throw;
  }
}

std::string ReceiversText(const JournalStore::Receivers& receivers) {
  std::string text;
  for (const auto& [name, number] : receivers) text += std::to_string(number) + "\t" + name + "\n";
  return text;
}

}  // namespace

bool IsJournal(DurableFolder& folder) {
  const std::vector<std::string> names = folder.Names();
  return std::any_of(names.begin(), names.end(), [](const std::string& name) {
    return name == DurableFolder::kLockName || DayOfJournalFile(name);
  });
}

std::vector<std::string> JournalFiles(DurableFolder& folder) {
  std::vector<std::string> names = folder.Names();
  std::erase_if(names, [](const std::string& name) { return !DayOfJournalFile(name); });
  return names;
}

JournalStore::Receivers ReadReceivers(DurableFolder& folder) {
  JournalStore::Receivers receivers;
  const std::string bytes = ReadIfThere(folder, kReceiversName, 0, kLongestReceivers);
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const auto end = std::min(rest.find('\n'), rest.size() - 1);
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    std::uint64_t number = 0;
    const auto tab = std::min(line.find('\t'), line.size());
    const auto parsed = std::from_chars(line.data(), line.data() + tab, number);
    if (parsed.ec == std::errc() && parsed.ptr == line.data() + tab && tab < line.size()) {
      receivers[std::string(line.substr(tab + 1))] = number;
    }
  }
  return receivers;
}

JournalStore::JournalStore(std::unique_ptr<DurableFolder> folder, Options options)
    : folder_(std::move(folder)), options_(std::move(options)) {
  Open();
  try {
    Mend();
  } catch (const AutomationError& error) {
    isEndKnown_ = false;
    notes_.push_back(std::string("the end of the journal is not marked yet: ") + error.what());
  }
  RemoveOldFiles();
}

void JournalStore::ListFiles() {
  // While the disk cannot be read, those that are known stay: a fetch would find nothing, and its
  // reader would count as lost what is there.
  std::vector<File> files;
  for (const std::string& name : JournalFiles(*folder_)) {
    files.push_back({name, NumberBefore(*folder_, name)});
  }
  files_ = std::move(files);
}

/// Reads a file from a place to its end; the reader is finished then.
JournalReader JournalStore::ReadThrough(const File& file, const JournalPlace& from, bool isKnown,
                                        JournalReader::Handlers handlers) {
  JournalReader reader(DayOfJournalFile(file.name).value_or(""), from, isKnown,
                       std::move(handlers));
  std::uint64_t offset = from.offset;
  while (true) {
    // Once at the beginning is enough to have everything behind it from the disk.
    const std::string bytes = offset == from.offset ? folder_->ReadBack(file.name, offset, kPiece)
                                                    : folder_->Read(file.name, offset, kPiece);
    if (bytes.empty()) break;
    reader.Take(bytes);
    offset += bytes.size();
  }
  reader.Finish();
  return reader;
}

void JournalStore::TakeEnd(const JournalReader& reader, const std::string& name) {
  place_ = reader.Place();
  placeName_ = name;
  waste_ = reader.Waste();
  wastedLines_ = reader.WastedLines();
  lacksLineEnd_ = reader.LacksLineEnd();
  isEndKnown_ = true;
}

void JournalStore::Open() {
  receivers_ = ReadReceivers(*folder_);
  ListFiles();
  if (files_.empty()) {
    for (const auto& [name, number] : receivers_)
      place_.end.number = std::max(place_.end.number, number);
    isEndKnown_ = true;
    return;
  }
  // A file that was torn before its first line was whole says nothing of what it follows.
  JournalPlace from;
  bool isKnown = files_.back().before.has_value();
  for (std::size_t i = files_.size() - 1; i-- > 0 && !isKnown;) {
    const JournalReader earlier = ReadThrough(files_[i], {}, false, {});
    isKnown = earlier.Place().begun;
    if (isKnown) from.end = earlier.Place().end;
  }
  isKnown = isKnown && !files_.back().before;
  const JournalReader reader = ReadThrough(files_.back(), from, isKnown, {});
  if (const auto& problem = reader.FirstProblem()) {
    notes_.push_back("the journal's file " + files_.back().name + ", line " +
                     std::to_string(problem->line) + ": " + problem->words);
  }
  TakeEnd(reader, files_.back().name);
}

/// Finds where the journal ends on the disk after a failure, and returns the weighings that are
/// there behind the end that was known.
std::vector<Weighing> JournalStore::FindEnd() {
  ListFiles();
  std::vector<Weighing> found;
  if (files_.empty()) {
    if (!placeName_.empty()) {
      throw AutomationError(ErrorNumber::DeviceInputOutput, "the files of the journal are gone");
    }
    isEndKnown_ = true;
    return found;
  }
  // A file that the failed attempt began follows the known end.
  const std::string name = files_.back().name;
  const bool isNew = name != placeName_;
  const JournalPlace from = isNew ? JournalPlace{.end = place_.end} : place_;
  folder_->Store(name);
  TakeEnd(ReadThrough(files_.back(), from, true,
                      {.weighing = [&](const Weighing& w) { found.push_back(w); }}),
          name);
  return found;
}

/// Marks what the journal's end does not account for: bytes that are no line, and numbers that
/// somebody got although no line has them.
void JournalStore::Mend() {
  if (files_.empty()) return;
  std::uint64_t spent = place_.end.number + wastedLines_;
  for (const auto& [name, number] : receivers_) spent = std::max(spent, number);
  if (waste_.size == 0 && spent == place_.end.number && place_.begun && !lacksLineEnd_) return;
  JournalWriter writer(place_.end);
  if (lacksLineEnd_) writer.EndLine();
  const WallTime now = options_.clock();
  if (waste_.size > 0 || spent > place_.end.number) writer.Mark(waste_, spent, !place_.begun, now);
  if (!place_.begun) {
    writer.Begin(*DayOfJournalFile(files_.back().name), now);
    files_.back().before = spent;
  }
  WriteThrough(writer);
}

/// The end of the journal moves on when the disk has it all.
void JournalStore::WriteThrough(const JournalWriter& writer) {
  const std::string& name = files_.back().name;
  const std::uint64_t start = place_.offset + waste_.size;
  const std::string& text = writer.Text();
  folder_->Append(name, text);
  folder_->Store(name);
  if (folder_->ReadBack(name, start, text.size() + 1) != text) {
    throw AutomationError(ErrorNumber::DeviceInputOutput,
                          "the disk gives back of " + name + " what was not written");
  }
  place_.end = writer.End();
  place_.offset = start + text.size();
  place_.line +=
      static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n')) + wastedLines_;
  place_.begun = true;
  waste_ = {};
  wastedLines_ = 0;
  lacksLineEnd_ = false;
}

void JournalStore::BeginFile(const std::string& day) {
  const std::string name = JournalFileName(day);
  JournalWriter writer(place_.end);
  writer.Begin(day, options_.clock());
  folder_->Replace(name, writer.Text());
  if (folder_->ReadBack(name, 0, writer.Text().size() + 1) != writer.Text()) {
    throw AutomationError(ErrorNumber::DeviceInputOutput,
                          "the disk gives back of " + name + " what was not written");
  }
  files_.push_back({name, place_.end.number});
  placeName_ = name;
  place_ = {.end = writer.End(), .offset = writer.Text().size(), .line = 2, .begun = true};
  RemoveOldFiles();
}

JournalStore::Result JournalStore::Append(std::vector<Weighing> batch) {
  Result result;
  std::size_t done = 0;  // of the batch
  bool isWriting = false;
  try {
    if (!isEndKnown_) result.kept = FindEnd();
    Mend();
    while (done < batch.size()) {
      // A clock that went back changes nothing: the newest file goes on.
      const std::string day = DayOf(batch[done].time);
      if (files_.empty() || *DayOfJournalFile(files_.back().name) < day) BeginFile(day);
      const std::string present = *DayOfJournalFile(files_.back().name);
      std::size_t end = done + 1;
      while (end < batch.size() && DayOf(batch[end].time) <= present) ++end;
      isWriting = true;
      Write(batch, done, end, result);
      isWriting = false;
      done = end;
    }
    return result;
  } catch (const std::exception& error) {
    result.reason = error.what();
  }
  isEndKnown_ = false;
  try {
    for (Weighing& weighing : FindEnd()) {
      result.kept.push_back(std::move(weighing));
      if (isWriting) ++done;
    }
    Mend();
  } catch (const std::exception&) {
    isEndKnown_ = false;
  }
  result.refused = batch.size() - std::min(done, batch.size());
  return result;
}

void JournalStore::Write(std::vector<Weighing>& batch, std::size_t first, std::size_t end,
                         Result& result) {
  JournalWriter writer(place_.end);
  for (std::size_t i = first; i < end; ++i) writer.Add(batch[i]);
  WriteThrough(writer);
  const auto at = [&](std::size_t i) { return batch.begin() + static_cast<std::ptrdiff_t>(i); };
  result.kept.insert(result.kept.end(), at(first), at(end));
}

std::vector<Weighing> JournalStore::Fetch(std::uint64_t after, std::size_t most) {
  std::vector<Weighing> found;
  most = std::min(most, kMostFetched);
  if (files_.empty() || most == 0 || after >= place_.end.number) return found;
  std::size_t index = 0;
  for (std::size_t i = 0; i < files_.size(); ++i) {
    if (files_[i].before && *files_[i].before <= after) index = i;
  }
  JournalPlace from;
  const auto cursor = cursors_.find(after);
  if (cursor != cursors_.end()) {
    const auto& name = cursor->second.first;
    const auto file =
        std::find_if(files_.begin(), files_.end(), [&](const File& f) { return f.name == name; });
    if (file != files_.end()) {
      index = static_cast<std::size_t>(file - files_.begin());
      from = cursor->second.second;
    }
    cursors_.erase(cursor);
  }
  for (; index < files_.size() && found.size() < most; ++index, from = {}) {
    const File& file = files_[index];
    // What stands behind the end of the newest file is nobody's yet.
    const bool isNewest = index + 1 == files_.size();
    const std::uint64_t limit = isNewest ? place_.offset : ~std::uint64_t{0};
    std::optional<JournalPlace> place;
    const JournalReader* current = nullptr;
    JournalReader reader(*DayOfJournalFile(file.name), from, from.begun,
                         {.weighing = [&](const Weighing& weighing) {
                           if (weighing.number <= after || found.size() >= most) return;
                           found.push_back(weighing);
                           if (found.size() == most) place = current->Place();
                         }});
    current = &reader;
    for (std::uint64_t offset = from.offset; offset < limit && !place;) {
      const auto piece = std::min<std::uint64_t>(kPiece, limit - offset);
      const std::string bytes = ReadIfThere(*folder_, file.name, offset, piece);
      if (bytes.empty()) break;
      reader.Take(bytes);
      offset += bytes.size();
    }
    if (place) {
      if (cursors_.size() >= kMostCursors) cursors_.erase(cursors_.begin());
      cursors_[found.back().number] = {file.name, *place};
    }
  }
  return found;
}

void JournalStore::Acknowledge(Receivers receivers) {
  folder_->Replace(kReceiversName, ReceiversText(receivers));
  receivers_ = std::move(receivers);
  RemoveOldFiles();
}

/// The days are those that have files, since a clock that jumps ahead must not make every file an
/// old one.
void JournalStore::RemoveOldFiles() {
  if (options_.days == 0) return;
  try {
    while (files_.size() > options_.days) {
      const auto& last = files_[1].before;  // what the oldest one ends with
      const bool isNeeded = std::any_of(receivers_.begin(), receivers_.end(),
                                        [&](const auto& r) { return !last || r.second < *last; });
      if (isNeeded) return;
      folder_->Remove(files_.front().name);
      files_.erase(files_.begin());
    }
  } catch (const AutomationError& error) {
    notes_.push_back(std::string("an old file of the journal stays: ") + error.what());
  }
}

}  // namespace tarn
