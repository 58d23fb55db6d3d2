#include "backends/data_store_flat.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <limits>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "host/file_ops.h"
#include "host/log.h"

namespace vmr {
namespace {

constexpr mode_t kFileMode = 0660;
constexpr unsigned int kRetryPause_us = 100000;
constexpr ssize_t kMagicBytes = sizeof(kFlatFileMagic);

bool IsMagic(const unsigned char* bytes) { return memcmp(bytes, kFlatFileMagic, kMagicBytes) == 0; }

off_t EndOf(int fd) {
  // -1 where it cannot be had, as when the file is closed.
  return SeekFile(fd, 0, SEEK_END);
}

}  // namespace

// ---- DataStoreFlatMessage ------------------------------------------------------

namespace message {
constexpr char kLogSource[] = "DataStoreFlatMessage.cc";
}

DataStoreFlatMessage::DataStoreFlatMessage(unsigned char* buffer, int size, bool writeHeader)
    : DataStore(DATA_STORE_FLAT_MESSAGE, kSimpleStoreBufferBytes),
      cursor_(buffer),
      room_bytes_(buffer == nullptr ? 0 : size),
      write_header_(writeHeader) {
  PrepareDictionary();
}

int DataStoreFlatMessage::Open() {
  if (OpenInit() == 0) return 0;
  if (write_header_) {
    IgnoreRefusal(WriteData(kFlatFileMagic, kMagicBytes, kNoTick));
    IgnoreRefusal(WriteData(DictionaryBytes(), DictionaryLength(), kNoTick));
  }
  return 1;
}

// Deliberate: does not flush. Callers decide when the buffer is complete.
int DataStoreFlatMessage::Close() { return DataStore::Close(); }

int DataStoreFlatMessage::WriteData(const unsigned char* data, int length,
                                    unsigned int /*sysTick*/) {
  using message::kLogSource;
  if (length > room_bytes_) {
    VMR_LOG(kLogFatal, "Did not leave enough room in buffer for the write");
    return 0;
  }
  if (data == nullptr || length < 1) return 1;  // nothing to take
  memcpy(cursor_, data, static_cast<std::size_t>(length));
  cursor_ += length;
  room_bytes_ -= length;
  bytes_written_ += length;
  return 1;
}

// ---- DataStoreFlatWrite --------------------------------------------------------

namespace flat_write {
constexpr char kLogSource[] = "DataStoreFlatWrite.cc";
}

DataStoreFlatWrite::DataStoreFlatWrite(const std::string& path)
    : DataStore(DATA_STORE_FLAT_WRITE, kSimpleStoreBufferBytes), path_(path) {
  PrepareDictionary();
}

DataStoreFlatWrite::~DataStoreFlatWrite() {
  // Not closed by its owner: pending items are lost, the descriptor is not.
  if (IsOpenDescriptor(fd_)) static_cast<void>(CloseFile(fd_));
}

int DataStoreFlatWrite::Open() {
  using flat_write::kLogSource;
  if (OpenInit() == 0) return 0;
  fd_ = OpenFile(path_, O_RDWR | O_CREAT, kFileMode);
  if (!IsOpenDescriptor(fd_)) {
    const int error = errno;
    fd_ = 0;
    // Deliberate: "%s" stays in the text, as it always has.
    VMR_LOG(kLogError,
            "Could not open %s " << path_ << " for write " << error << TextOfErrno(error));
    Close();
    return 0;
  }
  const off_t end = SeekToEnd();
  if (end < 0) {
    Close();
    return 0;
  }
  if (end == 0) {
    IgnoreRefusal(WriteData(kFlatFileMagic, kMagicBytes, kNoTick));
    IgnoreRefusal(WriteData(DictionaryBytes(), DictionaryLength(), kNoTick));
  } else {
    // Deliberate: whether the file begins with the magic is not looked at.
    VMR_LOG(kLogInfo, "Not writing to the beginning of file " << path_ << " but instead at pos "
                                                              << static_cast<long long>(end));
  }
  return 1;
}

off_t DataStoreFlatWrite::SeekToEnd() {
  using flat_write::kLogSource;
  const off_t end = EndOf(fd_);
  if (end < 0) {
    const int error = errno;
    VMR_LOG(kLogError,
            "Error seeking to end of file (" << path_ << ") " << error << TextOfErrno(error));
  }
  return end;
}

int DataStoreFlatWrite::WriteData(const unsigned char* data, int length, unsigned int /*sysTick*/) {
  using flat_write::kLogSource;
  if (SeekToEnd() < 0) return FailWrite();
  int idle_calls = 0;
  // Deliberate: a length below 1 is a success with nothing to write.
  for (int remaining = data == nullptr ? 0 : length; remaining > 0;) {
    // Deliberate: after a short write the same bytes are offered again from
    // their beginning. Files that such a write left behind are read as they are.
    ssize_t result = WriteFile(fd_, data, static_cast<std::size_t>(remaining));
    VMR_LOG(kLogEachItem, "wrote " << static_cast<long long>(result) << " bytes to flat file");
    if (result == 0 && ++idle_calls > kMaxIdleCalls) {
      errno = EIO;
      result = -1;
    }
    if (result < 0) {
      const int error = errno;
      VMR_LOG(kLogError, "Error writing to file (" << path_ << ") " << error << TextOfErrno(error));
      return FailWrite();
    }
    if (result == 0) static_cast<void>(FileOps::Current().Usleep(kRetryPause_us));
    if (result != 0 && result != remaining) wrote_everything_ = false;  // a short write
    remaining -= static_cast<int>(result);
  }
  return 1;
}

int DataStoreFlatWrite::FailWrite() {
  wrote_everything_ = false;
  return 0;
}

int DataStoreFlatWrite::Close() {
  using flat_write::kLogSource;
  // A store that is closed keeps what is pending: there is no file to take it.
  if (IsOpenDescriptor(fd_)) {
    WriteBuffers();
    if (CloseFile(fd_) != 0) {
      const int error = errno;
      VMR_LOG(kLogError, "close failed: " << error);
      wrote_everything_ = false;
    }
    fd_ = 0;
  }
  return DataStore::Close();
}

// ---- DataStoreFlatRead ---------------------------------------------------------

namespace flat_read {
constexpr char kLogSource[] = "DataStoreFlatRead.cc";
constexpr char kSeekFailed[] = ": Error seeking into file ";
constexpr char kReadFailed[] = ": Error reading file ";
}  // namespace flat_read

DataStoreFlatRead::DataStoreFlatRead(const std::string& path)
    : DataStore(DATA_STORE_FLAT_READ, kSimpleStoreBufferBytes), path_(path) {}

DataStoreFlatRead::~DataStoreFlatRead() {
  if (IsOpenDescriptor(fd_)) static_cast<void>(CloseFile(fd_));
}

int DataStoreFlatRead::Open() {
  using flat_read::kLogSource;
  if (OpenInit() == 0) return 0;
  VMR_LOG(kLogEachItem, "Opening file for read " << path_);
  magic_seen_ = false;
  fd_ = OpenFile(path_, O_RDONLY);
  if (!IsOpenDescriptor(fd_)) {
    const int error = errno;
    fd_ = 0;
    VMR_LOG(kLogError, "Could not open " << path_ << " for read " << error << TextOfErrno(error));
    Close();
    return 0;
  }
  unsigned char head[kMagicBytes];
  if (ReadFile(fd_, head, kMagicBytes) == kMagicBytes && IsMagic(head)) {
    // Deliberate: the first byte in upper case, the others in lower.
    std::printf("[Magic # (0x%02X%02x%02x%02x)]\n", head[0], head[1], head[2], head[3]);
    return 1;
  }
  std::puts("No valid magic # found");
  if (SeekFile(fd_, 0, SEEK_SET) >= 0) return 1;
  const int error = errno;
  VMR_LOG(kLogError, "Error seeking into file " << path_ << " - " << error << TextOfErrno(error));
  Close();
  return 0;
}

int DataStoreFlatRead::WriteData(const unsigned char* /*data*/, int /*length*/,
                                 unsigned int /*sysTick*/) {
  using flat_read::kLogSource;
  VMR_LOG(kLogError, "Got no place to write");
  return 0;
}

ssize_t DataStoreFlatRead::ReadMagic(int& head_bytes) {
  unsigned char first[kMagicBytes];
  if (SeekFile(fd_, 0, SEEK_SET) < 0) {
    FailRead(flat_read::kSeekFailed);
    return -1;
  }
  errno = 0;  // of a file shorter than the magic
  const ssize_t count = ReadFile(fd_, first, kMagicBytes);
  if (count != 0 && count != kMagicBytes) {
    FailRead(flat_read::kReadFailed);
    return -1;
  }
  if (count != 0 && IsMagic(first)) {
    magic_seen_ = true;
    head_bytes = kMagicBytes;
  }
  return count;
}

int DataStoreFlatRead::FailRead(const char* what) const {
  using flat_read::kLogSource;
  const int error = errno;
  VMR_LOG(kLogError, "ReadDataIntoBuffer" << what << path_ << ", errno: " << error
                                          << ", strerror: " << TextOfErrno(error));
  return 0;
}

int DataStoreFlatRead::ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize,
                                          int& bytesRead, long& nextPosition) {
  bytesRead = 0;
  const off_t file_end = EndOf(fd_);
  if (file_end > std::numeric_limits<long>::max()) errno = EOVERFLOW;  // no position reaches it
  if (file_end < 0 || file_end > std::numeric_limits<long>::max())
    return FailRead(flat_read::kSeekFailed);
  const auto end = static_cast<long>(file_end);
  if (position == end) {
    nextPosition = position;
    return 1;
  }
  const long block_start = position / kClusterBytes * kClusterBytes;
  if (block_start == end) return 1;

  // Deliberate: a file without the magic is read as clusters, whose 7-byte
  // headers are no packets. So one file of a ring can be looked at by itself.
  int head = 0;
  if (block_start == 0) {
    const ssize_t first_bytes = ReadMagic(head);
    if (first_bytes < 0) return 0;
    if (first_bytes == 0) {
      nextPosition = end;
      return 1;
    }
  }
  const int skip = magic_seen_ ? 0 : kClusterHeaderBytes;
  const long start = block_start + head + skip;
  if (SeekFile(fd_, start, SEEK_SET) < 0) return FailRead(flat_read::kSeekFailed);
  const int count = kClusterBytes - head - skip;
  if (buffer == nullptr || count > bufferSize) return 0;
  const ssize_t result = ReadFile(fd_, buffer, static_cast<std::size_t>(count));
  if (result < 0) return FailRead(flat_read::kReadFailed);
  bytesRead = static_cast<int>(result);
  nextPosition = result == 0 ? end : start + static_cast<long>(result);
  return 1;
}

int DataStoreFlatRead::Close() {
  const int result = DataStore::Close();
  if (!IsOpenDescriptor(fd_)) return result;
  // Nothing was written; a read-only descriptor has nothing to lose.
  static_cast<void>(SyncFile(fd_));
  const int closed = CloseFile(fd_);
  fd_ = 0;
  return closed;
}

}  // namespace vmr
