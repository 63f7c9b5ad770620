#include "platform/posix/posix_settings_store.hpp"

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include "base/number_text.hpp"
#include "platform/posix/posix_replace_file.hpp"
#include "platform/posix/posix_support.hpp"
#include "platform/program.hpp"

namespace tarn {
namespace {

constexpr std::size_t kMaxFile = 1U << 20U;
constexpr std::size_t kMaxLine = 64U << 10U;
constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

[[noreturn]] void ThrowStoreError(const std::string& what) {
  throw AutomationError(ErrorNumber::DeviceInputOutput, what);
}

std::string Quoted(std::string_view value) {
  std::string quoted = "\"";
  for (const char c : value) {
    if (c == '\n')
      quoted += "\\n";
    else if (c == '\r')
      quoted += "\\r";
    else if (c == '\\' || c == '"')
      (quoted += '\\') += c;
    else
      quoted += c;
  }
  return quoted + '"';
}

std::string WrittenValue(std::string_view value) {
  const bool plain = Trimmed(value) == value && value.find_first_of("\r\n") == value.npos &&
                     !value.starts_with('"');
  return plain ? std::string(value) : Quoted(value);
}

std::string ReadValue(std::string_view written) {
  if (written.size() < 2 || !written.starts_with('"') || !written.ends_with('"')) {
    return std::string(written);
  }
  written = written.substr(1, written.size() - 2);
  std::string value;
  for (std::size_t i = 0; i < written.size(); ++i) {
    const bool escaped = written[i] == '\\' && i + 1 < written.size();
    const char c = escaped ? written[++i] : written[i];
    value += escaped && c == 'n' ? '\n' : escaped && c == 'r' ? '\r' : c;
  }
  return value;
}

/// The lines of the file and where things are in them.
class IniText {
 public:
  explicit IniText(std::string_view text) {
    while (!text.empty()) {
      const auto end = text.find('\n');
      const std::string_view line = text.substr(0, end);
      Add(lines_.size(), std::string(line));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
  }

  std::optional<std::string> Get(std::string_view section, std::string_view key) const {
    const Place place = Find(section, key);
    if (!place.keyFound) return std::nullopt;
    return ReadValue(Trimmed(SplitLine(lines_[place.line])->value));
  }

  void Set(std::string_view section, std::string_view key, std::string_view value) {
    std::string line = std::string(key) + "=" + WrittenValue(value);
    const Place place = Find(section, key);
    if (place.keyFound) {
      lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(place.line));
      Add(place.line, std::move(line));
    } else if (place.sectionFound) {
      Add(place.line, std::move(line));
    } else {
      if (!lines_.empty()) lines_.emplace_back();
      Add(lines_.size(), "[" + std::string(section) + "]");
      Add(lines_.size(), std::move(line));
    }
  }

  std::string Text() const {
    std::string text;
    for (const std::string& line : lines_) (text += line) += '\n';
    return text;
  }

 private:
  /// Where a key is, or where it would go: behind the last line of its section that is not blank.
  struct Place {
    bool sectionFound = false;
    bool keyFound = false;
    std::size_t line = 0;
  };

  static bool IsSection(std::string_view line) { return Trimmed(line).starts_with('['); }
  static bool IsSection(std::string_view line, std::string_view section) {
    return EqualIgnoringCase(Trimmed(line), "[" + std::string(section) + "]");
  }
  static bool IsComment(std::string_view line) {
    const std::string_view trimmed = Trimmed(line);
    return trimmed.starts_with(';') || trimmed.starts_with('#');
  }
  struct Assignment {
    std::string_view key;
    std::string_view value;
  };
  static std::optional<Assignment> SplitLine(std::string_view line) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos || IsSection(line) || IsComment(line)) return std::nullopt;
    return Assignment{Trimmed(line.substr(0, equals)), line.substr(equals + 1)};
  }

