#include "tools/evidence/zip_file.h"

#include <errno.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

// ---- Writing ---------------------------------------------------------------------

struct DosTime {
  zip_uint16_t time;
  zip_uint16_t date;
};

// The format knows 1980 to 2107, by two seconds.
DosTime DosTimeOf(std::int64_t time_s) {
  constexpr std::int64_t kFirst = 315532800;  // 1980-01-01 00:00:00 UTC
  constexpr std::int64_t kLast = 4354819198;  // 2107-12-31 23:59:58
  const time_t time = static_cast<time_t>(std::clamp(time_s, kFirst, kLast));
  struct tm civil {};
  gmtime_r(&time, &civil);
  return {static_cast<zip_uint16_t>(civil.tm_hour << 11 | civil.tm_min << 5 | civil.tm_sec / 2),
          static_cast<zip_uint16_t>((civil.tm_year - 80) << 9 | (civil.tm_mon + 1) << 5 |
                                    civil.tm_mday)};
}

bool AddPiece(const Libzip& zip, zip_t* archive, const ZipPiece& piece, const DosTime& time,
              ZipService& service) {
  constexpr zip_uint32_t kReadableFile = static_cast<zip_uint32_t>(S_IFREG | 0644) << 16;
  zip_source_t* const source = service.MakeSource();
  if (source == nullptr) return false;
  const zip_int64_t index = zip.file_add(archive, piece.name.c_str(), source, ZIP_FL_ENC_GUESS);
  if (index < 0) {
    zip.source_free(source);
    return false;
  }
  const auto number = static_cast<zip_uint64_t>(index);
  return zip.set_file_compression(archive, number, ZIP_CM_STORE, 0) == 0 &&
         zip.file_set_dostime(archive, number, time.time, time.date, 0) == 0 &&
         zip.file_set_external_attributes(archive, number, 0, ZIP_OPSYS_UNIX, kReadableFile) == 0;
}

std::string TextAndFree(const Libzip& zip, zip_error_t& error) {
  std::string text = zip.error_strerror(&error);
  zip.error_fini(&error);
  return text;
}

// ---- Reading ---------------------------------------------------------------------

// A page of zeros packs 1000 to 1, what a bag holds not even 100 to 1.
constexpr std::uint64_t kMostPacked = 200;
constexpr std::uint64_t kSmallBytes = std::uint64_t{16} << 20;

// Whether a file of an archive is a link, a device or the like. Whatever system it says that it
// was made on: some that unpack it do not ask.
bool IsNeitherFileNorFolder(zip_uint32_t attributes) {
  const auto kind = static_cast<mode_t>(attributes >> 16) & S_IFMT;
  return kind != 0 && kind != S_IFREG && kind != S_IFDIR;
}

// Of an archive, asked for in order.
class EntryBytes final : public ZipBytes {
 public:
  EntryBytes(const Libzip& zip, zip_t* archive, const ZipArchive::Entry& entry)
      : zip_(zip), size_(entry.bytes), file_(zip.fopen_index(archive, entry.index, 0)) {}
  ~EntryBytes() override {
    if (file_ != nullptr) zip_.fclose(file_);
  }
  std::uint64_t Size() const override { return size_; }
  std::int64_t ReadAt(std::uint64_t offset, void* to, std::size_t count) override {
    errno = EIO;
    if (file_ == nullptr || offset != at_) return -1;
    const zip_int64_t got = zip_.fread(file_, to, count);
    if (got > 0) at_ += static_cast<std::uint64_t>(got);
    return got;
  }

 private:
  const Libzip& zip_;
  std::uint64_t size_;
  zip_file_t* file_;
  std::uint64_t at_ = 0;
};

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

}  // namespace

