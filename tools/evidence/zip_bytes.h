// Where the bytes of an archive, or of a file in it, are read from and written to.
#ifndef VMR_TOOLS_EVIDENCE_ZIP_BYTES_H_
#define VMR_TOOLS_EVIDENCE_ZIP_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <set>
#include <string_view>

#include "tools/evidence/libzip.h"

namespace vmr::tool {

class ZipBytes {
 public:
  virtual ~ZipBytes() = default;
  virtual std::uint64_t Size() const = 0;
  // As many as there are, 0 at the end; negative, and errno, when they cannot be read.
  virtual std::int64_t ReadAt(std::uint64_t offset, void* to, std::size_t count) = 0;
  // False, and errno, when it cannot be written.
  virtual bool WriteAt(std::uint64_t offset, const void* from, std::size_t count);
};

class MemoryBytes final : public ZipBytes {
 public:
  explicit MemoryBytes(std::string_view bytes) : bytes_(bytes) {}
  std::uint64_t Size() const override { return bytes_.size(); }
  std::int64_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;

 private:
  std::string_view bytes_;
};

// A file that is open and stays the caller's.
class FileBytes final : public ZipBytes {
 public:
  explicit FileBytes(int fd);
  std::uint64_t Size() const override { return size_; }
  std::int64_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;
  bool WriteAt(std::uint64_t offset, const void* from, std::size_t count) override;

 private:
  int fd_;
  std::uint64_t size_;
};

// Takes what is written and keeps nothing of it but whether it is what others hold.
class ComparedBytes final : public ZipBytes {
 public:
  explicit ComparedBytes(ZipBytes& original) : original_(original) {}
  std::uint64_t Size() const override { return size_; }
  // What was written is not kept.
  std::int64_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override;
  bool WriteAt(std::uint64_t offset, const void* from, std::size_t count) override;
  // To be asked when all is written; of what was written twice the last counts.
  bool AreEqual() const { return !differs_ && different_.empty() && size_ == original_.Size(); }

 private:
  // An archive's writer begins each file by a header that it writes again behind it: so many
  // bytes may differ for a while.
  static constexpr std::size_t kMostDifferent = 1 << 16;

  ZipBytes& original_;
  std::uint64_t size_ = 0;
  std::set<std::uint64_t> different_;  // offsets
  bool differs_ = false;               // at more of them than are kept
};

// Serves `bytes` to libzip, for one archive or one file in an archive. Must outlive what uses
// its source.
class ZipService {
 public:
  ZipService(const Libzip& zip, ZipBytes& bytes, bool is_archive)
      : zip_(zip), bytes_(bytes), is_archive_(is_archive) {
    zip_.error_init(&error_);
  }
  ~ZipService() { zip_.error_fini(&error_); }
  ZipService(const ZipService&) = delete;
  ZipService& operator=(const ZipService&) = delete;

  // Null when memory does not suffice. libzip frees it once it has taken it over.
  zip_source_t* MakeSource();

 private:
  static zip_int64_t Serve(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command);
  zip_int64_t Answer(void* data, zip_uint64_t size, zip_source_cmd_t command);
  zip_int64_t AnswerRead(void* data, zip_uint64_t size);
  zip_int64_t AnswerWrite(const void* data, zip_uint64_t size);
  zip_int64_t AnswerStat(void* data);
  zip_int64_t Seek(std::uint64_t& at, void* data, zip_uint64_t size);
  zip_int64_t Fail(int what);

  const Libzip& zip_;
  ZipBytes& bytes_;
  const bool is_archive_;
  std::uint64_t read_at_ = 0;
  std::uint64_t write_at_ = 0;
  zip_error_t error_{};
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_ZIP_BYTES_H_
