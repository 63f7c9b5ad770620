#include "platform/posix/posix_replace_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>

#include "platform/posix/posix_support.hpp"

namespace tarn {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kChunk = 64U << 10U;
constexpr int kMaxLinks = 40;

[[noreturn]] void ThrowWriteError(const std::string& name, int error) {
  ThrowError(WriteErrorNumber(error), "The file " + name + " cannot be written", error);
}

/// The file that a name means, symbolic links followed, whether it exists or not.
std::string FollowLinks(const std::string& name) {
  fs::path path(name);
  std::error_code error;
  for (int links = 0; fs::is_symlink(fs::symlink_status(path, error)); ++links) {
    if (links == kMaxLinks) ThrowWriteError(name, ELOOP);
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  return path.string();
}

/// The file that is to take the place of another. It goes again unless it does.
class Replacement {
 public:
  explicit Replacement(const std::string& target)
      : target_(target), name_(target + "." + std::to_string(::getpid()) + ".tmp") {
    ::unlink(name_.c_str());  // left behind by a process of this number that was killed
    file_.Reset(Retry(
        [&] { return ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); }));
    if (!file_) ThrowWriteError(target_, errno);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (!inPlace_) ::unlink(name_.c_str());
  }

  void Write(std::string_view bytes) {
    std::size_t written = 0;
    if (!WriteAll(file_.Get(), bytes, written)) ThrowWriteError(target_, errno);
  }

  /// Who may do what with the old file goes for the new one too.
  void TakeOver(const struct stat& old) {
    // Only the super-user may give files away; for anybody else the file is his own now.
    [[maybe_unused]] const int owner = ::fchown(file_.Get(), old.st_uid, old.st_gid);
    if (::fchmod(file_.Get(), old.st_mode & 07777U) < 0) ThrowWriteError(target_, errno);
  }

  void PutInPlace() {
    if (::fsync(file_.Get()) < 0 || file_.Close() < 0 ||
        ::rename(name_.c_str(), target_.c_str()) < 0) {
      ThrowWriteError(target_, errno);
    }
    inPlace_ = true;
    // The rename itself is on the disk when the folder is. It has happened either way.
    const std::string folder = fs::path(target_).parent_path().string();
    const OwnedFd directory(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) ::fsync(directory.Get());
  }

 private:
  std::string target_;
  std::string name_;
  OwnedFd file_;
  bool inPlace_ = false;
};

void CopyTail(int from, std::size_t start, Replacement& to) {
  std::array<char, kChunk> chunk;
  auto offset = static_cast<off_t>(start);
  for (;;) {
    const auto count = Retry([&] { return ::pread(from, chunk.data(), chunk.size(), offset); });
    if (count < 0) ThrowError(CommonErrorNumber(errno), "The old file cannot be read", errno);
    if (count == 0) return;
    to.Write({chunk.data(), static_cast<std::size_t>(count)});
    offset += count;
  }
}

}  // namespace

std::string ReadFile(const std::string& name, std::size_t maxBytes) {
  const OwnedFd file(Retry([&] { return ::open(name.c_str(), O_RDONLY | O_CLOEXEC); }));
  if (!file) {
    const bool missing = errno == ENOENT || errno == ENOTDIR;
    ThrowError(missing ? ErrorNumber::FileNotFound : CommonErrorNumber(errno),
               "The file " + name + " cannot be read", errno);
  }
  std::string bytes;
  std::array<char, kChunk> chunk;
  while (bytes.size() < maxBytes) {
    const std::size_t wanted = std::min(chunk.size(), maxBytes - bytes.size());
    const auto count = Retry([&] { return ::read(file.Get(), chunk.data(), wanted); });
    if (count < 0) {
      ThrowError(CommonErrorNumber(errno), "The file " + name + " cannot be read", errno);
    }
    if (count == 0) break;
    bytes.append(chunk.data(), static_cast<std::size_t>(count));
  }
  return bytes;
}

void ReplaceFile(const std::string& name, std::string_view bytes, bool keepTail) {
  const std::string target = FollowLinks(name);
  // Opening the old file for writing asks for the permission that replacing it would not need.
  const OwnedFd old(Retry([&] { return ::open(target.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC); }));
  if (!old && errno != ENOENT) ThrowWriteError(name, errno);
  struct stat state {};
  if (old && (::fstat(old.Get(), &state) < 0 || !S_ISREG(state.st_mode))) {
    throw AutomationError(ErrorNumber::PathFileAccess, name + " is not a plain file");
  }

  Replacement replacement(target);
  if (old) replacement.TakeOver(state);
  replacement.Write(bytes);
  if (old && keepTail) CopyTail(old.Get(), bytes.size(), replacement);
  replacement.PutInPlace();
}

bool WriteAll(int fd, std::string_view bytes, std::size_t& written) {
  written = 0;
  while (written < bytes.size()) {
    const auto count = Retry([&] { return ::write(fd, &bytes[written], bytes.size() - written); });
    if (count < 0) return false;
    written += static_cast<std::size_t>(count);
  }
  return true;
}

}  // namespace tarn
