#include "records/flat_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "backends/file_io.h"

namespace vmr::records {

std::unique_ptr<FlatSource> FlatSource::Open(const std::string& path, FlatProblem& problem) {
  std::unique_ptr<FlatSource> source(new FlatSource(path));
  problem = FlatProblem::kNotOpened;
  source->fd_ = OpenFile(path, O_RDONLY | O_NONBLOCK);
  if (!IsOpenDescriptor(source->fd_)) return nullptr;
  source->bytes_ = SeekFile(source->fd_, 0, SEEK_END);
  if (source->bytes_ < 0 || SeekFile(source->fd_, 0, SEEK_SET) != 0) return nullptr;
  problem = FlatProblem::kNoMagic;
  if (source->Fill(0) < sizeof(kFlatFileMagic) ||
      std::memcmp(source->window_.data(), kFlatFileMagic, sizeof(kFlatFileMagic)) != 0)
    return nullptr;
  problem = FlatProblem::kNone;
  return source;
}

FlatSource::~FlatSource() {
  if (IsOpenDescriptor(fd_)) static_cast<void>(CloseFile(fd_));  // nothing was written
}

// Fills the window from its byte `from` on; returns how many bytes are in it then.
std::size_t FlatSource::Fill(std::size_t from) {
  used_ = from;
  while (used_ < window_.size()) {
    const ssize_t count = ReadFile(fd_, window_.data() + used_, window_.size() - used_);
    if (count <= 0) {
      at_end_ = true;
      break;
    }
    used_ += static_cast<std::size_t>(count);
  }
  return used_;
}

bool FlatSource::Next(std::size_t unused, Stretch& stretch) {
  const bool is_first = window_offset_ == 0 && !has_begun_;
  const std::size_t done = is_first ? sizeof(kFlatFileMagic) : used_ - unused;
  if (!is_first && at_end_) return false;
  if (!is_first) {
    std::memmove(window_.data(), window_.data() + done, unused);
    window_offset_ += static_cast<std::int64_t>(done);
    Fill(unused);
  }
  has_begun_ = true;
  const std::size_t begin = is_first ? done : 0;
  stretch = {};
  stretch.bytes = window_.data() + begin;
  stretch.size = used_ - begin;
  stretch.place.offset = window_offset_ + static_cast<std::int64_t>(begin);
  stretch.is_whole = at_end_;
  return stretch.size > 0;
}

std::unique_ptr<Source> FlatSource::Fork() const {
  FlatProblem problem{};
  std::unique_ptr<FlatSource> fork = Open(path_, problem);
  if (fork == nullptr || window_offset_ == 0) return fork;
  if (SeekFile(fork->fd_, window_offset_, SEEK_SET) != window_offset_) return nullptr;
  // Its first window begins with what this one begins with.
  fork->has_begun_ = true;
  fork->used_ = 0;
  fork->at_end_ = false;
  fork->window_offset_ = window_offset_;
  return fork;
}

double FlatSource::Progress() const {
  return bytes_ == 0 ? 1 : static_cast<double>(window_offset_) / static_cast<double>(bytes_);
}

}  // namespace vmr::records
