#include "tools/tarnscale/outlets.hpp"

#include <chrono>

namespace tarn::tool {

Outlets::Outlets(Program& /*program*/, TarnScaleServer& server, const OutletOptions& /*options*/)
    : source_(server, std::chrono::system_clock::now),
      book_(std::make_unique<RecentWeighings>()),
      onEvent_(
          source_.Happened.Subscribe([this](const ScaleEvent& event) { book_->Enter(event); })) {}

}  // namespace tarn::tool
