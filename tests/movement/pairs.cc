// usage: vmr_movement_pairs COUNT: compares, for so many pairs of positions, what is told
// without trigonometry with what the computed distance tells; see gps_movement.h. Fails at
// the first pair that differs.
#include <cstdio>
#include <cstdlib>

#include "host/default/host_control.h"
#include "tests/support/movement_pairs.h"

int main(int argc, char** argv) {
  const long count = argc > 1 ? std::atol(argv[1]) : 1000000;
  vmr::host::SetLogLevel(0);
  vmr::test::MovementPairs pairs(20);
  const bool same = pairs.Compare(count);
  std::printf("%ld pairs: of %ld it was plain that they rest, of %ld that they move\n",
              pairs.Pairs(), pairs.Rests(), pairs.Moves());
  if (!same) std::fprintf(stderr, "vmr_movement_pairs: %s\n", pairs.Difference().c_str());
  return same && pairs.Rests() > count / 10 && pairs.Moves() > count / 10 ? 0 : 1;
}
