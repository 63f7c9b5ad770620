// Commands that arrive as messages, and what is answered.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "outlets/scale_commands.hpp"

namespace tarn {

/// {"command":"preset-tare","tare":12.5,"id":"abc"}
struct MqttCommand {
  const ScaleCommand* command = nullptr;  ///< null for one that is not understood
  std::string name;                       ///< as it was sent; empty where there was none
  double tare = 0;
  std::string id;     ///< chosen by who sent it; may be empty
  std::string error;  ///< why it is not understood
};

inline constexpr std::size_t kLongestCommand = 1024;  ///< characters of a payload
inline constexpr std::size_t kLongestCommandId = 64;  ///< characters

/// Understands any bytes.
MqttCommand CommandOf(std::string_view payload);

/// The scale of "<root>/<n>/cmd"; nothing for another topic.
std::optional<int> CommandedScale(std::string_view root, std::string_view topic);

/// {"scale":3,"id":"abc","command":"zero","result":"given","error":"","time":"..."}
std::string AckJson(int scale, const MqttCommand& command, std::string_view result,
                    std::string_view error, std::string_view time);

}  // namespace tarn
