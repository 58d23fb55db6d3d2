// consumer BASE: records into the store BASE, reads it back and prints it, and
// checks that the library and the default host are one with this program: one
// log level, one log sink, one tick counter.
#include <cstdio>
#include <string>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "host/log.h"
#include "reader/metadata_reader.h"

// Sizes of the interface's types depend on these, so they come with the library.
#if _FILE_OFFSET_BITS != 64 || _TIME_BITS != 64
#error "compiled without what the library's interface needs"
#endif

namespace {

std::string logged;

void CollectLog() {
  vmr::host::SetLogLevel(vmr::kLogInfo);
  vmr::host::SetLogSink(
      [](unsigned int /*level*/, std::string_view text) { logged.append(text).append("\n"); });
}

bool Record(const char* base) {
  vmr::DataStoreNormal store(base);
  if (store.Open() == 0) return false;
  vmr::host::HoldSystemTick(store.GetCurrentSystemTick() + 20);
  vmr::GpsStatusItem fix;
  fix.latitude_degrees = 41;
  fix.latitude_is_north = 1;
  fix.longitude_degrees = 93;
  store.CheckGpsConfig(true);
  store.ReportGps(fix, vmr::Systick().SystemTick(), true);
  store.ReportStateData(vmr::TAG_SIREN_ON, true, vmr::Systick().SystemTick());
  return store.Close() == 1;
}

int Fail(const char* what) {
  std::fprintf(stderr, "consumer: %s\n", what);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return Fail("usage: consumer BASE");
  CollectLog();
  if (!Record(argv[1])) return Fail("recording failed");
  if (logged.find("Completely new store") != std::string::npos)
    return Fail("the library logs at a level that this program switched off");
  if (logged.find("Data Store Initialized") == std::string::npos)
    return Fail("the library does not log at the level that this program set");

  vmr::MetadataReader reader;
  return reader.ViewFile(argv[1], true, 0, vmr::kNoTick, false) ? 0 : Fail("reading failed");
}
