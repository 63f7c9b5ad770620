// Random cases of every model, up to the first in which an expectation fails. A case depends on
// nothing but its seed and its number, so what fails once can be repeated:
//   TARN_MODEL_SEED=s    another sequence of cases (1)
//   TARN_MODEL_TIMES=n   so many times the usual number of cases (1)
//   TARN_MODEL_CASE=k    this case alone
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <optional>

#include "tests/models/models.hpp"

namespace tarn {
namespace {

struct Model {
  const char* name;
  std::uint64_t cases;
  void (*play)(Random& random);
};

class Models : public testing::TestWithParam<Model> {};

std::optional<std::uint64_t> Setting(const char* name) {
  const char* const text = std::getenv(name);
  if (text == nullptr) return std::nullopt;
  return std::strtoull(text, nullptr, 10);
}

TEST_P(Models, DoAsTheSystemDoes) {
  const std::uint64_t seed = Setting("TARN_MODEL_SEED").value_or(1);
  const auto only = Setting("TARN_MODEL_CASE");
  const std::uint64_t all = GetParam().cases * Setting("TARN_MODEL_TIMES").value_or(1);
  for (std::uint64_t number = only.value_or(0); number < (only ? *only + 1 : all); ++number) {
    Random random(seed, number);
    GetParam().play(random);
    ASSERT_FALSE(HasFailure()) << "To repeat this case: TARN_MODEL_SEED=" << seed
                               << " TARN_MODEL_CASE=" << number;
  }
}

INSTANTIATE_TEST_SUITE_P(All, Models,
                         testing::Values(Model{"Continuous", 2000, PlayContinuous},
                                         Model{"Generic", 2000, PlayGeneric},
                                         Model{"Mira", 2000, PlayMira},
                                         Model{"SerialTemplate", 1500, PlaySerialTemplate},
                                         Model{"NetworkTemplate", 1500, PlayNetworkTemplate},
                                         Model{"KesSD", 500, PlayKesSD},
                                         Model{"Summit", 500, PlaySummit}),
                         [](const auto& model) { return model.param.name; });

}  // namespace
}  // namespace tarn
