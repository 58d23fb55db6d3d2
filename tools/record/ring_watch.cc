#include "tools/record/ring_watch.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "backends/cluster_format.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr auto kBetweenLooks = std::chrono::seconds(5);
constexpr unsigned int kTicksBetweenClockReadings = 8;

bool ReadCluster(int fd, int cluster, unsigned char* image) {
  return pread(fd, image, kClusterBytes, off_t{cluster} * kClusterBytes) == kClusterBytes;
}

}  // namespace

RingWatch::RingWatch(const std::string& base)
    : base_(base), files_{{{RingFileName(base, 1)}, {RingFileName(base, 2)}}} {}

RingWatch::~RingWatch() {
  for (const File& file : files_)
    if (file.fd >= 0) static_cast<void>(close(file.fd));  // read-only, nothing to lose
}

void RingWatch::Start() {
  for (File& file : files_) file.fd = open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
  next_look_ = std::chrono::steady_clock::now() + kBetweenLooks;
}

void RingWatch::Tick() {
  if (++ticks_ % kTicksBetweenClockReadings != 0) return;
  if (std::chrono::steady_clock::now() >= next_look_) Look();
}

void RingWatch::Look() {
  next_look_ = std::chrono::steady_clock::now() + kBetweenLooks;
  for (File& file : files_) {
    const Fate fate = FateOf(file);
    if (fate == file.fate) continue;
    file.fate = fate;
    Tell(file);
  }
}

// One that could not be opened for watching is taken to be there.
RingWatch::Fate RingWatch::FateOf(const File& file) {
  struct stat opened {};
  struct stat named {};
  if (file.fd < 0 || fstat(file.fd, &opened) != 0) return Fate::kThere;
  if (opened.st_nlink == 0) return Fate::kGone;
  const bool there = stat(file.path.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
                     named.st_ino == opened.st_ino;
  return there ? Fate::kThere : Fate::kMoved;
}

void RingWatch::Tell(const File& file) {
  switch (file.fate) {
    case Fate::kGone:
      return Say(
          fmt::format("{}: WARNING: was deleted or replaced; what is recorded into it is "
                      "gone when the recorder ends",
                      file.path));
    case Fate::kMoved:
      return Say(
          fmt::format("{}: WARNING: was moved away; recording into it goes on where it is "
                      "now",
                      file.path));
    case Fate::kThere:
      return Say(fmt::format("{}: is back", file.path));
  }
}

bool RingWatch::Conclude(const DataStoreNormal& store) {
  Look();
  const unsigned long not_stored = store.PacketsNotStored();
  if (not_stored > 0) Say(fmt::format("{}: not stored: {} packets", base_, not_stored));
  const auto gone = [](const File& file) { return file.fate == Fate::kGone; };
  if (gone(files_[0]) && gone(files_[1])) {
    Say(fmt::format("{}: both files are gone, and with them all that was recorded", base_));
    return false;
  }
  for (const int number : {1, 2}) {
    const File& file = files_[static_cast<std::size_t>(number - 1)];
    const File& other = files_[static_cast<std::size_t>(2 - number)];
    const unsigned long failed = store.FailedWrites(number);
    if (gone(other)) return ConcludeWithout(other, file, failed == 0, store) && not_stored == 0;
    if (failed > 0 && not_stored == 0)
      Say(fmt::format("{}: {} writes failed; what it lacks is in {}, `vmr scrub {}` completes it",
                      file.path, failed, other.path, base_));
  }
  return not_stored == 0;
}

// The two take turns, and only the last two clusters may differ.
bool RingWatch::ConcludeWithout(const File& gone, const File& left, bool left_took_all,
                                const DataStoreNormal& store) const {
  const bool whole = left_took_all && HoldsAsMuch(left, gone, store.CurrentCluster()) &&
                     HoldsAsMuch(left, gone, store.PreviousCluster());
  Say(fmt::format("{}: {}", left.path,
                  whole ? "has every packet" : "lacks packets that " + gone.path + " alone had"));
  Say(fmt::format("{0}: do not record into it again before `vmr scrub {0}` has built {1} anew",
                  base_, gone.path));
  return whole;
}

bool RingWatch::HoldsAsMuch(const File& left, const File& gone, int cluster) {
  unsigned char left_image[kClusterBytes];
  unsigned char gone_image[kClusterBytes];
  if (!ReadCluster(left.fd, cluster, left_image) || !ReadCluster(gone.fd, cluster, gone_image))
    return false;
  const auto used = static_cast<std::size_t>(ClusterSize(gone_image));
  return used <= ClusterSize(left_image) && used <= kClusterBytes && used >= kClusterHeaderBytes &&
         std::memcmp(left_image + kClusterHeaderBytes, gone_image + kClusterHeaderBytes,
                     used - kClusterHeaderBytes) == 0;
}

}  // namespace vmr::tool