bool WriteZip(const std::vector<ZipPiece>& pieces, std::int64_t time_s, ZipBytes& target,
              std::string& error) {
  const Libzip* const zip = LoadLibzip(error);
  if (zip == nullptr) return false;
  ZipService service(*zip, target, true);
  std::vector<std::unique_ptr<ZipService>> services;
  zip_source_t* const source = service.MakeSource();
  zip_error_t why;
  zip->error_init(&why);
  zip_t* const archive =
      source == nullptr ? nullptr : zip->open_from_source(source, ZIP_CREATE | ZIP_TRUNCATE, &why);
  if (archive == nullptr) {
    if (source != nullptr) zip->source_free(source);
    error = TextAndFree(*zip, why);
    return false;
  }
  const DosTime time = DosTimeOf(time_s);
  bool good = true;
  for (const ZipPiece& piece : pieces) {
    services.push_back(std::make_unique<ZipService>(*zip, *piece.content, false));
    good = good && AddPiece(*zip, archive, piece, time, *services.back());
  }
  if (good && zip->close(archive) == 0) return true;
  error = zip->strerror(archive);
  zip->discard(archive);
  return false;
}

std::string ZipWriterName() {
  std::string error;
  const Libzip* const zip = LoadLibzip(error);
  return zip == nullptr ? "" : fmt::format("libzip {}", zip->libzip_version());
}

std::string WhyRefusedName(std::string_view name) {
  constexpr std::size_t kLongest = 255;
  const bool is_folder = !name.empty() && name.back() == '/';
  if (is_folder) name.remove_suffix(1);
  if (name.empty() || name.front() == '/') return "is no name inside a folder";
  if (name.size() > kLongest) return "is too long a name";
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte >= 0x7F) return "has characters that no file of a bag has in its name";
    if (c == '\\' || c == ':') return "means another place on some systems";
  }
  for (std::size_t at = 0; at <= name.size();) {
    const std::size_t end = std::min(name.find('/', at), name.size());
    const std::string_view part = name.substr(at, end - at);
    if (part.empty() || part == "." || part == "..") return "leads elsewhere";
    at = end + 1;
  }
  return {};
}

std::string WhyRefusedTogether(const std::vector<std::string>& names) {
  std::map<std::string, std::string> seen;  // by its name in lower case, without the last '/'
  for (const std::string& name : names) {
    std::string key = LowerCase(name);
    if (key.back() == '/') key.pop_back();
    const auto [other, is_new] = seen.emplace(key, name);
    if (!is_new)
      return name == other->second
                 ? fmt::format("{} is in it twice", name)
                 : fmt::format("{} and {} differ by case alone", other->second, name);
  }
  for (const auto& [key, name] : seen)
    for (std::size_t at = key.find('/'); at != std::string::npos; at = key.find('/', at + 1)) {
      const auto above = seen.find(key.substr(0, at));
      if (above == seen.end()) continue;
      if (above->second.back() != '/')
        return fmt::format("{} is a file and a folder", above->second);
      if (above->second.compare(0, at, name, 0, at) != 0)
        return fmt::format("{} and {} differ by case alone", above->second, name);
    }
  return {};
}

ZipArchive::ZipArchive() = default;

ZipArchive::~ZipArchive() {
  if (archive_ != nullptr) zip_->discard(archive_);
}

bool ZipArchive::Open(ZipBytes& bytes, std::string& error) {
  zip_ = LoadLibzip(error);
  if (zip_ == nullptr) return false;
  service_ = std::make_unique<ZipService>(*zip_, bytes, true);
  zip_source_t* const source = service_->MakeSource();
  zip_error_t why;
  zip_->error_init(&why);
  if (source != nullptr)
    archive_ = zip_->open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &why);
  if (archive_ == nullptr) {
    if (source != nullptr) zip_->source_free(source);
    const bool has_twins = why.zip_err == ZIP_ER_EXISTS;
    const std::string text = TextAndFree(*zip_, why);
    error = has_twins ? "holds two files of one name"
                      : fmt::format("is no ZIP archive that can be read ({})", text);
    return false;
  }
  return ReadEntries(bytes.Size(), error);
}

