#include "platform/posix/posix_files.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "platform/block_stream.hpp"
#include "platform/posix/posix_replace_file.hpp"
#include "platform/posix/posix_support.hpp"

namespace tarn {
namespace {

class PosixAppendedFile final : public BlockStream::File {
 public:
  PosixAppendedFile(OwnedFd file, std::string name)
      : file_(std::move(file)), name_(std::move(name)) {}

  void Append(std::string& bytes) override {
    std::size_t written = 0;
    const bool done = WriteAll(file_.Get(), bytes, written);
    const int error = errno;
    bytes.erase(0, written);
    if (!done)
      ThrowError(CommonErrorNumber(error), "The file " + name_ + " cannot be written", error);
  }

  /// A pipe or a device stores nothing, which is not a failure.
  bool Store() noexcept override {
    const int result = Retry([this] { return ::fdatasync(file_.Get()); });
    return result == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
  }

 private:
  OwnedFd file_;
  std::string name_;
};

}  // namespace

std::unique_ptr<TextStream> PosixFiles::OpenForAppending(const std::string& name) {
  OwnedFd file = OpenUnblocked(name, O_WRONLY | O_APPEND | O_CREAT);
  if (!file) ThrowError(WriteErrorNumber(errno), "The file " + name + " cannot be opened", errno);
  return std::make_unique<BlockStream>(std::make_unique<PosixAppendedFile>(std::move(file), name),
                                       name, locale_);
}

std::string PosixFiles::Read(const std::string& name, std::size_t maxBytes) {
  return ReadFile(name, maxBytes);
}

void PosixFiles::WriteAtBeginning(const std::string& name, std::string_view bytes) {
  if (const std::string note = ReplaceFile(name, bytes, true); !note.empty()) trace_(note);
}

std::string PosixFiles::AbsoluteName(const std::string& name) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(name, error);
  return error ? name : absolute.string();
}

}  // namespace tarn
