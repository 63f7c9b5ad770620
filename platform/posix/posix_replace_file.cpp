#include "platform/posix/posix_replace_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <random>

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

bool GetPlainState(const OwnedFd& file, struct stat& state) {
  return ::fstat(file.Get(), &state) == 0 && S_ISREG(state.st_mode);
}

/// A file that is to take the place of another. It is removed again unless that succeeds.
class Replacement {
 public:
  /// Has no file if none can be made beside the target; Error says why.
  explicit Replacement(const std::string& target) : target_(target) {
    // A random name, since two processes in two containers may have the same number.
    std::random_device random;
    do {
      name_ = target + "." + std::to_string(random()) + ".tmp";
      file_ = OpenUnblocked(name_, O_WRONLY | O_CREAT | O_EXCL);
      error_ = file_ ? 0 : errno;
    } while (error_ == EEXIST);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (file_) ::unlink(name_.c_str());
  }

  int Error() const { return error_; }

  void Write(std::string_view bytes) {
    std::size_t written = 0;
    if (!WriteAll(file_.Get(), bytes, written)) ThrowWriteError(target_, errno);
  }

  /// Gives the new file the owner, the group and the mode of the old one. False with errno if that
  /// is not permitted: only the super-user may give files away, or give them to a group that he is
  /// not a member of.
  bool TakeOver(const struct stat& old) {
    struct stat mine {};
    if (::fstat(file_.Get(), &mine) < 0) return false;
    const bool isSame = mine.st_uid == old.st_uid && mine.st_gid == old.st_gid;
    if (!isSame && ::fchown(file_.Get(), old.st_uid, old.st_gid) < 0) {
      const int error = errno;
      ::fchmod(file_.Get(), old.st_mode & S_IRWXU);  // nobody else's while it is there
      errno = error;
      return false;
    }
    return ::fchmod(file_.Get(), old.st_mode & 07777U) == 0;
  }

  /// False with errno where something is mounted in the target's place, or its folder keeps it.
  bool PutInPlace() {
    if (::rename(name_.c_str(), target_.c_str()) < 0) {
      if (errno == EBUSY || errno == EXDEV || errno == EPERM || errno == EACCES) return false;
      ThrowWriteError(target_, errno);
    }
    file_.Reset();
    // The rename itself is on the disk when the folder is. It has happened either way.
    const std::string folder = fs::path(target_).parent_path().string();
    const OwnedFd directory(
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) ::fsync(directory.Get());
    return true;
  }

  void Flush() {
    if (::fsync(file_.Get()) < 0) ThrowWriteError(target_, errno);
  }

  /// The whole new file stays beside the target; returns its name.
  const std::string& Keep() {
    file_.Reset();
    return name_;
  }

 private:
  std::string target_;
  std::string name_;
  int error_ = 0;
  OwnedFd file_;  ///< until it has taken the target's place
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

/// Shows that the disk is full before a file that is written in place is touched.
void ReserveSpace(int fd, off_t size, const std::string& name) {
  if (size == 0 || Retry([&] { return ::fallocate(fd, 0, 0, size); }) == 0) return;
  if (errno != EOPNOTSUPP && errno != ENOSYS) ThrowWriteError(name, errno);
}

}  // namespace

OwnedFd OpenUnblocked(const std::string& name, int access) {
  return OwnedFd(Retry(
      [&] { return ::open(name.c_str(), access | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666); }));
}

std::string ReadFile(const std::string& name, std::size_t maxBytes) {
  const OwnedFd file = OpenUnblocked(name, O_RDONLY);
  if (!file) {
    const bool missing = errno == ENOENT || errno == ENOTDIR;
    ThrowError(missing ? ErrorNumber::FileNotFound : CommonErrorNumber(errno),
               "The file " + name + " cannot be read", errno);
  }
  struct stat state {};
  if (!GetPlainState(file, state)) {
    throw AutomationError(ErrorNumber::DeviceInputOutput, name + " is not a plain file");
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

std::string ReplaceFile(const std::string& name, std::string_view bytes, bool keepTail) {
  const std::string target = FollowLinks(name);
  // Replacing a file needs no permission to write to it; opening it for writing checks that there
  // is one.
  const OwnedFd old = OpenUnblocked(target, O_RDWR);
  if (!old && errno != ENOENT) ThrowWriteError(name, errno);
  struct stat state {};
  if (old && !GetPlainState(old, state)) {
    throw AutomationError(ErrorNumber::PathFileAccess, name + " is not a plain file");
  }

  Replacement replacement(target);
  int reason = replacement.Error();
  const bool folderIsClosed = reason == EACCES || reason == EPERM || reason == EROFS;
  if (reason != 0 && !(old && folderIsClosed)) ThrowWriteError(name, reason);
  if (reason == 0) {
    if (old && !replacement.TakeOver(state)) reason = errno;
    replacement.Write(bytes);
    if (old && keepTail) CopyTail(old.Get(), bytes.size(), replacement);
    replacement.Flush();
    if (reason == 0) {
      if (replacement.PutInPlace()) return {};
      reason = errno;
      if (!old) ThrowWriteError(name, reason);
    }
  }

  const auto size = static_cast<off_t>(bytes.size());
  ReserveSpace(old.Get(), size, name);
  std::size_t written = 0;
  const bool done = WriteAll(old.Get(), bytes, written) &&
                    (keepTail || ::ftruncate(old.Get(), size) == 0) && ::fsync(old.Get()) == 0;
  if (!done) {
    const int error = errno;
    const std::string kept =
        replacement.Error() == 0 ? "; the new one is " + replacement.Keep() : "";
    ThrowError(WriteErrorNumber(error), "The file " + name + " is torn" + kept, error);
  }
  return name + " was written in place, it could not be replaced: " + ErrorText(reason);
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
