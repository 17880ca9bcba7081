#include "failing_new.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

namespace {

thread_local long allocationsLeft = 0;  // up to the one that fails; 0: none will, or it has

void* Allocate(std::size_t bytes) noexcept {
  if (allocationsLeft > 0 && --allocationsLeft == 0) return nullptr;
  return std::malloc(bytes > 0 ? bytes : 1);
}

void* AllocateOrThrow(std::size_t bytes) {
  if (void* const block = Allocate(bytes)) return block;
  throw std::bad_alloc();
}

}  // namespace

bool FailAllocation(long k) { return std::exchange(allocationsLeft, k) == 0; }

// All forms: a sanitizer's own would not match ours.
void* operator new(std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return AllocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return Allocate(bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
