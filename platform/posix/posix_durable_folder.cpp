// A folder whose files survive a loss of power, on POSIX systems.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "platform/durable_folder.hpp"
#include "platform/posix/posix_replace_file.hpp"
#include "platform/posix/posix_support.hpp"

namespace tarn {
namespace {

[[noreturn]] void ThrowFolderError(ErrorNumber number, const std::string& what,
                                   const std::string& path) {
  ThrowError(number, what + " " + path, errno);
}

class PosixDurableFolder final : public DurableFolder {
 public:
  PosixDurableFolder(std::string path, FolderUse use) : path_(std::move(path)) {
    std::error_code error;
    if (use == FolderUse::Write) std::filesystem::create_directory(path_, error);
    if (!std::filesystem::is_directory(path_, error)) {
      throw AutomationError(ErrorNumber::PathFileAccess,
                            path_ + " is no folder" + (error ? ": " + error.message() : ""));
    }
    if (use == FolderUse::Write) Lock();
  }

  bool IsWritten() override {
    if (lock_) return true;
    const OwnedFd lock = OpenUnblocked(Path(kLockName), O_RDONLY);
    struct flock whole = WholeFile();
    return lock && ::fcntl(lock.Get(), F_OFD_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
  }

  std::vector<std::string> Names() override {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(path_, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
      std::error_code ignored;
      if (entry->is_regular_file(ignored)) names.push_back(entry->path().filename().string());
    }
    if (error) {
      ThrowError(CommonErrorNumber(error.value()), "The folder " + path_ + " cannot be read",
                 error.value());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string Read(const std::string& name, std::uint64_t offset, std::size_t most) override {
    return ReadFrom(OpenForReading(name), name, offset, most);
  }

  std::string ReadBack(const std::string& name, std::uint64_t offset, std::size_t most) override {
    // Only whole pages leave the system's memory.
    constexpr std::uint64_t kPage = 4096;
    const OwnedFd file = OpenForReading(name);
    ::posix_fadvise(file.Get(), static_cast<off_t>(offset / kPage * kPage), 0, POSIX_FADV_DONTNEED);
    return ReadFrom(file, name, offset, most);
  }

  void Append(const std::string& name, std::string_view bytes) override {
    Open(name);
    struct stat state {};
    if (::fstat(file_.Get(), &state) != 0) Fail("Cannot write", name);
    if (state.st_nlink == 0) {
      Forget();
      throw AutomationError(ErrorNumber::DeviceInputOutput, Path(name) + " has been removed");
    }
    std::size_t written = 0;
    if (!WriteAll(file_.Get(), bytes, written)) Fail("Cannot write", name);
  }

  void Store(const std::string& name) override {
    Open(name);
    if (Retry([this] { return ::fdatasync(file_.Get()); }) != 0) Fail("Cannot store", name);
  }

  void Replace(const std::string& name, std::string_view bytes) override {
    Forget();
    ReplaceFile(Path(name), bytes, false);
  }

  void Remove(const std::string& name) override {
    Forget();
    if (::unlink(Path(name).c_str()) != 0) Fail("Cannot remove", name);
  }

 private:
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

  OwnedFd OpenForReading(const std::string& name) {
    OwnedFd file = OpenUnblocked(Path(name), O_RDONLY);
    if (file) return file;
    const auto number = errno == ENOENT ? ErrorNumber::FileNotFound : CommonErrorNumber(errno);
    ThrowFolderError(number, "Cannot read", Path(name));
  }

  std::string ReadFrom(const OwnedFd& file, const std::string& name, std::uint64_t offset,
                       std::size_t most) {
    struct stat state {};
    if (::fstat(file.Get(), &state) != 0) Fail("Cannot read", name);
    const auto size = static_cast<std::uint64_t>(std::max<off_t>(state.st_size, 0));
    std::string bytes(offset < size ? std::min<std::uint64_t>(most, size - offset) : 0, '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
      const auto count = Retry([&] {
        return ::pread(file.Get(), &bytes[done], bytes.size() - done,
                       static_cast<off_t>(offset + done));
      });
      if (count < 0) Fail("Cannot read", name);
      if (count == 0) break;
      done += static_cast<std::size_t>(count);
    }
    bytes.resize(done);
    return bytes;
  }

  /// The lock goes with the process, however it ends.
  void Lock() {
    const std::string name = Path(kLockName);
    lock_ = OpenUnblocked(name, O_RDWR | O_CREAT);
    if (!lock_) ThrowFolderError(WriteErrorNumber(errno), "Cannot open", name);
    struct flock whole = WholeFile();
    if (Retry([&] { return ::fcntl(lock_.Get(), F_OFD_SETLK, &whole); }) == 0) return;
    if (errno != EAGAIN && errno != EACCES)
      ThrowFolderError(CommonErrorNumber(errno), "Cannot lock", name);
    throw AutomationError(ErrorNumber::PermissionDenied,
                          "another program writes to the folder " + path_ + " already");
  }

  static struct flock WholeFile() {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return whole;
  }

  /// The file that is appended to stays open, until anything goes wrong: a disk that comes back
  /// may be another one.
  void Open(const std::string& name) {
    if (file_ && openName_ == name) return;
    file_ = OpenUnblocked(Path(name), O_WRONLY | O_APPEND);
    if (!file_) Fail("Cannot write", name);
    openName_ = name;
  }
  void Forget() { file_.Reset(); }

  [[noreturn]] void Fail(const char* what, const std::string& name) {
    const int error = errno;
    Forget();
    ThrowError(WriteErrorNumber(error), std::string(what) + " " + Path(name), error);
  }

  std::string path_;
  OwnedFd lock_;
  OwnedFd file_;
  std::string openName_;
};

}  // namespace

std::unique_ptr<DurableFolder> OpenDurableFolder(const std::string& path, FolderUse use) {
  return std::make_unique<PosixDurableFolder>(path, use);
}

}  // namespace tarn
