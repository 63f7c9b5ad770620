// What cannot work in a settings file.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/tarnscale/scale_file.hpp"

namespace tarn::tool {

/// As NativeHost::MissingDevice.
using MissingDevice = std::function<std::string(std::int16_t port, const std::string& setting)>;

/// What is wrong with one scale, a sentence each with the scale in front. A disabled scale is
/// looked at without regard to ports and devices.
std::vector<std::string> Findings(const ScaleFile& file, int number,
                                  const MissingDevice& missingDevice);

}  // namespace tarn::tool
