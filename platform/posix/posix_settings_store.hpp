// The settings store as an INI file. People may edit it: comments, and sections and lines
// that it does not know, stay as they are.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/settings_store.hpp"

namespace tarn {

/// A value that has line ends, or blanks or quotation marks at its edges, is written in quotation
/// marks with \n \r \\ \" as escapes; any other value is written as it is.
/// Besides what the interface says: error 57 for a file over 1 MiB or a line over 64 KiB.
///
/// Set keeps other processes out by a lock on a file beside the store, whose name ends in ".lock"
/// and which stays, and waits at most `lockTime` for them (error 70).
class PosixSettingsStore final : public SettingsStore {
 public:
  using TraceSink = std::function<void(std::string_view)>;
  static constexpr std::chrono::milliseconds kLockTime{2000};

  /// An empty name means the place of the Automation server, below the user's configuration folder.
  PosixSettingsStore(std::string fileName, TraceSink trace,
                     std::chrono::milliseconds lockTime = kLockTime);

  std::optional<std::string> Get(std::string_view section, std::string_view key) override;
  void Set(std::string_view section, std::string_view key, std::string_view value) override;

 private:
  std::string fileName_;
  TraceSink trace_;
  std::chrono::milliseconds lockTime_;
};

}  // namespace tarn
