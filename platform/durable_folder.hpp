// A folder whose files must survive a loss of power: what is stored is on the disk, and is read
// back from there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// Every call may wait for the disk, for minutes if the disk does: not for the loop's thread. One
/// thread at a time. Names are those of plain files in the folder, in UTF-8.
/// Errors of all: 61 the disk is full, 70 no permission or read-only, 57 another failure; 53 where
/// a file is read that is not there, 75 where one cannot be made.
class DurableFolder {
 public:
  /// The file by which a writer keeps others out.
  static constexpr const char* kLockName = "lock";

  DurableFolder() = default;
  DurableFolder(const DurableFolder&) = delete;
  DurableFolder& operator=(const DurableFolder&) = delete;
  virtual ~DurableFolder() = default;

  /// Whether a writer has the folder open now.
  virtual bool IsWritten() = 0;
  /// The plain files, in the order of their names.
  virtual std::vector<std::string> Names() = 0;
  /// As many bytes as there are, `most` at most.
  virtual std::string Read(const std::string& name, std::uint64_t offset, std::size_t most) = 0;
  /// The same from the disk itself, not from the system's memory, where the system can do that.
  virtual std::string ReadBack(const std::string& name, std::uint64_t offset, std::size_t most) = 0;
  /// Appends to a file that is there. If it fails, some of the bytes may have been written.
  virtual void Append(const std::string& name, std::string_view bytes) = 0;
  /// Returns when the disk has what was appended.
  virtual void Store(const std::string& name) = 0;
  /// Puts a whole new file in the place of the old one, or of none: a loss of power leaves the
  /// old one or the new one, and the new one when it has returned.
  virtual void Replace(const std::string& name, std::string_view bytes) = 0;
  virtual void Remove(const std::string& name) = 0;
};

enum class FolderUse {
  Read,
  Write,  ///< makes the folder, not the one above it, if it is missing, and keeps other writers out
          ///< while it lives
};

/// Errors: 70 another program writes there, 75 there is no such folder, and the above.
std::unique_ptr<DurableFolder> OpenDurableFolder(const std::string& path, FolderUse use);

}  // namespace tarn
