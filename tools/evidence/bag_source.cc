#include "tools/evidence/bag_source.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/evidence/bag_format.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;

// A file of any of these names makes its folder one of a bag.
constexpr std::string_view kBagMarks[] = {kBagitFile, kManifestFile, kTagManifestFile};

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

ReadResult BagSource::ReadSmall(const File& file, std::string& content, std::string& error) const {
  if (file.bytes > kMostSmallBytes) {
    error = "is longer than any file of its kind";
    return ReadResult::kUnreadable;
  }
  content.clear();
  return Read(
      file, [&content](std::string_view piece) { content += piece; }, error);
}

// ---- Archives --------------------------------------------------------------------

std::unique_ptr<ZipBag> ZipBag::Open(ZipBytes& bytes, std::string& error) {
  auto bag = std::make_unique<ZipBag>();
  if (!bag->archive_.Open(bytes, error) || !bag->FindBase(error)) return nullptr;
  std::size_t index = 0;
  for (const ZipArchive::Entry& entry : bag->archive_.Entries()) {
    const bool is_inside = entry.name.rfind(bag->base_, 0) == 0;
    if (entry.name.back() != '/' && is_inside)
      bag->files_.push_back({entry.name.substr(bag->base_.size()), entry.bytes, index});
    else if (!is_inside)
      bag->beside_.push_back(entry.name);
    ++index;
  }
  return bag;
}

// At the top, or in one folder there.
bool ZipBag::FindBase(std::string& error) {
  std::set<std::string> bases;
  for (const ZipArchive::Entry& entry : archive_.Entries())
    for (const std::string_view mark : kBagMarks) {
      if (!EndsWith(entry.name, mark)) continue;
      const std::string base = entry.name.substr(0, entry.name.size() - mark.size());
      const std::size_t slash = base.find('/');
      if (base.empty() || slash + 1 == base.size()) bases.insert(base);
    }
  if (bases.size() != 1)
    return error =
               bases.empty() ? "holds no bag" : "holds several bags, and which is meant is open",
           false;
  base_ = *bases.begin();
  return true;
}

ReadResult ZipBag::Read(const File& file, const Take& take, std::string& error) const {
  return archive_.Read(archive_.Entries()[file.index], take, error);
}

std::unique_ptr<ZipBytes> ZipBag::ContentOf(const File& file) const {
  return archive_.ContentOf(archive_.Entries()[file.index]);
}

bool ZipBag::IsInOrder() const {
  return std::is_sorted(files_.begin(), files_.end(),
                        [](const File& a, const File& b) { return StandsBefore(a.name, b.name); });
}

bool ZipBag::IsAsWritten(ZipBytes& bytes, std::int64_t time_s) const {
  std::vector<File> files = files_;
  std::sort(files.begin(), files.end(),
            [](const File& a, const File& b) { return StandsBefore(a.name, b.name); });
  std::vector<std::unique_ptr<ZipBytes>> contents;
  std::vector<ZipPiece> pieces;
  for (const File& file : files) {
    contents.push_back(ContentOf(file));
    pieces.push_back({kBagFolder + file.name, contents.back().get()});
  }
  ComparedBytes compared(bytes);
  std::string ignored;  // what cannot be written again is not what was written
  return WriteZip(pieces, time_s, compared, ignored) && compared.AreEqual();
}

// ---- Folders ---------------------------------------------------------------------

std::unique_ptr<FolderBag> FolderBag::Open(const std::string& folder, std::string& error) {
  auto bag = std::make_unique<FolderBag>();
  bag->folder_ = folder;
  if (!bag->List(error)) return nullptr;
  const bool is_bag = std::any_of(bag->files_.begin(), bag->files_.end(), [](const File& file) {
    return std::find(std::begin(kBagMarks), std::end(kBagMarks), file.name) != std::end(kBagMarks);
  });
  if (!is_bag) error = "is no bag: it has neither bagit.txt nor manifests";
  return is_bag ? std::move(bag) : nullptr;
}

bool FolderBag::List(std::string& error) {
  std::error_code problem;
  std::vector<std::string> names;
  std::uint64_t bytes = 0;
  auto entry = fs::recursive_directory_iterator(folder_, problem);
  for (; !problem && entry != fs::recursive_directory_iterator(); entry.increment(problem)) {
    const std::string name = entry->path().lexically_relative(folder_).string();
    const fs::file_status status = entry->symlink_status(problem);
    if (problem) break;
    if (fs::is_directory(status)) continue;
    if (names.size() >= kMostFilesInBag) return error = "holds more files than any bag", false;
    if (!fs::is_regular_file(status))
      return error = fmt::format("{} is a link or a device", Printable(name)), false;
    if (const std::string why = WhyRefusedName(name); !why.empty())
      return error = fmt::format("{} {}", Printable(name), why), false;
    files_.push_back({name, entry->file_size(problem), files_.size()});
    names.push_back(name);
    bytes += problem ? 0 : files_.back().bytes;
    if (bytes > kMostBytesInBag)
      return error =
                 fmt::format("holds more than {} bytes, more than can be meant", kMostBytesInBag),
             false;
  }
  if (problem)
    return error = names.empty() ? problem.message()
                                 : fmt::format("behind {}: {}", names.back(), problem.message()),
           false;
  error = WhyRefusedTogether(names);
  return error.empty();
}

ReadResult FolderBag::Read(const File& file, const Take& take, std::string& error) const {
  const int fd =
      OpenFile((fs::path(folder_) / file.name).string(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!IsOpenDescriptor(fd)) return error = TextOfErrno(), ReadResult::kUnreadable;
  std::vector<char> piece(std::size_t{64} * 1024);
  ssize_t got = 0;
  while ((got = ReadFile(fd, piece.data(), piece.size())) > 0)
    take({piece.data(), static_cast<std::size_t>(got)});
  if (got < 0) error = TextOfErrno();
  static_cast<void>(CloseFile(fd));  // nothing was written
  return got < 0 ? ReadResult::kUnreadable : ReadResult::kRead;
}

}  // namespace vmr::tool
