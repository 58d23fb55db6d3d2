// A host's own code, with what warnings tell of and its maker lives with: signed
// compared with unsigned, a value made narrower, a name that hides another.
#include <cstdio>

#include "backends/data_store_normal.h"

int main(int argc, char** argv) {
  unsigned int wanted = 2;
  if (argc != wanted) return 2;
  short narrow = argc;
  for (int argc = 0; argc < narrow; ++argc) std::puts(argv[argc]);

  vmr::DataStoreNormal store(argv[1]);
  if (store.Open() == 0) return 1;
  store.ReportStateData(vmr::TAG_SIREN_ON, true, store.GetCurrentSystemTick() + 1);
  return store.Close() == 1 ? 0 : 1;
}
