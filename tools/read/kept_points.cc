#include "tools/read/kept_points.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <type_traits>

#include "backends/file_io.h"

namespace vmr::tool {
namespace {

// They stand in the file as they do in memory, with what lies between their members: nobody
// else ever reads it.
static_assert(std::is_trivially_copyable_v<TrackPoint>);

int OpenNameless() {
  const char* const folder = getenv("TMPDIR");
  std::string path = folder == nullptr || *folder == '\0' ? "/tmp" : folder;
  path += "/.vmr-points-XXXXXX";
  const int fd = mkostemp(path.data(), O_CLOEXEC);
  if (fd >= 0) RemoveIfThere(path);
  return fd;
}

}  // namespace

KeptPoints::~KeptPoints() {
  if (fd_ >= 0) static_cast<void>(CloseFile(fd_));  // its content goes with it
}

void KeptPoints::Add(const TrackPoint& point) {
  if (Count() == 0) first_ = point;
  if (recent_.size() >= kInMemory && file_takes_more_) file_takes_more_ = MoveToFile();
  recent_.push_back(point);
}

// The next ones are written over what the file holds.
void KeptPoints::Clear() {
  recent_.clear();
  in_file_ = 0;
  file_takes_more_ = true;
}

// All of `recent_` or, with what counts in the file, none.
bool KeptPoints::MoveToFile() {
  if (fd_ < 0) fd_ = OpenNameless();
  if (!GoTo(in_file_) || !WriteWhole(fd_, recent_.data(), recent_.size() * sizeof(TrackPoint)))
    return false;
  in_file_ += recent_.size();
  recent_.clear();
  return true;
}

bool KeptPoints::GoTo(std::size_t point) const {
  const auto offset = static_cast<off_t>(point * sizeof(TrackPoint));
  return SeekFile(fd_, offset, SEEK_SET) == offset;
}

bool KeptPoints::ReadBlock(std::size_t from, std::vector<TrackPoint>& block) const {
  block.resize(std::min(in_file_ - from, kInMemory));
  auto* const bytes = reinterpret_cast<unsigned char*>(block.data());
  const std::size_t count = block.size() * sizeof(TrackPoint);
  if (!GoTo(from)) return false;
  for (std::size_t done = 0; done < count;) {
    const ssize_t got = ReadFile(fd_, bytes + done, count - done);
    if (got == 0) errno = EIO;  // what was written is gone
    if (got <= 0) return false;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

}  // namespace vmr::tool
