#include "scale/enumerations.hpp"

#include <array>
#include <cstddef>

namespace tarn {

ProtocolClass TypeToClass(ProtocolType type) {
  using enum ProtocolClass;
  static constexpr std::array kClasses = {
      NoProt,  // 0
      TarnContinuous,
      TarnContinuous,
      TarnContinuous,
      TarnContinuous,
      TarnContinuous,  // 1 to 5
      Mira,
      Mira,  // 6, 7
      Demand,
      Demand,
      Demand,  // 8 to 10
      Host,
      Host,
      Host,  // 11 to 13
      KesSharedData,
      KesSQL,
      FenBalance,
      RowanBC,  // 14 to 17
      DemandTemplate,
      KesDemandTemplate,  // 18, 19
      SummitDataClass,
      SummitDataClass,
      SummitDataClass,
      SummitDataClass,  // 20 to 23
      Generic,
      Generic,
      Generic,
      Generic,
      Generic,  // 24 to 28
  };
  const auto index = static_cast<std::size_t>(type);  // a negative number becomes a huge index
  return index < kClasses.size() ? kClasses[index] : NoProt;
}

}  // namespace tarn