  Place Find(std::string_view section, std::string_view key) const {
    Place place;
    bool inSection = false;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
      const std::string& line = lines_[i];
      if (IsSection(line)) inSection = IsSection(line, section);
      if (!inSection) continue;
      const auto assignment = SplitLine(line);
      if (assignment && EqualIgnoringCase(assignment->key, key)) return {true, true, i};
      place.sectionFound = true;
      if (!Trimmed(line).empty()) place.line = i + 1;
    }
    return place;
  }

  void Add(std::size_t position, std::string line) {
    if (line.size() > kMaxLine) ThrowStoreError("A line of the settings store is too long");
    lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(position), std::move(line));
  }

  std::vector<std::string> lines_;
};

IniText ReadStore(const std::string& fileName) {
  std::string text;
  try {
    text = ReadFile(fileName, kMaxFile + 1);
  } catch (const AutomationError& error) {
    if (error.Number() != ErrorNumber::FileNotFound) throw;
  }
  if (text.size() > kMaxFile) ThrowStoreError("The settings store " + fileName + " is too big");
  return IniText(text);
}

/// A name that would read back as something else must not get into the file.
void RequireName(std::string_view name, std::string_view excluded) {
  if (name.empty() || Trimmed(name) != name || name.find_first_of(excluded) != name.npos) {
    ThrowStoreError("The settings store cannot keep the name \"" + std::string(name) + "\"");
  }
}

void MakeFolderOf(const std::string& fileName) {
  const std::filesystem::path folder = std::filesystem::path(fileName).parent_path();
  if (folder.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) {
    ThrowError(CommonErrorNumber(error.value()),
               "The folder " + folder.string() + " cannot be made", error.value());
  }
}

/// One process at a time reads, changes and replaces the store. The store itself cannot be locked,
/// since each change makes another file of it.
class StoreLock {
 public:
  StoreLock(const std::string& storeName, std::chrono::milliseconds time)
      : end_(std::chrono::steady_clock::now() + time) {
    std::error_code ignored;
    const std::string store = std::filesystem::weakly_canonical(storeName, ignored).string();
    file_ = OpenUnblocked(store + ".lock", O_RDWR | O_CREAT);
    // In a folder where nothing can be made the store is written in place, and stays one file.
    if (!file_) file_ = OpenUnblocked(store, O_RDWR);
    if (!file_) return;  // what is wrong with the place shows when the store is written
    // The next process waits for a byte of the file that is only for that: otherwise a process that
    // writes key after key would take the lock again before the other one has looked.
    Take(kNext);
    Take(kStore);
    Set(kNext, F_UNLCK);
  }
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;
  ~StoreLock() = default;  // closing the descriptor releases the lock

 private:
  static constexpr off_t kStore = 0;  ///< the bytes that are locked
  static constexpr off_t kNext = 1;

  bool Set(off_t byte, short type) const {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return Retry([&] { return ::fcntl(file_.Get(), F_OFD_SETLK, &lock); }) == 0;
  }

  void Take(off_t byte) const {
    while (!Set(byte, F_WRLCK)) {
      if (errno != EAGAIN && errno != EACCES) return;  // a file system without locks
      if (std::chrono::steady_clock::now() >= end_) {
        throw AutomationError(ErrorNumber::PermissionDenied,
                              "Another program keeps the settings store locked");
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  OwnedFd file_;
  std::chrono::steady_clock::time_point end_;
};

}  // namespace

PosixSettingsStore::PosixSettingsStore(std::string fileName, TraceSink trace,
                                       std::chrono::milliseconds lockTime)
    : fileName_(fileName.empty() ? ProgramSettingsPlace("TarnSclServer") : std::move(fileName)),
      trace_(std::move(trace)),
      lockTime_(lockTime) {}

std::optional<std::string> PosixSettingsStore::Get(std::string_view section, std::string_view key) {
  return ReadStore(fileName_).Get(section, key);
}

void PosixSettingsStore::Set(std::string_view section, std::string_view key,
                             std::string_view value) {
  RequireName(section, "]\r\n");
  RequireName(key, "=[;#\r\n");
  MakeFolderOf(fileName_);
  const StoreLock lock(fileName_, lockTime_);
  IniText store = ReadStore(fileName_);
  store.Set(section, key, value);
  const std::string text = store.Text();
  if (text.size() > kMaxFile) ThrowStoreError("The settings store " + fileName_ + " is full");
  if (const std::string note = ReplaceFile(fileName_, text, false); !note.empty()) trace_(note);
}

}  // namespace tarn
