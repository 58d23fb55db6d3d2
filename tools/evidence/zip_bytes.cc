#include "tools/evidence/zip_bytes.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "backends/file_io.h"

namespace vmr::tool {

bool ZipBytes::WriteAt(std::uint64_t /*offset*/, const void* /*from*/, std::size_t /*count*/) {
  errno = EROFS;
  return false;
}

// ---- Memory and files ------------------------------------------------------------

std::int64_t MemoryBytes::ReadAt(std::uint64_t offset, void* to, std::size_t count) {
  if (offset >= bytes_.size()) return 0;
  return static_cast<std::int64_t>(
      bytes_.copy(static_cast<char*>(to), count, static_cast<std::size_t>(offset)));
}

FileBytes::FileBytes(int fd) : fd_(fd), size_(0) {
  struct stat status {};
  if (fstat(fd, &status) == 0) size_ = static_cast<std::uint64_t>(status.st_size);
}

std::int64_t FileBytes::ReadAt(std::uint64_t offset, void* to, std::size_t count) {
  ssize_t got = 0;
  do got = pread(fd_, to, count, static_cast<off_t>(offset));
  while (got < 0 && errno == EINTR);
  return got;
}

bool FileBytes::WriteAt(std::uint64_t offset, const void* from, std::size_t count) {
  if (WriteWholeAt(fd_, from, count, static_cast<off_t>(offset)) < 0) return false;
  size_ = std::max(size_, offset + count);
  return true;
}

std::int64_t ComparedBytes::ReadAt(std::uint64_t /*offset*/, void* /*to*/, std::size_t /*count*/) {
  errno = EBADF;
  return -1;
}

bool ComparedBytes::WriteAt(std::uint64_t offset, const void* from, std::size_t count) {
  size_ = std::max(size_, offset + count);
  different_.erase(different_.lower_bound(offset), different_.lower_bound(offset + count));
  const auto* const bytes = static_cast<const char*>(from);
  std::array<char, 4096> expected{};
  for (std::size_t done = 0; done < count && !differs_;) {
    const std::size_t piece = std::min(count - done, expected.size());
    const std::int64_t got = original_.ReadAt(offset + done, expected.data(), piece);
    if (got < 0) return false;
    if (got == 0) break;  // it ends before; the sizes tell
    for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i)
      if (bytes[done + i] != expected[i]) different_.insert(offset + done + i);
    differs_ = different_.size() > kMostDifferent;
    done += static_cast<std::size_t>(got);
  }
  return true;
}

// ---- What libzip asks for --------------------------------------------------------

zip_source_t* ZipService::MakeSource() { return zip_.source_function_create(Serve, this, nullptr); }

zip_int64_t ZipService::Serve(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command) {
  return static_cast<ZipService*>(self)->Answer(data, size, command);
}

zip_int64_t ZipService::Fail(int what) {
  zip_.error_set(&error_, what, errno);
  return -1;
}

zip_int64_t ZipService::AnswerRead(void* data, zip_uint64_t size) {
  const std::int64_t got = bytes_.ReadAt(read_at_, data, static_cast<std::size_t>(size));
  if (got < 0) return Fail(ZIP_ER_READ);
  read_at_ += static_cast<std::uint64_t>(got);
  return got;
}

zip_int64_t ZipService::AnswerWrite(const void* data, zip_uint64_t size) {
  if (!bytes_.WriteAt(write_at_, data, static_cast<std::size_t>(size))) return Fail(ZIP_ER_WRITE);
  write_at_ += size;
  return static_cast<zip_int64_t>(size);
}

zip_int64_t ZipService::AnswerStat(void* data) {
  auto* const status = static_cast<zip_stat_t*>(data);
  zip_.stat_init(status);
  status->size = bytes_.Size();
  status->valid = ZIP_STAT_SIZE;
  return sizeof(*status);
}

zip_int64_t ZipService::Seek(std::uint64_t& at, void* data, zip_uint64_t size) {
  const zip_int64_t to = zip_.source_seek_compute_offset(at, bytes_.Size(), data, size, &error_);
  if (to < 0) return -1;
  at = static_cast<std::uint64_t>(to);
  return 0;
}

zip_int64_t ZipService::Answer(void* data, zip_uint64_t size, zip_source_cmd_t command) {
  switch (command) {
    case ZIP_SOURCE_OPEN:
      return read_at_ = 0, 0;
    case ZIP_SOURCE_READ:
      return AnswerRead(data, size);
    case ZIP_SOURCE_STAT:
      return AnswerStat(data);
    case ZIP_SOURCE_ERROR:
      return zip_.error_to_data(&error_, data, size);
    case ZIP_SOURCE_SEEK:
      return Seek(read_at_, data, size);
    case ZIP_SOURCE_TELL:
      return static_cast<zip_int64_t>(read_at_);
    case ZIP_SOURCE_BEGIN_WRITE:
      return write_at_ = 0, 0;
    case ZIP_SOURCE_WRITE:
      return AnswerWrite(data, size);
    case ZIP_SOURCE_SEEK_WRITE:
      return Seek(write_at_, data, size);
    case ZIP_SOURCE_TELL_WRITE:
      return static_cast<zip_int64_t>(write_at_);
    case ZIP_SOURCE_SUPPORTS:
      return is_archive_ ? ZIP_SOURCE_SUPPORTS_WRITABLE : ZIP_SOURCE_SUPPORTS_READABLE;
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
    case ZIP_SOURCE_COMMIT_WRITE:
    case ZIP_SOURCE_ROLLBACK_WRITE:
    case ZIP_SOURCE_REMOVE:
      return 0;
    default:
      return Fail(ZIP_ER_OPNOTSUPP);
  }
}

}  // namespace vmr::tool
