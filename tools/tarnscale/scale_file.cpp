#include "tools/tarnscale/scale_file.hpp"

#include <cstdint>
#include <optional>
#include <utility>

#include "base/automation_error.hpp"
#include "base/number_text.hpp"
#include "base/persistable.hpp"
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

int ScaleNumber(std::string_view text) {
  if (text.empty()) throw UsageError("SCALE is missing: write 1 to " + std::to_string(kScaleCount));
  const auto number = LocaleNumber(text, ".");
  if (number && *number >= 1 && *number <= kScaleCount && *number == RoundHalfEven(*number))
    return static_cast<int>(*number);
  throw UsageError("'" + Printable(text) + "' is no scale number: write 1 to " +
                   std::to_string(kScaleCount));
}

std::set<int> ScaleNumbers(const std::vector<std::string>& lists) {
  std::set<int> scales;
  for (std::string_view rest : lists) {
    while (true) {
      const auto comma = rest.find(',');
      scales.insert(ScaleNumber(rest.substr(0, comma)));
      if (comma == rest.npos) break;
      rest.remove_prefix(comma + 1);
    }
  }
  return scales;
}

void RequireSettingsFile(Host& host, const std::string& name) {
  ReadThere(host, name);
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
  throw Failure(DamagedText(number) + " (or it comes from another version)");
}

std::string ScaleFile::DamagedText(int number) const {
  return "the settings file '" + Printable(name_) + "' is damaged: entry of scale " +
         std::to_string(number);
}

void ScaleFile::Clear(int number) {
  const auto scale = NewObject<TarnScale>(*site_, TarnScale::kClassName);
  scale->AliasName(NewAlias(number));
  Put(number, scale);
}

void ScaleFile::Copy(int from, int to) {
  const TarnScale& source = Scale(from);
  const auto present = At(to);
  if (!present || IsConfigured(*present, to)) {
    throw Failure(ScaleTitle(to, present ? present->AliasName() : "") +
                  " is set up already; remove it with: tarnscale delete " +
                  ShellWord(Printable(name_)) + " " + std::to_string(to));
  }
  PropertyBag bag;
  source.WriteProperties(bag);
  const auto copy = TarnScale::Create(site_);
  copy->ReadProperties(bag);
  if (copy->AliasName() == NewAlias(from)) copy->AliasName(NewAlias(to));
  Put(to, copy);
}

void ScaleFile::Put(int number, const std::shared_ptr<TarnScale>& scale) {
  const auto slot = static_cast<std::int16_t>(number);
  scale->ScaleNumber(slot);
  table_.Replace(slot, scale);
}

void ScaleFile::RequireWhole() const {
  for (int number = 1; number <= kScaleCount; ++number) {
    if (At(number)) continue;
    throw Failure(DamagedText(number) +
                  ", and writing the file would destroy it. Nothing was changed: use the version "
                  "that wrote the file, or give the entry up with: tarnscale delete " +
                  ShellWord(Printable(name_)) + " " + std::to_string(number));
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
