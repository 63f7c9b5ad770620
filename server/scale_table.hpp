// The fixed table of the server's 32 scales, and how a settings file holds it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/property_bag.hpp"
#include "scale/scale_site.hpp"
#include "scale/tarn_scale.hpp"
#include "server/host_form.hpp"

namespace tarn {

/// Slots are numbered 1 to 32. A slot is empty only if its scale could not be restored.
class ScaleTable {
 public:
  /// The scale in a slot, null when it is empty. Error 9 outside 1 to 32.
  std::shared_ptr<TarnScale> At(std::int32_t number) const;
  /// Error 91 when the slot is empty.
  TarnScale& Filled(std::int32_t number) const;

  /// Stops and detaches the scale in the slot, then stores the other one, which may be null.
  void Replace(std::int16_t number, std::shared_ptr<TarnScale> scale);

  /// Fills every slot from the bag's "Scale1" to "Scale32", a missing one by a default scale. A
  /// slot whose entry cannot be restored stays empty. Both are traced. False when the bag does not
  /// hold exactly the 32 scales that are in the table now, so that saving them would lose
  /// something.
  bool Load(const PropertyBag& bag, const std::shared_ptr<ScaleSite>& site);
  /// The scale that the bag holds for that slot, not in the table and without its number. Error 321
  /// where its entry is damaged, and other errors of a scale that reads its settings.
  static std::shared_ptr<TarnScale> Restored(const PropertyBag& bag, std::int16_t number,
                                             ScaleSite& site);
  /// Whether the bag has an entry for that slot.
  static bool Holds(const PropertyBag& bag, std::int16_t number);
  /// Fills every slot with a new scale, named "Scale" and its number.
  void FillNew(const std::shared_ptr<ScaleSite>& site);
  /// An empty slot is saved as a default scale, so that one scale never costs the others. Errors
  /// name the scale.
  PropertyBag Save() const;
  void Clear();

  /// Closes the serial ports of all scales, including those that are just leaving. No events.
  void ClosePorts() noexcept;

 private:
  std::array<std::shared_ptr<TarnScale>, kScaleCount> scales_;
  std::vector<std::shared_ptr<TarnScale>> leaving_;  ///< which still raise their last events
};

}  // namespace tarn
