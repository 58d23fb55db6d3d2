// A bag as it is found: an archive, or a folder that it was unpacked into.
#ifndef VMR_TOOLS_EVIDENCE_BAG_SOURCE_H_
#define VMR_TOOLS_EVIDENCE_BAG_SOURCE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/evidence/zip_file.h"

namespace vmr::tool {

// Writes nothing.
class BagSource {
 public:
  struct File {
    std::string name;  // in the bag
    std::uint64_t bytes = 0;
    std::size_t index = 0;
  };
  using Take = std::function<void(std::string_view)>;
  // Of files that are kept in memory: manifests, keys.
  static constexpr std::uint64_t kMostSmallBytes = std::uint64_t{16} << 20;

  virtual ~BagSource() = default;
  const std::vector<File>& Files() const { return files_; }
  // Files in the archive beside the bag's folder.
  const std::vector<std::string>& Beside() const { return beside_; }
  virtual ReadResult Read(const File& file, const Take& take, std::string& error) const = 0;
  ReadResult ReadSmall(const File& file, std::string& content, std::string& error) const;

 protected:
  std::vector<File> files_;
  std::vector<std::string> beside_;
};

class ZipBag final : public BagSource {
 public:
  // `bytes` must outlive it. Null, and `error`, when it is no archive of a bag, or one that
  // could harm whoever unpacks it.
  static std::unique_ptr<ZipBag> Open(ZipBytes& bytes, std::string& error);

  ReadResult Read(const File& file, const Take& take, std::string& error) const override;
  std::unique_ptr<ZipBytes> ContentOf(const File& file) const;
  // The bag's folder in the archive, such as "evidence/"; may be empty.
  const std::string& Base() const { return base_; }
  // Its files stand as they are written.
  bool IsInOrder() const;
  // Byte for byte what would be written of its files. `time_s`: of packaging.
  bool IsAsWritten(ZipBytes& bytes, std::int64_t time_s) const;

 private:
  bool FindBase(std::string& error);

  ZipArchive archive_;
  std::string base_;
};

class FolderBag final : public BagSource {
 public:
  // Null, and `error`, when it is no bag, or holds links or the like.
  static std::unique_ptr<FolderBag> Open(const std::string& folder, std::string& error);

  ReadResult Read(const File& file, const Take& take, std::string& error) const override;

 private:
  bool List(std::string& error);

  std::string folder_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_BAG_SOURCE_H_
