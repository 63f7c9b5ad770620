// A settings file opened without a server: to look at, to change, to run a single scale of it.
#pragma once

#include <memory>
#include <string>

#include "platform/host.hpp"
#include "scale/tarn_scale.hpp"
#include "server/scale_table.hpp"
#include "server/server_site.hpp"

namespace tarn::tool {

/// Throws Failure, in words for the user, where the settings file is missing or cannot be read.
void RequireSettingsFile(Host& host, const std::string& name);

/// Whether anything of the scale differs from the scales of a new configuration.
bool IsConfigured(const TarnScale& scale, int number);

/// The host outlives it. No port opens unless somebody runs a scale.
class ScaleFile {
 public:
  ScaleFile(Host& host, std::string name);
  ScaleFile(const ScaleFile&) = delete;
  ScaleFile& operator=(const ScaleFile&) = delete;
  ~ScaleFile();

  /// Failure where the file is missing or cannot be read.
  void Load();
  /// A new configuration where the file is missing.
  void LoadOrNew();
  /// Failure where the file cannot be written, or where a slot is empty because its entry could not
  /// be restored: writing would destroy that entry.
  void Save() const;

  const std::string& Name() const { return name_; }
  /// Null for a slot whose entry could not be restored.
  std::shared_ptr<TarnScale> At(int number) const { return table_.At(number); }
  /// Failure for such a slot.
  TarnScale& Scale(int number) const;
  ServerSite& Site() { return *site_; }

 private:
  void RequireWhole() const;

  Host& host_;
  std::string name_;
  std::shared_ptr<ServerSite> site_;
  ScaleTable table_;
};

}  // namespace tarn::tool
