// A settings file without a server: to show it, to change it, or to run one of its scales.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "outlets/scale_state.hpp"
#include "platform/host.hpp"
#include "scale/tarn_scale.hpp"
#include "server/scale_table.hpp"
#include "server/server_site.hpp"

namespace tarn::tool {

/// Throws Failure when the settings file is missing or cannot be read.
void RequireSettingsFile(Host& host, const std::string& name);

/// Throws UsageError for what is no number from 1 to 32.
int ScaleNumber(std::string_view text);
/// The numbers of lists such as "1,4". Throws UsageError.
std::set<int> ScaleNumbers(const std::vector<std::string>& lists);

/// The host outlives it. It opens no port unless its user runs a scale.
class ScaleFile {
 public:
  ScaleFile(Host& host, std::string name);
  ScaleFile(const ScaleFile&) = delete;
  ScaleFile& operator=(const ScaleFile&) = delete;
  ~ScaleFile();

  /// Throws Failure when the file is missing or cannot be read.
  void Load();
  /// Starts a new configuration when the file is missing. Throws Failure when it cannot be read.
  void LoadOrNew();
  /// Throws Failure when the file cannot be written, and when an entry could not be restored, since
  /// writing would destroy that entry.
  void Save() const;

  const std::string& Name() const { return name_; }
  /// Returns null for a slot whose entry could not be restored.
  std::shared_ptr<TarnScale> At(int number) const { return table_.At(number); }
  /// Throws Failure for such a slot.
  TarnScale& Scale(int number) const;
  /// Makes the scale a new one that nobody has set up, also one that could not be restored.
  void Clear(int number);
  /// Throws Failure when the other scale is set up already.
  void Copy(int from, int to);
  ServerSite& Site() { return *site_; }

 private:
  void RequireWhole() const;
  void Put(int number, const std::shared_ptr<TarnScale>& scale);
  std::string DamagedText(int number) const;

  Host& host_;
  std::string name_;
  std::shared_ptr<ServerSite> site_;
  ScaleTable table_;
};

}  // namespace tarn::tool
