#include "tests/memory/counting.h"

#include <malloc.h>

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;
std::size_t heap_bytes = 0;
bool refuse_memory = false;

void Count(std::size_t bytes) {
  ++allocations;
  heap_bytes += bytes;
}

void* AllocateOrThrow(std::size_t size) {
  void* const memory = refuse_memory ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* Allocate(std::size_t size) {
  return refuse_memory ? nullptr : std::malloc(size == 0 ? 1 : size);
}

}  // namespace

// Names that libraries gave.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
#ifdef __SANITIZE_ADDRESS__
// AddressSanitizer has a malloc of its own, and tells of its calls.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*,
                                                                             std::size_t),
                                                         void (*free_hook)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* memory);

namespace {
[[maybe_unused]] const int kInstalled = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, std::size_t size) { Count(size); },
    [](const volatile void* memory) {
      if (memory != nullptr) heap_bytes -= __sanitizer_get_allocated_size(memory);
    });
}  // namespace
#else
// The C library's own functions under the names that everyone calls, its own
// parts included.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
  void* const memory = __libc_malloc(size);
  if (memory != nullptr) Count(malloc_usable_size(memory));
  return memory;
}
void* calloc(std::size_t count, std::size_t size) {
  void* const memory = __libc_calloc(count, size);
  if (memory != nullptr) Count(malloc_usable_size(memory));
  return memory;
}
void* realloc(void* memory, std::size_t size) {
  const std::size_t before = memory == nullptr ? 0 : malloc_usable_size(memory);
  void* const moved = __libc_realloc(memory, size);
  if (moved == nullptr) return moved;
  heap_bytes -= before;
  Count(malloc_usable_size(moved));
  return moved;
}
void free(void* memory) {
  if (memory != nullptr) heap_bytes -= malloc_usable_size(memory);
  __libc_free(memory);
}
}
#endif
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace vmr::test {

std::size_t Allocations() { return allocations; }
std::size_t HeapBytes() { return heap_bytes; }
void RefuseMemory(bool refuse) { refuse_memory = refuse; }

}  // namespace vmr::test
