// A new ring against a plain loop that writes two files of the same size by 4096 bytes
// and syncs each, in turns (bench/interleaved.h).
//
//   creation DIR ROUNDS
//
// Prints JSON; "loop" is there twice, to show what the figures are worth.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "backends/cluster_format.h"
#include "backends/data_store_normal.h"
#include "bench/interleaved.h"
#include "host/default/host_control.h"

namespace {

using vmr::bench::Now_s;
using vmr::bench::Turn;

void RemoveFiles(const std::string& base) {
  for (const int number : {1, 2}) unlink(vmr::RingFileName(base, number).c_str());
}

bool WriteByClusters(const std::string& path) {
  unsigned char cluster[vmr::kClusterBytes];
  vmr::FillNeverWritten(cluster, vmr::kClusterBytes);
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0660);
  bool written = fd >= 0;
  for (int n = 0; n < vmr::kClusterCount && written; ++n)
    written = write(fd, cluster, sizeof(cluster)) == vmr::kClusterBytes;
  written = written && fsync(fd) == 0;
  return fd >= 0 && close(fd) == 0 && written;
}

bool Loop(const std::string& base) {
  return WriteByClusters(vmr::RingFileName(base, 1)) && WriteByClusters(vmr::RingFileName(base, 2));
}

bool NewRing(const std::string& base) {
  vmr::DataStoreNormal store(base);
  return store.Open() != 0 && store.Close() != 0;
}

template <typename Work>
Turn Time(const std::string& base, Work work) {
  Turn turn;
  const double start = Now_s();
  if (!work(base)) {
    std::perror("creation: the files cannot be made");
    std::exit(1);
  }
  turn.seconds = Now_s() - start;
  turn.median_us = turn.seconds * 1e6;
  RemoveFiles(base);
  return turn;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || std::atoi(argv[2]) < 1) {
    std::fputs("usage: creation DIR ROUNDS\n", stderr);
    return 2;
  }
  vmr::host::SetLogLevel(3);
  std::string base = std::string(argv[1]) + "/creation_XXXXXX";
  if (mkdtemp(base.data()) == nullptr) return std::perror("creation"), 1;
  const std::string folder = base;
  base += "/new";
  std::fputs("{", stdout);
  vmr::bench::RunInterleaved({{"ring", [&] { return Time(base, NewRing); }},
                              {"loop", [&] { return Time(base, Loop); }},
                              {"loop_again", [&] { return Time(base, Loop); }}},
                             std::atoi(argv[2]), stdout);
  std::puts("}");
  rmdir(folder.c_str());
  return 0;
}
