// The packets of a flat file: an extract, or what a recorder wrote into one.
#ifndef VMR_RECORDS_FLAT_SOURCE_H_
#define VMR_RECORDS_FLAT_SOURCE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "records/source.h"

namespace vmr::records {

enum class FlatProblem {
  kNone,
  kNotOpened,  // errno says why
  kNoMagic,    // it begins otherwise than a flat file
};

// Owns     the file, open for reading, and a window of 64 KiB.
class FlatSource final : public Source {
 public:
  static std::unique_ptr<FlatSource> Open(const std::string& path, FlatProblem& problem);
  ~FlatSource() override;

  bool Next(std::size_t unused, Stretch& stretch) override;
  std::unique_ptr<Source> Fork() const override;
  bool IsFlat() const override { return true; }
  double Progress() const override;

 private:
  static constexpr std::size_t kWindowBytes = 64 * 1024;

  explicit FlatSource(std::string path) : path_(std::move(path)), window_(kWindowBytes) {}
  std::size_t Fill(std::size_t from);

  std::string path_;
  int fd_ = -1;
  std::int64_t bytes_ = 0;
  std::vector<unsigned char> window_;
  std::size_t used_ = 0;            // bytes in the window
  std::int64_t window_offset_ = 0;  // of its first byte, in the file
  bool at_end_ = false;
  bool has_begun_ = false;
};

}  // namespace vmr::records

#endif  // VMR_RECORDS_FLAT_SOURCE_H_
