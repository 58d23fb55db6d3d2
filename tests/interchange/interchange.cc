// interchange write FOLDER: records one more session into FOLDER's ring and into
// its flat file, and makes a file of garbage.
// interchange read FOLDER: prints all three as text.
// Messages of every level go to standard error. Built for two machines, each
// reads what the other wrote.
#include <cstdio>
#include <fstream>
#include <string>

#include "backends/data_store_flat.h"
#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "reader/metadata_reader.h"
#include "tests/interchange/course.h"

namespace vmr::test {
namespace {

constexpr unsigned int kEveryLevel = 0xFF;
constexpr unsigned int kFirstTick = 1000;
// Ticks of the second session do not fit a signed number.
constexpr unsigned int kTicksBetweenSessions = 0x90000000;

bool Fail(const std::string& what) {
  std::fprintf(stderr, "interchange: %s\n", what.c_str());
  return false;
}

bool Write(const std::string& folder) {
  const TestClock not_the_machines(1700000000);
  DataStoreNormal ring(folder + "/ring");
  DataStoreFlatWrite flat(folder + "/flat.mtd");
  if (ring.Open() == 0 || flat.Open() == 0) return Fail("cannot open a store in " + folder);
  const unsigned int before = ring.GetCurrentSystemTick();
  const unsigned int tick = before == 0 ? kFirstTick : before + kTicksBetweenSessions;
  Course(ring, tick).Run();
  Course(flat, tick).Run();
  if (ring.Close() == 0 || flat.Close() == 0) return Fail("cannot close a store in " + folder);

  std::ofstream garbage(folder + "/garbage.mtd", std::ios::binary);
  garbage << FlatFileOfGarbage() << std::flush;
  return garbage.good() || Fail("cannot write the file of garbage in " + folder);
}

bool View(const std::string& path, bool ring) {
  constexpr unsigned int kToTheEnd = 0xFFFFFFFF;
  MetadataReader reader;
  return reader.ViewFile(path, ring, 0, kToTheEnd, true) || Fail("cannot view " + path);
}

bool Read(const std::string& folder) {
  return View(folder + "/ring", true) && View(folder + "/flat.mtd", false) &&
         View(folder + "/garbage.mtd", false);
}

}  // namespace
}  // namespace vmr::test

int main(int argc, char** argv) {
  const std::string verb = argc == 3 ? argv[1] : "";
  if (verb != "write" && verb != "read") {
    std::fputs("usage: interchange write|read FOLDER\n", stderr);
    return 2;
  }
  vmr::host::SetLogLevel(vmr::test::kEveryLevel);
  return (verb == "write" ? vmr::test::Write : vmr::test::Read)(argv[2]) ? 0 : 1;
}
