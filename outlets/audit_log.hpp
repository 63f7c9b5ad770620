// The record of who gave which command: a line each.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "outlets/scale_event.hpp"
#include "platform/host.hpp"
#include "platform/line_writer.hpp"

namespace tarn {

/// Lines go to a file, which is opened anew for each batch, so that it may be moved away meanwhile;
/// a separate thread writes them, since a file system may hang. Without a file they are traced.
class AuditLog {
 public:
  static constexpr std::size_t kMostWaiting = 1U << 20U;  ///< bytes for a file system that hangs
  static constexpr int kMostDenied = 60;                  ///< lines a minute

  /// `file` is empty for none. Throws std::runtime_error where it cannot be written.
  AuditLog(Host& host, WallClock clock, const std::string& file);
  AuditLog(const AuditLog&) = delete;
  AuditLog& operator=(const AuditLog&) = delete;
  /// Waits a moment for the file.
  ~AuditLog();

  struct Entry {
    std::string peer;
    int scale = 0;
    std::string command;
    std::string result;
  };
  void Add(const Entry& entry);
  /// For those who have no right to the command: they must not fill the disk.
  void AddDenied(const Entry& entry);

 private:
  void Write(std::string_view line);

  Host& host_;
  WallClock clock_;
  std::shared_ptr<AuditLog*> self_;  ///< for posted work, which may outlive this
  double minute_ = 0;                ///< when the present minute of denied commands began
  int denied_ = 0;                   ///< in it
  std::optional<LineWriter> writer_;
};

}  // namespace tarn
