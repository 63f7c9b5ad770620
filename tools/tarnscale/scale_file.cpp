#include "tools/tarnscale/scale_file.hpp"

#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "server/settings_file.hpp"
#include "tools/tarnscale/display_text.hpp"
#include "tools/tarnscale/errors.hpp"

namespace tarn::tool {
namespace {

/// Returns nothing when there is no such file.
std::optional<PropertyBag> ReadIfThere(Host& host, const std::string& name) {
  try {
    return ReadSettingsFile(host.Files(), name);
  } catch (const AutomationError& error) {
    if (error.Number() == ErrorNumber::FileNotFound) return std::nullopt;
    throw Failure("cannot read the settings file '" + Printable(name) + "': " + error.what());
  }
}

[[noreturn]] void FailMissing(const std::string& name) {
  const std::string shown = Printable(name);
  throw Failure("no settings file '" + shown + "': create one with: tarnscale set " +
                ShellWord(shown) +
                " 1 alias=\"Line 1\" connection=serial port=1 protocol=continuous enabled=yes");
}

PropertyBag ReadThere(Host& host, const std::string& name) {
  auto bag = ReadIfThere(host, name);
  if (!bag) FailMissing(name);
  return *std::move(bag);
}

}  // namespace

void RequireSettingsFile(Host& host, const std::string& name) {
  ReadThere(host, name);
}

bool IsConfigured(const TarnScale& scale, int number) {
  const std::string& alias = scale.AliasName();
  const bool isNamed = alias != "Scale x" && alias != "Scale" + std::to_string(number);
  const auto connection = scale.Connection();
  const auto protocol = scale.Protocol();
  return isNamed || !scale.Disabled() || scale.UpdateRate() != 10 ||
         scale.ActivityTimeoutTime() != 0 ||
         (connection && connection->Ctype() != ConnectionType::none) ||
         (protocol && protocol->pType() != ProtocolType::NoProtType);
}

ScaleFile::ScaleFile(Host& host, std::string name)
    : host_(host), name_(std::move(name)), site_(std::make_shared<ServerSite>(host)) {}

ScaleFile::~ScaleFile() {
  table_.Clear();
  site_->Close();
}

void ScaleFile::Load() {
  table_.Load(ReadThere(host_, name_), site_);
}

void ScaleFile::LoadOrNew() {
  if (const auto bag = ReadIfThere(host_, name_)) {
    table_.Load(*bag, site_);
  } else {
    table_.FillNew(site_);
  }
}

TarnScale& ScaleFile::Scale(int number) const {
  const auto scale = At(number);
  if (scale) return *scale;
  throw Failure("scale " + std::to_string(number) + " of '" + Printable(name_) +
                "' cannot be restored: its entry is damaged or comes from another version");
}

void ScaleFile::RequireWhole() const {
  for (int number = 1; number <= kScaleCount; ++number) {
    if (At(number)) continue;
    throw Failure("scale " + std::to_string(number) + " of '" + Printable(name_) +
                  "' cannot be restored, and writing the file would destroy its entry. Nothing was "
                  "changed: use the version that wrote the file, or start another file");
  }
}

void ScaleFile::Save() const {
  RequireWhole();
  try {
    WriteSettingsFile(host_.Files(), name_, table_.Save());
  } catch (const AutomationError& error) {
    throw Failure("cannot write the settings file '" + Printable(name_) + "': " + error.what());
  }
}

}  // namespace tarn::tool
