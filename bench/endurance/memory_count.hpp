// What the process holds on the heap, counted exactly: every operator new and delete of the
// program.
#pragma once

#include <cstdint>

namespace tarn {

struct HeldMemory {
  std::int64_t blocks = 0;
  std::int64_t bytes = 0;
};

HeldMemory HeldNow();

}  // namespace tarn
