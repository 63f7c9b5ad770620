// A durable folder in memory, on a disk that is full, fails, or stores something else when the test
// says so.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/automation_error.hpp"
#include "platform/durable_folder.hpp"

namespace tarn {

/// The disk under the folder, which outlives it.
struct MemoryDisk {
  /// For who looks at a disk that a journal's thread uses.
  inline static std::mutex mutex;

  std::map<std::string, std::string> files;
  std::optional<std::size_t> space;  ///< bytes that it still takes
  bool failStore = false;
  bool lies = false;  ///< it stores other bytes than it took
};

class MemoryFolder final : public DurableFolder {
 public:
  explicit MemoryFolder(MemoryDisk& disk) : disk_(disk) {}

  bool IsWritten() override { return false; }
  std::vector<std::string> Names() override {
    const std::lock_guard lock(MemoryDisk::mutex);
    std::vector<std::string> names;
    for (const auto& [name, bytes] : disk_.files) names.push_back(name);
    return names;
  }
  std::string Read(const std::string& name, std::uint64_t offset, std::size_t most) override {
    const std::lock_guard lock(MemoryDisk::mutex);
    const auto file = disk_.files.find(name);
    if (file == disk_.files.end()) throw AutomationError(ErrorNumber::FileNotFound, "no " + name);
    return offset < file->second.size() ? file->second.substr(offset, most) : "";
  }
  std::string ReadBack(const std::string& name, std::uint64_t offset, std::size_t most) override {
    return Read(name, offset, most);
  }
  void Append(const std::string& name, std::string_view bytes) override {
    const std::lock_guard lock(MemoryDisk::mutex);
    disk_.files.at(name) += bytes.substr(0, Take(bytes));
    if (disk_.lies) disk_.files.at(name).rbegin()[5] ^= 1;
    if (disk_.space == 0) throw AutomationError(ErrorNumber::DiskFull, "the disk is full");
  }
  void Store(const std::string&) override {
    if (disk_.failStore) throw AutomationError(ErrorNumber::DeviceInputOutput, "broken");
  }
  void Replace(const std::string& name, std::string_view bytes) override {
    const std::lock_guard lock(MemoryDisk::mutex);
    if (disk_.space && *disk_.space < bytes.size())
      throw AutomationError(ErrorNumber::DiskFull, "the disk is full");
    Take(bytes);
    disk_.files[name] = bytes;
  }
  void Remove(const std::string& name) override {
    const std::lock_guard lock(MemoryDisk::mutex);
    disk_.files.erase(name);
  }

 private:
  std::size_t Take(std::string_view bytes) {
    if (!disk_.space) return bytes.size();
    const std::size_t taken = std::min(*disk_.space, bytes.size());
    *disk_.space -= taken;
    return taken;
  }

  MemoryDisk& disk_;
};

}  // namespace tarn
