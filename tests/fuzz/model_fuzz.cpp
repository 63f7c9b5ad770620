// A model (tests/models) beside the system, with a fuzzer's bytes in place of chance. The build
// says which one; its cases draw from the bytes what is sent, how it is cut and what happens
// meanwhile.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tests/models/models.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarn::Random random(std::string_view(reinterpret_cast<const char*>(data), size));
  tarn::TARN_PLAY(random);
  if (testing::Test::HasFailure()) std::abort();
  return 0;
}
