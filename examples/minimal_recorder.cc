// The smallest host program around the recorder: open, report, tick, close.
// Look at what it recorded with `vmr view --listing BASE`.
#include <cstdio>

#include "backends/data_store_normal.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: minimal_recorder BASE\n", stderr);
    return 2;
  }
  vmr::DataStoreNormal store(argv[1]);  // BASE_1.mtd and BASE_2.mtd
  if (store.Open() == 0) return 1;      // the log says why

  // Ticks are half seconds. They go on where the recording ended, so that it
  // can be searched by tick.
  unsigned int tick = store.GetCurrentSystemTick() + 1;
  store.CheckGpsConfig(true);  // names the receiver, once

  vmr::GpsStatusItem fix;
  fix.latitude_degrees = 41;
  fix.latitude_minutes = 39;
  fix.latitude_is_north = 1;
  fix.longitude_degrees = 93;
  fix.longitude_minutes = 29;
  fix.longitude_fraction = 9638;

  store.ReportStateData(vmr::TAG_SIREN_ON, true, tick);
  for (int half_second = 0; half_second < 8; ++half_second) {
    store.TimerTick(tick);  // a unit's timer calls this every half second
    fix.latitude_fraction += 150;
    store.ReportGps(fix, tick, true);  // records moves of more than 20 feet
    ++tick;
  }
  store.ReportBookmark(tick);
  store.TimerTick(tick);

  return store.Close() == 0 ? 1 : 0;  // flushes what still waits
}
