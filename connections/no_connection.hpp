// The connection of a scale that has none configured.
#pragma once

#include <string_view>

#include "scale/contracts.hpp"

namespace tarn {

/// Connects nothing and saves nothing; even IsBidirectional is only remembered.
class NoConnection final : public Connection {
 public:
  static constexpr std::string_view kClassName = "NoConnection";
  std::string_view ClassName() const override { return kClassName; }
};

}  // namespace tarn