bool ZipArchive::ReadEntries(std::uint64_t archive_bytes, std::string& error) {
  const zip_int64_t count = zip_->get_num_entries(archive_, 0);
  if (count < 0 || static_cast<std::size_t>(count) > kMostFilesInBag) {
    error = fmt::format("holds {} files; more than {} are in no bag of evidence", count,
                        kMostFilesInBag);
    return false;
  }
  std::vector<std::string> names;
  std::uint64_t all_bytes = 0;
  for (zip_int64_t index = 0; index < count; ++index) {
    if (!ReadEntry(static_cast<zip_uint64_t>(index), error)) return false;
    names.push_back(entries_.back().name);
    all_bytes += entries_.back().bytes;
  }
  error = WhyRefusedTogether(names);
  if (all_bytes > kMostBytesInBag)
    error = fmt::format("unpacks to {} bytes, more than can be meant", all_bytes);
  // Files that share their packed bytes make a small archive unpack to any size.
  if (stored_bytes_ > archive_bytes) error = "has files that lie over each other";
  return error.empty();
}

bool ZipArchive::ReadEntry(zip_uint64_t index, std::string& error) {
  zip_stat_t status{};
  const char* const name = zip_->get_name(archive_, index, ZIP_FL_ENC_RAW);
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (name == nullptr || zip_->stat_index(archive_, index, ZIP_FL_ENC_RAW, &status) != 0 ||
      zip_->file_get_external_attributes(archive_, index, 0, &system, &attributes) != 0) {
    error = fmt::format("its file {} cannot be looked at", index);
    return false;
  }
  Entry entry{name, status.size, index};
  const std::string shown = Printable(entry.name);
  const auto refuse = [&](const std::string& why) {
    error = fmt::format("{} {}", shown.empty() ? "a file" : shown, why);
    return false;
  };
  if (const std::string why = WhyRefusedName(entry.name); !why.empty()) return refuse(why);
  if (IsNeitherFileNorFolder(attributes)) return refuse("is a link or a device");
  if (status.encryption_method != ZIP_EM_NONE) return refuse("is encrypted");
  if (status.comp_method != ZIP_CM_STORE && status.comp_method != ZIP_CM_DEFLATE)
    return refuse("is packed in a way that is not read here");
  if (status.size > kSmallBytes && status.size / kMostPacked > status.comp_size)
    return refuse("unpacks to more than can be meant");
  if (entry.name.back() == '/' && status.size > 0) return refuse("is a folder and holds bytes");
  stored_bytes_ += status.comp_size;
  entries_.push_back(std::move(entry));
  return true;
}

ReadResult ZipArchive::Read(const Entry& entry, const Take& take, std::string& error) const {
  error.clear();
  zip_file_t* const file = zip_->fopen_index(archive_, entry.index, 0);
  if (file == nullptr) return error = zip_->strerror(archive_), ReadResult::kDamaged;
  std::vector<char> piece(kPieceBytes);
  std::uint64_t got_bytes = 0;
  zip_int64_t got = 0;
  while ((got = zip_->fread(file, piece.data(), piece.size())) > 0) {
    got_bytes += static_cast<std::uint64_t>(got);
    if (got_bytes > entry.bytes) break;
    take({piece.data(), static_cast<std::size_t>(got)});
  }
  if (got < 0) error = zip_->file_strerror(file);
  zip_->fclose(file);
  if (got == 0 && got_bytes != entry.bytes)
    error = fmt::format("ends after {} of {} bytes", got_bytes, entry.bytes);
  if (got > 0) error = "goes on behind its end";
  return error.empty() ? ReadResult::kRead : ReadResult::kDamaged;
}

std::unique_ptr<ZipBytes> ZipArchive::ContentOf(const Entry& entry) const {
  return std::make_unique<EntryBytes>(*zip_, archive_, entry);
}

}  // namespace vmr::tool
