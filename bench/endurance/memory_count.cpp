#include "bench/endurance/memory_count.hpp"

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

tarn::HeldMemory held;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*nothrow*/) noexcept {
  void* const block = std::malloc(size);
  if (block == nullptr) return nullptr;
  ++held.blocks;
  held.bytes += static_cast<std::int64_t>(malloc_usable_size(block));
  return block;
}

void* operator new(std::size_t size) {
  void* const block = operator new(size, std::nothrow);
  if (block == nullptr) throw std::bad_alloc();
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
