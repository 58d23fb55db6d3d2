#include "tools/record/line_reader.h"

#include <errno.h>
#include <unistd.h>

namespace vmr::tool {
namespace {

constexpr std::size_t kChunkBytes = 64 * 1024;

}  // namespace

LineReader::~LineReader() {
  // Read-only: there is nothing that closing could lose.
  if (fd_ != STDIN_FILENO) static_cast<void>(close(fd_));
}

bool LineReader::Read() {
  buffer_.erase(0, start_);
  searched_ -= start_;
  start_ = 0;
  const std::size_t held = buffer_.size();
  buffer_.resize(held + kChunkBytes);
  ssize_t count;
  do {
    count = read(fd_, &buffer_[held], kChunkBytes);
  } while (count < 0 && errno == EINTR);
  buffer_.resize(held + (count > 0 ? static_cast<std::size_t>(count) : 0));
  bytes_read_ += buffer_.size() - held;
  if (count < 0 && errno == EAGAIN) return true;
  at_end_ = count <= 0;
  return count >= 0;
}

LineReader::Result LineReader::Next(std::string_view& line) {
  const std::size_t end = buffer_.find('\n', searched_);
  if (end != buffer_.npos) return Give(end - start_, 1, line);
  searched_ = buffer_.size();
  const std::size_t rest = buffer_.size() - start_;
  if (at_end_ && (rest > 0 || too_long_)) return Give(rest, 0, line);
  if (rest > kMaxLineBytes) DropLongLine();
  return Result::kNone;
}

bool LineReader::HasLine() const {
  const std::size_t rest = buffer_.size() - start_;
  return buffer_.find('\n', searched_) != buffer_.npos || (at_end_ && (rest > 0 || too_long_));
}

LineReader::Result LineReader::Give(std::size_t length, std::size_t with_end,
                                    std::string_view& line) {
  line = std::string_view(buffer_).substr(start_, length);
  start_ += length + with_end;
  searched_ = start_;
  ++line_number_;
  const bool usable = !too_long_ && length <= kMaxLineBytes;
  too_long_ = false;
  return usable ? Result::kLine : Result::kTooLong;
}

void LineReader::DropLongLine() {
  too_long_ = true;
  start_ = searched_ = buffer_.size();
}

}  // namespace vmr::tool
