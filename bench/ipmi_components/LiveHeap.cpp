#include "bench/ipmi_components/LiveHeap.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

std::size_t live = 0;
std::size_t peak = 0;

}  // namespace

namespace Kelvar::Bench {

std::size_t LiveBytes() {
  return live;
}

std::size_t PeakBytes() {
  return peak;
}

void ResetPeak() {
  peak = live;
}

}  // namespace Kelvar::Bench

void* operator new(std::size_t size) {
  void* memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  live += malloc_usable_size(memory);
  peak = std::max(peak, live);
  return memory;
}

// Here too, so that the linker takes no other allocator for it.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept {
  live -= malloc_usable_size(memory);
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}
