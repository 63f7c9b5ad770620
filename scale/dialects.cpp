#include "scale/dialects.hpp"

namespace tarn {
namespace {

constexpr bool AllStandInTheirPlaces() {
  for (std::size_t i = 0; i < kDialects.size(); ++i) {
    if (kDialects[i].type != static_cast<ProtocolType>(i)) return false;
  }
  return true;
}
static_assert(AllStandInTheirPlaces(), "FindDialect finds a row by its number");

}  // namespace

ProtocolClass TypeToClass(ProtocolType type) {
  const Dialect* dialect = FindDialect(type);
  return dialect == nullptr ? ProtocolClass::NoProt : dialect->family;
}

}  // namespace tarn
