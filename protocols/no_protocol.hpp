// The protocol of a scale that has none configured.
#pragma once

#include <string>
#include <string_view>

#include "scale/contracts.hpp"

namespace tarn {

/// Stores its references and its type, and does nothing with them.
class NoProtocol final : public Protocol {
 public:
  static constexpr std::string_view kClassName = "NoProtocol";
  std::string_view ClassName() const override { return kClassName; }
  std::string FrameHint(std::string_view /*bytes*/) const override {
    return "no protocol is configured";
  }
  void InitProperties() override { pType(ProtocolType::NoProtType); }
  void ReadProperties(const PropertyBag& bag) override {
    pType(ProtocolType{bag.ReadLong("Ptype", 0)});
  }
  void WriteProperties(PropertyBag& bag) const override {
    bag.WriteLong("Ptype", static_cast<std::int32_t>(pType()), 0);
  }
};

}  // namespace tarn
