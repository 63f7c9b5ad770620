// The scales of a server that this program runs.
#pragma once

#include <set>
#include <string>

#include "server/tarn_scale_server.hpp"

namespace tarn::tool {

/// Starts the scales with these numbers, all when there is none. Links that break, and those that
/// cannot be made now, are tried again, whatever the settings file says, since nobody may be there
/// to restart the scales.
void StartScales(TarnScaleServer& server, const std::set<int>& only = {});

/// What StartScales does with each scale before it starts.
void PrepareScale(TarnScale& scale, const std::set<int>& only);

/// Returns why nothing runs, in words for the user; empty while at least one scale runs.
std::string WhyNothingRuns(TarnScaleServer& server, const std::string& file,
                           const std::set<int>& only = {});

/// What a reload did, in words: "scale 3 (Packing) has new settings, the others run on".
std::string ReloadWords(const Reloaded& done, const TarnScaleServer& server);

/// What the user can do about scales that did not start; empty where there is nothing to say.
std::string StartHint(const TarnScaleServer& server);

}  // namespace tarn::tool
