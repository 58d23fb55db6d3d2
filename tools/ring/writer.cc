#include "tools/ring/writer.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>

#include <utility>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "host/file_ops.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr std::size_t kBytesAtOnce = std::size_t{64} * kClusterBytes;

}  // namespace

RingWriter::RingWriter(const std::string& base, bool replace)
    : base_(base),
      replace_(replace),
      files_{OutputFile(RingFileName(base, 1), replace, "recover"),
             OutputFile(RingFileName(base, 2), replace, "recover")} {}

RingWriter::~RingWriter() {
  for (const int fd : fds_)
    if (IsOpenDescriptor(fd)) static_cast<void>(CloseFile(fd));  // the file goes too
}

bool RingWriter::Fail() const {
  Say(fmt::format("{}: {}", base_, TextOfErrno()));
  return false;
}

bool RingWriter::Open() {
  for (const int index : {0, 1}) {
    if (!files_[index].Open()) return false;
    const std::string& path = files_[index].TemporaryPath();
    if (FileOps::Current().Chmod(path.c_str(), kRingFileMode) != 0) return Fail();
    fds_[index] = OpenFile(path, O_WRONLY);
    if (!IsOpenDescriptor(fds_[index])) return Fail();
  }
  pending_.reserve(kBytesAtOnce);
  return true;
}

bool RingWriter::Add(const unsigned char* image) {
  pending_.insert(pending_.end(), image, image + kClusterBytes);
  ++clusters_;
  return pending_.size() < kBytesAtOnce || Flush();
}

bool RingWriter::Flush() {
  for (const int fd : fds_)
    if (!WriteWhole(fd, pending_.data(), pending_.size())) return Fail();
  pending_.clear();
  return true;
}

bool RingWriter::Fill() {
  unsigned char unwritten[kClusterBytes];
  FillNeverWritten(unwritten, kClusterBytes);
  while (clusters_ < kClusterCount)
    if (!Add(unwritten)) return false;
  return Flush();
}

bool RingWriter::SyncSoFar() const {
  for (const int fd : fds_)
    if (SyncFile(fd) != 0) return Fail();
  return true;
}

bool RingWriter::Complete() {
  if (!Fill()) return false;
  for (int& fd : fds_)
    if (!SyncAndClose(std::exchange(fd, -1))) return Fail();
  return true;
}

// A file 2 that is to be replaced goes first, and is gone for good before file 1
// gets its name: whatever ends this halfway, there are never two files of two
// rings. File 1 alone is a ring that can be read.
bool RingWriter::Publish() {
  const std::string second = RingFileName(base_, 2);
  if (replace_ && FileOps::Current().Unlink(second.c_str()) != 0 && errno != ENOENT) return Fail();
  // Not every file system can; the others keep the order by themselves.
  if (replace_) static_cast<void>(SyncDirectoryOf(second));
  if (!files_[0].Publish()) return false;
  if (files_[1].Publish()) return true;
  const std::string first = RingFileName(base_, 1);
  static_cast<void>(FileOps::Current().Unlink(first.c_str()));  // it stays a readable ring if not
  return false;
}

}  // namespace vmr::tool
