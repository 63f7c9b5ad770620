#include "server/scale_table.hpp"

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

#include "base/automation_error.hpp"
#include "connections/serial_connection.hpp"
#include "platform/attempt.hpp"

namespace tarn {
namespace {

std::string Key(std::int16_t number) {
  return "Scale" + std::to_string(number);
}

/// Where a save writes the entry.
std::size_t Place(std::int16_t number) {
  return static_cast<std::size_t>(number - 1);
}

}  // namespace

std::shared_ptr<TarnScale> ScaleTable::At(std::int32_t number) const {
  if (number < 1 || number > kScaleCount) ThrowSubscriptOutOfRange();
  return scales_[static_cast<std::size_t>(number - 1)];
}

TarnScale& ScaleTable::Filled(std::int32_t number) const {
  const auto scale = At(number);
  if (!scale) ThrowObjectNotSet("There is no scale " + std::to_string(number));
  return *scale;
}

void ScaleTable::Replace(std::int16_t number, std::shared_ptr<TarnScale> scale) {
  // The slot changes first, so that clients already see the new table in the old scale's last
  // events.
  auto& slot = scales_[static_cast<std::size_t>(number - 1)];
  const auto old = std::exchange(slot, std::move(scale));
  if (!old) return;
  leaving_.push_back(old);
  old->Detach();
  leaving_.pop_back();
}

bool ScaleTable::Load(const PropertyBag& bag, const std::shared_ptr<ScaleSite>& site) {
  bool whole = bag.Count() == kScaleCount;
  std::string missing;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    Replace(number, nullptr);
    const std::string what =
        "The settings file is damaged: entry of scale " + std::to_string(number);
    whole &= Attempt(site->System(), what, [&] {
      if (!Holds(bag, number)) missing += " " + Key(number);
      auto scale = Restored(bag, number, *site);
      scale->ScaleNumber(number);
      Replace(number, std::move(scale));
    });
  }
  if (missing.empty()) return whole;
  site->System().Trace("Not in the settings file, so with their defaults:" + missing);
  return false;
}

std::shared_ptr<TarnScale> ScaleTable::Restored(const PropertyBag& bag, std::int16_t number,
                                                ScaleSite& site) {
  return ReadObject<TarnScale>(bag, Key(number), site, TarnScale::kClassName, Place(number));
}

bool ScaleTable::Holds(const PropertyBag& bag, std::int16_t number) {
  return bag.FindObject(Key(number), Place(number)) != nullptr;
}

void ScaleTable::FillNew(const std::shared_ptr<ScaleSite>& site) {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    auto scale = NewObject<TarnScale>(*site, TarnScale::kClassName);
    Replace(number, scale);
    scale->AliasName(Key(number));
    scale->ScaleNumber(number);
  }
}

PropertyBag ScaleTable::Save() const {
  PropertyBag bag;
  for (std::int16_t number = 1; number <= kScaleCount; ++number) {
    try {
      WriteObject(bag, Key(number), At(number), TarnScale::kClassName);
    } catch (const std::exception& error) {
      throw AutomationError(ErrorNumber::DeviceInputOutput, Key(number) + ": " + error.what());
    }
  }
  return bag;
}

void ScaleTable::Clear() {
  for (std::int16_t number = 1; number <= kScaleCount; ++number) Replace(number, nullptr);
}

void ScaleTable::ClosePorts() noexcept {
  const auto close = [](const auto& scale) {
    if (!scale) return;
    try {
      const auto serial = std::dynamic_pointer_cast<SerialConnection>(scale->Connection());
      if (serial) serial->Disconnect();
    } catch (const std::exception&) {
      // The scale traces it when it stops.
    }
  };
  for (const auto& scale : leaving_) close(scale);
  for (const auto& scale : scales_) close(scale);
}

}  // namespace tarn
