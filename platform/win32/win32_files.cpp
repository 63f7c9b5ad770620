#include "platform/win32/win32_files.hpp"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <random>
#include <utility>

#include "platform/block_stream.hpp"
#include "platform/win32/win32_error.hpp"
#include "platform/win32/win32_handle.hpp"
#include "platform/win32/win32_text.hpp"

namespace tarn {
namespace {

constexpr std::size_t kCopyBlock = 64U << 10U;
constexpr int kMoveTries = 25;
constexpr DWORD kMovePause = 20;  // milliseconds
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

ErrorNumber FileErrorNumber(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY:
    case ERROR_INVALID_DRIVE:
      return ErrorNumber::PathFileAccess;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_WRITE_PROTECT:
      return ErrorNumber::PermissionDenied;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
      return ErrorNumber::DiskFull;
    default:
      return ErrorNumber::DeviceInputOutput;
  }
}

/// Throws the code's error number if the operation documents it, else 57.
[[noreturn]] void ThrowFileError(const std::string& name, DWORD code,
                                 std::initializer_list<ErrorNumber> known) {
  const ErrorNumber number = FileErrorNumber(code);
  const bool isKnown = std::find(known.begin(), known.end(), number) != known.end();
  ThrowSystemError(isKnown ? number : ErrorNumber::DeviceInputOutput, "The file " + name, code);
}

bool IsFolder(const std::string& name) {
  const DWORD attributes = GetFileAttributesW(ToWide(name).c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// Throws the error of writing a file. The system reports a folder as "access denied", too.
[[noreturn]] void ThrowWriteError(const std::string& name, DWORD code = GetLastError()) {
  if (code == ERROR_ACCESS_DENIED && IsFolder(name)) code = ERROR_DIRECTORY;
  ThrowFileError(
      name, code,
      {ErrorNumber::PathFileAccess, ErrorNumber::PermissionDenied, ErrorNumber::DiskFull});
}

/// Writes as much as the disk takes; returns how much that was.
std::size_t WriteSome(HANDLE file, std::string_view bytes) {
  DWORD written = 0;
  const auto count = static_cast<DWORD>(std::min(bytes.size(), kCopyBlock));
  if (!WriteFile(file, bytes.data(), count, &written, nullptr)) return 0;
  if (written == 0 && count > 0) SetLastError(ERROR_DISK_FULL);
  return written;
}

void WriteWhole(HANDLE file, std::string_view bytes, const std::string& name) {
  while (!bytes.empty()) {
    const std::size_t written = WriteSome(file, bytes);
    if (written == 0) ThrowWriteError(name);
    bytes.remove_prefix(written);
  }
}

std::string ReadBlock(HANDLE file, std::size_t size, const std::string& name) {
  std::string block(std::min(size, kCopyBlock), '\0');
  DWORD count = 0;
  if (!ReadFile(file, block.data(), static_cast<DWORD>(block.size()), &count, nullptr)) {
    ThrowFileError(name, GetLastError(), {ErrorNumber::PermissionDenied});
  }
  block.resize(count);
  return block;
}

OwnedHandle OpenToRead(const std::string& name) {
  return OwnedHandle(CreateFileW(ToWide(name).c_str(), GENERIC_READ, kShareAll, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool IsMissing(DWORD code) {
  return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

class Win32AppendedFile final : public BlockStream::File {
 public:
  Win32AppendedFile(OwnedHandle file, std::string name)
      : file_(std::move(file)), name_(std::move(name)) {}

  void Append(std::string& bytes) override {
    while (!bytes.empty()) {
      const std::size_t written = WriteSome(file_.Get(), bytes);
      if (written == 0) ThrowFileError(name_, GetLastError(), {ErrorNumber::DiskFull});
      bytes.erase(0, written);
    }
  }

  /// A pipe or a device stores nothing, which is not a failure.
  bool Store() noexcept override {
    return FlushFileBuffers(file_.Get()) != 0 || GetFileType(file_.Get()) != FILE_TYPE_DISK;
  }

 private:
  OwnedHandle file_;
  std::string name_;
};

/// A file that is to take the place of another. It is removed again unless that succeeds.
class Replacement {
 public:
  explicit Replacement(const std::string& name)
      : name_(name),
        temporary_(ToWide(name + "." + std::to_string(std::random_device{}()) + ".tmp")),
        file_(CreateFileW(temporary_.c_str(), GENERIC_WRITE | WRITE_DAC, 0, nullptr, CREATE_NEW,
                          FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (!file_) ThrowWriteError(name_);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    file_.Reset();
    if (!taken_) DeleteFileW(temporary_.c_str());
  }

  void Write(std::string_view bytes) { WriteWhole(file_.Get(), bytes, name_); }

  /// Gives the new file the access list and the attributes of the old one.
  void TakeOver(HANDLE old) {
    DWORD size = 0;
    GetKernelObjectSecurity(old, DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::string rights(size, '\0');
    if (!GetKernelObjectSecurity(old, DACL_SECURITY_INFORMATION, rights.data(), size, &size) ||
        !SetKernelObjectSecurity(file_.Get(), DACL_SECURITY_INFORMATION, rights.data())) {
      if (GetLastError() != ERROR_NOT_SUPPORTED) ThrowWriteError(name_);  // no rights on this disk
    }
    BY_HANDLE_FILE_INFORMATION information{};
    constexpr DWORD kKept = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE |
                            FILE_ATTRIBUTE_NOT_CONTENT_INDEXED;
    if (!GetFileInformationByHandle(old, &information)) return;
    const DWORD attributes = information.dwFileAttributes & kKept;
    SetFileAttributesW(temporary_.c_str(), attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL);
  }

  void TakePlace() {
    if (!FlushFileBuffers(file_.Get())) ThrowWriteError(name_);
    file_.Reset();
    // A virus scanner or a backup holds a file for a moment after each change.
    for (int tries = 0; !Move(); ++tries) {
      const DWORD code = GetLastError();
      const bool isHeld = code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED;
      if (!isHeld || tries == kMoveTries || IsFolder(name_)) ThrowWriteError(name_, code);
      Sleep(kMovePause);
    }
    taken_ = true;
  }

 private:
  bool Move() const {
    return MoveFileExW(temporary_.c_str(), ToWide(name_).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
  }

  std::string name_;
  std::wstring temporary_;
  OwnedHandle file_;
  bool taken_ = false;
};

void CopyTail(HANDLE old, const std::string& name, std::size_t from, Replacement& replacement) {
  LARGE_INTEGER position;
  position.QuadPart = static_cast<LONGLONG>(from);
  if (!SetFilePointerEx(old, position, nullptr, FILE_BEGIN)) ThrowWriteError(name);
  for (;;) {
    const std::string block = ReadBlock(old, kCopyBlock, name);
    if (block.empty()) return;
    replacement.Write(block);
  }
}

}  // namespace

/// The full name has neither "." nor ".." in it, and that of a device or a share begins otherwise.
void Win32Files::RequirePlace(const std::string& name) {
  if (below_.empty()) return;
  const std::wstring folder = ToWide(below_ + '\\'), file = ToWide(AbsoluteName(name));
  if (_wcsnicmp(file.c_str(), folder.c_str(), folder.size()) == 0) return;
  throw AutomationError(ErrorNumber::PermissionDenied,
                        "The file " + name + " lies outside the folder " + below_);
}

std::unique_ptr<TextStream> Win32Files::OpenForAppending(const std::string& name) {
  RequirePlace(name);
  // Others may read the log while it is written, and move it away.
  OwnedHandle file(CreateFileW(ToWide(name).c_str(), FILE_APPEND_DATA, kShareAll, nullptr,
                               OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) ThrowWriteError(name);
  return std::make_unique<BlockStream>(std::make_unique<Win32AppendedFile>(std::move(file), name),
                                       name, locale_);
}

std::string Win32Files::Read(const std::string& name, std::size_t maxBytes) {
  RequirePlace(name);
  const OwnedHandle file = OpenToRead(name);
  if (!file) {
    const DWORD code = GetLastError();
    if (IsMissing(code)) ThrowSystemError(ErrorNumber::FileNotFound, "The file " + name, code);
    ThrowFileError(name, code, {ErrorNumber::PermissionDenied});
  }
  std::string bytes;
  while (bytes.size() < maxBytes) {
    const std::string block = ReadBlock(file.Get(), maxBytes - bytes.size(), name);
    if (block.empty()) break;
    bytes += block;
  }
  return bytes;
}

void Win32Files::WriteAtBeginning(const std::string& name, std::string_view bytes) {
  RequirePlace(name);
  OwnedHandle old = OpenToRead(name);
  const DWORD code = old ? 0 : GetLastError();
  if (!old && !IsMissing(code)) ThrowWriteError(name, code);
  Replacement replacement(name);
  replacement.Write(bytes);
  if (old) {
    CopyTail(old.Get(), name, bytes.size(), replacement);
    replacement.TakeOver(old.Get());
    old.Reset();  // or it could not be replaced
  }
  replacement.TakePlace();
}

std::string Win32Files::AbsoluteName(const std::string& name) {
  const std::wstring wide = ToWide(name);
  const DWORD size = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);  // the zero included
  std::wstring absolute(size, L'\0');
  absolute.resize(GetFullPathNameW(wide.c_str(), size, absolute.data(), nullptr));
  return absolute.empty() ? name : FromWide(absolute);
}

}  // namespace tarn
