// What a ring store must make of two raw images: an independent reference that
// shares no code with the store, its CRC and byte orders included.
#ifndef VMR_TESTS_CRASH_ORACLE_H_
#define VMR_TESTS_CRASH_ORACLE_H_

#include <array>
#include <cstdint>
#include <functional>

#include "tests/crash/oracle_cluster.h"

namespace vmr::crash {

// Reads one cluster of a file into 4096 bytes; false when the device cannot.
using ReadImage = std::function<bool(int cluster, unsigned char* to)>;

// Where one file's recording ends.
struct Position {
  bool found = false;
  int newest = -1;
  std::uint32_t newest_st = 0;
  int oldest = -1;
  std::uint32_t oldest_st = 0;
  int size = 0;  // used bytes of the newest cluster, -1 when it cannot be read
};

enum class Outcome {
  kOpens,
  kRecreates,  // neither file can be searched: a new, empty store
  kFails       // the current or the previous cluster is bad in both files
};

// Index 0 is file #1.
struct Prediction {
  std::array<Position, 2> file;  // as the searches find them
  Outcome outcome = Outcome::kRecreates;
  int last_writer = 0;
  int current = 0;
  int previous = 32767;
  int size = 7;         // used bytes of the current cluster
  bool untold = false;  // it has no first tick yet
  std::uint32_t last_tick = 0;
  std::array<bool, 2> curr_stale{};
  std::array<bool, 2> prev_stale{};
  bool fills_empty = false;  // the file without data is filled by copying
};

// Where the search of one file alone ends.
Position Search(const ReadImage& file);
// Both files exist and are of the right size. `can_be_copied`: whether a file #1 or #2 that
// holds data can fill one without; else that one stays as it is.
Prediction Predict(const ReadImage& file1, const ReadImage& file2,
                   std::array<bool, 2> can_be_copied = {true, true});

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_ORACLE_H_
