// In place of the connection, where the machine that built the program had no libmosquitto.
#include <stdexcept>

#include "outlets/mqtt/mosquitto_connection.hpp"

namespace tarn {

MqttConnect MosquittoConnect(NativeHost& /*host*/, const MqttBroker& /*broker*/) {
  throw std::runtime_error("this program was built without libmosquitto, so it has no MQTT");
}

}  // namespace tarn
