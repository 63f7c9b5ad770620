// The messages by which Home Assistant finds the scales by itself.
#pragma once

#include <string>
#include <string_view>

#include "outlets/mqtt/mqtt_connection.hpp"
#include "outlets/scale_state.hpp"

namespace tarn {

/// The topic of a scale's discovery below Home Assistant's usual prefix; it depends on the root and
/// the number only, so a scale stays the same device for ever.
std::string DiscoveryTopic(std::string_view root, int scale);

/// The net weight as a sensor that is available while the server is there and the reading is good.
MqttMessage DiscoveryOf(std::string_view root, const ScaleState& state);

}  // namespace tarn
