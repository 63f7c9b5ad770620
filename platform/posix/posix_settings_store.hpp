// The settings store as an INI file. People may edit it: comments, sections and lines that are
// nobody's stay as they are.
#pragma once

#include <string>

#include "platform/settings_store.hpp"

namespace tarn {

/// A value with line ends, with blanks or quotation marks at its edges stands in quotation marks,
/// where \n \r \\ \" are written so; any other value stands as it is.
/// Besides what the interface says: error 57 for a file over 1 MiB or a line over 64 KiB.
class PosixSettingsStore final : public SettingsStore {
 public:
  /// An empty name means the place of the Automation server, below the user's configuration folder.
  explicit PosixSettingsStore(std::string fileName);

  std::optional<std::string> Get(std::string_view section, std::string_view key) override;
  void Set(std::string_view section, std::string_view key, std::string_view value) override;

 private:
  std::string fileName_;
};

}  // namespace tarn
