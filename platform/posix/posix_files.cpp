#include "platform/posix/posix_files.hpp"

#include <fcntl.h>

#include <filesystem>

#include "platform/posix/posix_replace_file.hpp"
#include "platform/posix/posix_support.hpp"

namespace tarn {
namespace {

constexpr std::size_t kBlock = 4096;

class PosixTextStream final : public TextStream {
 public:
  PosixTextStream(OwnedFd file, std::string name, const UserLocale& locale)
      : file_(std::move(file)), name_(std::move(name)), locale_(locale) {}

  ~PosixTextStream() override {
    try {
      Close();
    } catch (const AutomationError&) {
      // A caller that needs to know of a failure closes the stream itself.
    }
  }

  void WriteLine(std::string_view text) override {
    if (!file_) ThrowObjectNotSet("The text stream is closed");
    // A line is taken whole or, with the error, not at all; so a disk that stays full for a while
    // costs neither memory nor half a line.
    const std::string line = locale_.ToBytes(text) + "\r\n";
    if (gathered_.size() + line.size() > kBlock) WriteGathered(file_);
    gathered_ += line;
  }

  void Close() override {
    if (!file_) return;
    const OwnedFd file = std::move(file_);
    WriteGathered(file);
  }

 private:
  void WriteGathered(const OwnedFd& file) {
    std::size_t written = 0;
    const bool done = WriteAll(file.Get(), gathered_, written);
    const int error = errno;
    gathered_.erase(0, written);
    if (!done)
      ThrowError(CommonErrorNumber(error), "The file " + name_ + " cannot be written", error);
  }

  OwnedFd file_;
  std::string name_;
  const UserLocale& locale_;
  std::string gathered_;
};

}  // namespace

std::unique_ptr<TextStream> PosixFiles::OpenForAppending(const std::string& name) {
  OwnedFd file = OpenUnblocked(name, O_WRONLY | O_APPEND | O_CREAT);
  if (!file) ThrowError(WriteErrorNumber(errno), "The file " + name + " cannot be opened", errno);
  return std::make_unique<PosixTextStream>(std::move(file), name, locale_);
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
