// Bare system calls: what the ring's guarantee costs at the least, and a file that
// grows packet by packet.
#include <fcntl.h>
#include <unistd.h>

#include "backends/cluster_format.h"
#include "bench/appenders/appender.h"

namespace vmr::bench {
namespace {

class File {
 public:
  File(const std::string& path, int flags)
      : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | flags, 0600)) {
    if (fd_ < 0) throw Failure("no file " + path);
  }
  ~File() { close(fd_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int Fd() const { return fd_; }

 private:
  int fd_;
};

// Two files as large as the ring's and made as they are, by writes of 4096 bytes: the
// pages of a file that was written in larger ones are kept in larger pieces, and each
// sync then costs more.
class Raw : public Appender {
 public:
  explicit Raw(const std::string& folder) : files_{{folder + "/1", 0}, {folder + "/2", 0}} {
    for (const File& file : files_) {
      for (int n = 0; n < kClusterCount; ++n)
        if (write(file.Fd(), cluster_, kClusterBytes) != kClusterBytes)
          throw Failure("no room for a file of 128 MiB");
      if (fsync(file.Fd()) != 0) throw Failure("a file of 128 MiB is not synced");
    }
  }

  bool Append(const unsigned char* packet, std::size_t bytes) override {
    used_ += bytes;
    if (used_ > kMaxClusterPayload) {
      used_ = bytes;
      at_ += kClusterBytes;
    }
    cluster_[0] = packet[bytes - 1];  // what is written is never what stands there
    const int fd = files_[turn_].Fd();
    turn_ = 1 - turn_;
    return pwrite(fd, cluster_, kClusterBytes, at_) == kClusterBytes && fsync(fd) == 0;
  }

 private:
  File files_[2];
  unsigned char cluster_[kClusterBytes] = {};
  std::size_t used_ = 0;
  off_t at_ = 0;
  int turn_ = 0;
};

class AppendedFile : public Appender {
 public:
  explicit AppendedFile(const std::string& folder) : file_(folder + "/log", O_APPEND) {}
  bool Append(const unsigned char* packet, std::size_t bytes) override {
    return write(file_.Fd(), packet, bytes) == static_cast<ssize_t>(bytes) &&
           fdatasync(file_.Fd()) == 0;
  }

 private:
  File file_;
};

}  // namespace

std::unique_ptr<Appender> MakeRaw(const std::string& folder) {
  return std::make_unique<Raw>(folder);
}

std::unique_ptr<Appender> MakeAppendedFile(const std::string& folder) {
  return std::make_unique<AppendedFile>(folder);
}

}  // namespace vmr::bench
