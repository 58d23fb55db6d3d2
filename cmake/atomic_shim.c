// The sanitizers' runtime for 32-bit PowerPC asks for an eight-byte
// compare-and-swap, which the machine does not have; libatomic does.
#include <stdbool.h>

bool __atomic_compare_exchange_8(volatile void* at, void* expected, unsigned long long desired,
                                 bool weak, int success, int failure);

unsigned long long __sync_val_compare_and_swap_8(volatile void* at, unsigned long long expected,
                                                 unsigned long long desired) {
  __atomic_compare_exchange_8(at, &expected, desired, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return expected;
}
