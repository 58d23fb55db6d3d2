// Prints what one ring store takes in memory: its object and, once it is open,
// its heap. In bytes, of the machine this runs on.
#include <cstdio>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/memory/counting.h"
#include "tests/support/temp_dir.h"

int main() {
  vmr::host::SetLogLevel(0);
  const vmr::test::TempDir folder(vmr::test::TempDir::RoomForRings());
  const std::string base = folder.Path("r");
  const std::size_t before = vmr::test::HeapBytes();
  vmr::DataStoreNormal store(base);
  if (store.Open() == 0) return 1;
  std::printf("object %zu\nheap %zu\n", sizeof(store), vmr::test::HeapBytes() - before);
  return store.Close() == 0 ? 1 : 0;
}
