// Counts what this program takes from the heap, whoever asks: operator new,
// malloc and the C library itself.
#ifndef VMR_TESTS_MEMORY_COUNTING_H_
#define VMR_TESTS_MEMORY_COUNTING_H_

#include <cstddef>

namespace vmr::test {

// How often memory was taken since the program began.
std::size_t Allocations();
// The bytes now held, as the allocator rounds them.
std::size_t HeapBytes();
// While true, operator new gets nothing.
void RefuseMemory(bool refuse);

template <typename Action>
std::size_t AllocationsDuring(Action action) {
  const std::size_t before = Allocations();
  action();
  return Allocations() - before;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_MEMORY_COUNTING_H_
