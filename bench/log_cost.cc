// Items on their way through a store, for counting instructions: see
// bench/log_cost.
#include <cstdlib>

#include "backends/data_store_null.h"

// A second of a drive: the car has moved on, three other things have changed, and
// the timer has ticked twice.
int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 1000;
  vmr::DataStoreNull store;
  if (store.Open() == 0) return 1;
  vmr::GpsStatusItem fix;
  fix.latitude_degrees = 41;
  fix.latitude_is_north = 1;
  fix.longitude_degrees = 93;
  for (int second = 0; second < seconds; ++second) {
    const auto tick = static_cast<unsigned int>(2 * second + 2);
    fix.longitude_fraction = second * 100 % 10000;
    fix.longitude_minutes = static_cast<std::uint16_t>(second / 100 % 60);
    store.ReportGps(fix, tick, true);
    store.ReportStateData(second % 2 == 0 ? vmr::TAG_SIREN_ON : vmr::TAG_SIREN_OFF, true, tick);
    store.ReportTemp(vmr::TEMP_SENSOR_CPU, static_cast<short>(second % 2 * 10), true, tick);
    store.ReportButton(vmr::BUTTON_RECORD, vmr::BUTTON_PRESSED, true);
    store.TimerTick(tick);
    store.TimerTick(tick + 1);
  }
  return 0;
}
