// A recording's files in memory, made for a fuzz target that sets them up anew
// for each of its many inputs.
#ifndef VMR_FUZZ_MEMORY_FILES_H_
#define VMR_FUZZ_MEMORY_FILES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/file_ops.h"

namespace vmr::fuzz {

// Files are tables of pages. All pages of one content are kept once, so that the
// 128 MB of an empty ring file take 64 KB.
//
// Owns     its files. In use as FileOps while it lives; the memory of one input
//          serves the next.
// Threads  none.
// Errors   what no store may do, such as using a descriptor that is not open,
//          ends the process.
class MemoryFiles : public FileOps {
 public:
  static constexpr int kPageBytes = 4096;
  using Page = std::array<unsigned char, kPageBytes>;

  MemoryFiles() : before_(Use(this)) {}
  ~MemoryFiles() override { Use(before_); }
  MemoryFiles(const MemoryFiles&) = delete;
  MemoryFiles& operator=(const MemoryFiles&) = delete;

  // ---- Setting up and looking; none of it counts ---------------------------------

  // Forgets all files, counts and descriptors.
  void Clear();
  // A file of `bytes` bytes, of which every page is `background`.
  void MakeFile(const char* path, long bytes, const Page& background);
  // A file with the bytes as they are.
  void MakeFile(const char* path, const unsigned char* data, std::size_t size);
  void MakeDirectory(const char* path);
  void SetSize(const char* path, long bytes) { Get(path).size = bytes; }
  void SetMode(const char* path, mode_t mode) { Get(path).mode = mode; }
  void SetPage(const char* path, int page, const Page& content);
  // Reading the page fails with EIO until it is written.
  void SpoilPage(const char* path, int page);
  // From now on so many bytes find room.
  void SetRoom(long bytes) { room_ = bytes; }

  void ForgetCounts();

  bool Exists(const char* path) const { return Find(path) != nullptr; }
  long Size(const char* path) const { return Find(path)->size; }
  // The page's bytes; false when it cannot be read or is not there.
  bool ReadPage(const char* path, int page, unsigned char* to) const;
  std::vector<unsigned char> ReadAll(const char* path) const;

  // Calls since ForgetCounts.
  int Reads() const { return reads_; }
  // Calls that changed or removed a file, those that changed the one at `path` left
  // out.
  int ChangesBeside(const char* path) const;
  int Changes() const { return ChangesBeside(""); }
  int OpenDescriptors() const;

  // ---- FileOps -------------------------------------------------------------------

  int Open(const char* path, int flags, mode_t mode) override;
  ssize_t Read(int fd, void* buffer, std::size_t count) override;
  ssize_t Write(int fd, const void* data, std::size_t count) override;
  off_t Lseek(int fd, off_t offset, int whence) override;
  int Fsync(int fd) override;
  int Close(int fd) override;
  int Stat(const char* path, struct stat* status) override;
  int Chmod(const char* path, mode_t mode) override;
  int Rename(const char* from, const char* to) override;
  int Unlink(const char* path) override;
  int Remove(const char* path) override { return Unlink(path); }
  int System(const char* command) override;
  int Usleep(unsigned int microseconds) override;

 private:
  using PageNumber = std::uint16_t;
  static constexpr PageNumber kSpoiled = 0xFFFF;
  static constexpr std::size_t kMostFiles = 8;

  struct File {
    std::string path;  // empty: no file
    long size = 0;
    mode_t mode = 0;
    int changes = 0;
    PageNumber background = 0;
    std::vector<PageNumber> pages;  // behind them all is background
  };
  struct Descriptor {
    File* file = nullptr;  // null: a directory
    bool open = false;
    bool writable = false;
    long offset = 0;
  };
  static constexpr int kFirstDescriptor = 3;

  const File* Find(const char* path) const;
  File* Find(const char* path);
  File& Get(const char* path);
  File& NewFile(const char* path);
  Descriptor& Opened(int fd);
  PageNumber PageAt(const File& file, int page) const;
  void PutPage(File& file, int page, PageNumber number);
  PageNumber Keep(const unsigned char* bytes);
  Page& NewPage();
  static int Fail(int error);

  std::array<File, kMostFiles> files_;
  std::deque<Page> kept_;
  std::size_t kept_count_ = 0;
  std::array<Descriptor, 16> descriptors_{};
  long room_ = 0;
  int reads_ = 0;
  int removals_ = 0;
  FileOps* before_;
};

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_MEMORY_FILES_H_
