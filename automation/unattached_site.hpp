// Where connections, protocols and data objects live that belong to no server yet.
#pragma once

#include <memory>

#include "platform/host.hpp"
#include "scale/scale_site.hpp"

namespace tarn {

/// A site without slots: it has no update timers and no sockets, and writes no log. The host
/// outlives it.
std::shared_ptr<ScaleSite> MakeUnattachedSite(Host& host);

}  // namespace tarn
