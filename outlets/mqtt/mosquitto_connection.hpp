// Connections to brokers by libmosquitto.
#pragma once

#include "outlets/mqtt/mqtt_connection.hpp"
#include "outlets/mqtt/mqtt_settings.hpp"
#include "platform/native_host.hpp"

namespace tarn {

/// What makes connections to this broker. The host outlives them. Throws std::runtime_error with
/// words for the user where the library is missing or does not take the settings, such as a file
/// that is no certificate.
MqttConnect MosquittoConnect(NativeHost& host, const MqttBroker& broker);

}  // namespace tarn
