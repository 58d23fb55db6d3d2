// ZIP archives as they are handed on: written so that each byte follows from the files in
// them, and read with distrust.
#ifndef VMR_TOOLS_EVIDENCE_ZIP_FILE_H_
#define VMR_TOOLS_EVIDENCE_ZIP_FILE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/evidence/zip_bytes.h"

namespace vmr::tool {

struct ZipPiece {
  std::string name;
  ZipBytes* content;  // not null; read once, from its beginning to its end
};

// Writes `pieces` in their order, each stored as it is and of the time `time_s`, UTC: nothing
// of a compressor's release and nothing of this machine is in the archive. False, and `error`,
// when it cannot be written whole.
bool WriteZip(const std::vector<ZipPiece>& pieces, std::int64_t time_s, ZipBytes& target,
              std::string& error);
// "libzip 1.7.3"; empty when it is not there.
std::string ZipWriterName();

enum class ReadResult : unsigned char {
  kRead,
  kDamaged,     // what is stored is not what was
  kUnreadable,  // nothing tells
};

// An archive, looked at without writing anything.
//
// Errors   what a bag never is, an archive that could harm whoever unpacks it, is refused
//          before anything of it is read: names that lead elsewhere, links, names that are
//          there twice or differ by case alone, more files or more bytes than can be meant.
class ZipArchive {
 public:
  struct Entry {
    std::string name;  // as stored; a folder's ends with '/'
    std::uint64_t bytes = 0;
    std::uint64_t index = 0;
  };
  using Take = std::function<void(std::string_view)>;

  ZipArchive();
  ~ZipArchive();
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  // `bytes` must outlive it. False, and `error`, when it is none, or none to be trusted with.
  bool Open(ZipBytes& bytes, std::string& error);
  // In the order of the archive.
  const std::vector<Entry>& Entries() const { return entries_; }
  // Hands out what `entry` holds piece by piece.
  ReadResult Read(const Entry& entry, const Take& take, std::string& error) const;
  // The same, when it is asked for; must not outlive the archive.
  std::unique_ptr<ZipBytes> ContentOf(const Entry& entry) const;

 private:
  bool ReadEntries(std::uint64_t archive_bytes, std::string& error);
  bool ReadEntry(zip_uint64_t index, std::string& error);

  const Libzip* zip_ = nullptr;
  std::unique_ptr<ZipService> service_;
  zip_t* archive_ = nullptr;
  std::vector<Entry> entries_;
  std::uint64_t stored_bytes_ = 0;
};

// Why a file of this name is not to be read from an archive or a folder; empty: it may be.
std::string WhyRefusedName(std::string_view name);
// Of names that may each be there: two that cannot be beside each other. Empty: all can.
std::string WhyRefusedTogether(const std::vector<std::string>& names);

inline constexpr std::size_t kMostFilesInBag = 1000;
inline constexpr std::uint64_t kMostBytesInBag = std::uint64_t{64} << 30;

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_ZIP_FILE_H_
