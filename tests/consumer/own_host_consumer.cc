// Records into memory with services of its own, and checks that they, and no
// default ones, were asked.
#include <algorithm>
#include <cstdio>

#include "backends/data_store_flat.h"
#include "backends/data_store_normal.h"
#include "own_host.h"

namespace {

int Fail(const char* what) {
  std::fprintf(stderr, "consumer_with_own_host: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  static unsigned char buffer[4096];
  vmr::DataStoreFlatMessage store(buffer, sizeof(buffer), true);
  if (store.Open() == 0) return Fail("Open failed");
  store.TimerTick(1000);
  store.ReportStateData(vmr::TAG_SIREN_ON, true, 1000);
  store.WriteBuffers();

  unsigned char* const end = buffer + store.BytesWritten();
  if (!std::equal(std::begin(vmr::kFlatFileMagic), std::end(vmr::kFlatFileMagic), buffer))
    return Fail("no magic was written");
  if (std::find(buffer + 147, end, vmr::TAG_SIREN_ON) == end) return Fail("no siren was written");
  if (own_host_use.crcs == 0) return Fail("its CRC was not asked");
  if (own_host_use.log_lines == 0) return Fail("its log was not asked");
  if (own_host_use.clock_readings == 0) return Fail("its clock was not asked");

  vmr::DataStoreNormal ring("ring");
  return ring.Open() == 0 ? 0 : Fail("a ring opened though there are no files");
}
