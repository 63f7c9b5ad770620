// The scales of a server that this program runs.
#pragma once

#include <string>

#include "server/tarn_scale_server.hpp"

namespace tarn::tool {

/// Returns why nothing runs, in words for the user; empty while at least one scale runs.
std::string WhyNothingRuns(TarnScaleServer& server, const std::string& file);

/// From now on links that break are connected again, whatever the settings file says, since nobody
/// may be there to restart the scales.
void KeepConnected(TarnScaleServer& server);

}  // namespace tarn::tool
