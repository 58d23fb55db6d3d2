// Two ring images as a fuzzer's input tells them.
//
// The input is made for mutation: right CRCs are computed, so that a changed byte
// does not end all there is to find, and clusters carry their own lengths.
//
//    offset  0       1       2         6        10
//           +-------+-------+---------+--------+---------+---------+-- ... --+
//           | flags | files | tick A, | tick B,| cluster | cluster |         |
//           |       |       | LE u32  | LE u32 |         |         |         |
//           +-------+-------+---------+--------+---------+---------+-- ... --+
//
//    flags   1 cluster CRCs are right   2 packet CRCs are right   4 opened for
//            reading alone   8 placed around the ring's end   16 the disk is full
//            32, 64, 128 the target's own
//    files   what is odd about file 1 (low four bits) and file 2 (high ones);
//            0 nothing
//    ticks   what the target asks for
//
//    offset  0         ...                               ...
//           +---------+-- ... -----------+--------------+-- ... ----+
//           | control | what it announces| length, LE16 | packets   |
//           +---------+-- ... -----------+--------------+-- ... ----+
//
//    control  1, 2   in which file: 0 both, 1 the first, 2 the second, 3 both, in
//                    the second as many bytes less as a byte says
//             4, 8   first tick: 0 that of the packets, 4 a LE u32, 8 none, 12 that
//                    of the cluster before and a byte
//             16     a byte says how many clusters are left out before it; 255: it takes
//                    the place of the one before, in one file if 1 or 2 say so
//             32     damaged: a byte changes the CRC; 0: cannot be read
//             64     a byte says how wrong its size is; 100 not at all
//             128    only the first of both copies is damaged
#ifndef VMR_FUZZ_RING_INPUT_H_
#define VMR_FUZZ_RING_INPUT_H_

#include <vector>

#include "fuzz/input_bytes.h"
#include "tests/crash/cow_files.h"

namespace vmr::fuzz {

using crash::CowFiles;

inline constexpr std::size_t kMostClusters = 64;

struct RingInput {
  unsigned int flags = 0;
  bool read_only = false;
  bool usual_files = false;  // both are there, with the right size
  std::uint32_t tick_a = 0;
  std::uint32_t tick_b = 0;
  std::vector<int> clusters;  // those that the input tells
  long payload_bytes = 0;     // at most so many are in all of them
};

// A file of clusters that were never written.
void MakeEmptyRing(CowFiles& files, int name);

// Puts the input's files in place; all other clusters were never written. What the
// input before has done to `files` is undone, so it must always be the same object.
RingInput MakeRing(InputBytes& input, CowFiles& files);

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_RING_INPUT_H_
