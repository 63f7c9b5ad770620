#include "bench/endurance/memory_count.hpp"

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

tarn::HeldMemory held;

}  // namespace

void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  ++held.blocks;
  held.bytes += static_cast<std::int64_t>(malloc_usable_size(block));
  return block;
}

void operator delete(void* block) noexcept {
  if (block == nullptr) return;
  --held.blocks;
  held.bytes -= static_cast<std::int64_t>(malloc_usable_size(block));
  std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  operator delete(block);
}

tarn::HeldMemory tarn::HeldNow() {
  return held;
}
