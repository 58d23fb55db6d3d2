// Variants of the same work, all in this process, in turns: A B C, C B A and so on, so
// that what slows the machine for a while slows all of them. What is made of the times
// (medians of ratios round by round) is in bench/measuring/ratios.py.
#ifndef VMR_BENCH_INTERLEAVED_H_
#define VMR_BENCH_INTERLEAVED_H_

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace vmr::bench {

// What one turn of one variant took.
struct Turn {
  double seconds = 0;    // of the work alone
  double median_us = 0;  // of one operation
  long long bytes = 0;   // to the device
};

struct Variant {
  std::string name;
  std::function<Turn()> run;
};

// Gives each variant a turn that is not counted, to warm up, and then `rounds` that are.
// Prints {"rounds": [{"NAME": {"seconds": ..., "median_us": ..., "bytes": ...}, ...}, ...]}
// without a line's end, and without the braces that the caller puts around it.
void RunInterleaved(const std::vector<Variant>& variants, int rounds, std::FILE* out);

// Seconds of a clock that nobody sets.
double Now_s();

// What this machine has written, for differences: of one block device, by its counters
// in /sys, or of this process, by /proc/self/io, which is charged with pages when they
// become dirty and knows nothing of a journal.
class WrittenBytes {
 public:
  // `device_stat`: the device's file `stat`; empty for this process.
  explicit WrittenBytes(std::string device_stat) : device_stat_(std::move(device_stat)) {}
  long long Now() const;
  bool OfDevice() const { return !device_stat_.empty(); }

 private:
  std::string device_stat_;
};

}  // namespace vmr::bench

#endif  // VMR_BENCH_INTERLEAVED_H_
