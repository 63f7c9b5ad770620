// A text stream over a file of the operating system, which is the same everywhere.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/line_writer.hpp"
#include "platform/text_stream.hpp"
#include "platform/user_locale.hpp"

namespace tarn {

/// While the disk takes nothing, what is gathered is kept and written with a later line; so a disk
/// that stays full for a while costs neither memory nor half a line.
///
/// How long a disk needs to store a line is up to the disk: a millisecond, or many seconds under
/// load. So that is done beside the loop, one request for all lines that have come by then. If it
/// fails, the next line fails once, since nobody else could hear of it.
class BlockStream final : public TextStream {
 public:
  /// The file of the system. Destroying it closes the file.
  class File {
   public:
    File() = default;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    virtual ~File() = default;

    /// Appends bytes and removes those that were written from the front. Throws when it cannot
    /// write the rest. Errors as TextStream's.
    virtual void Append(std::string& bytes) = 0;
    /// Has the disk store what was written; false if it cannot. On another thread; never throws.
    virtual bool Store() noexcept = 0;
  };

  BlockStream(std::unique_ptr<File> file, std::string name, const UserLocale& locale);
  ~BlockStream() override;

  void WriteLine(std::string_view text) override;
  void StoreEachLine() override;
  void Close() override;

 private:
  static constexpr std::size_t kBlock = 4096;

  /// Lives as long as a thread that hangs in the disk.
  struct Shared {
    std::unique_ptr<File> file;
    std::atomic<bool> notStored = false;
  };

  void WriteNow(std::size_t lineLength);

  std::shared_ptr<Shared> shared_;  ///< none once closed
  std::string name_;
  const UserLocale& locale_;
  std::string gathered_;
  std::optional<LineWriter> storing_;
};

}  // namespace tarn
