#include "tests/crash/cow_files.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vmr::crash {
namespace {

constexpr mode_t kRegular0660 = S_IFREG | 0660;

const char* const kPaths[] = {"/m/r_1.mtd",
                              "/m/r_2.mtd",
                              "/m/r_1.mtd.tmp",
                              "/m/r_2.mtd.tmp",
                              "/m/r_1.mtd.CORRUPT",
                              "/m/r_2.mtd.CORRUPT",
                              "/m/r_2.mtd.CORRUPT.1",
                              "/m/flat",
                              "/m"};

std::size_t Index(int number) { return static_cast<std::size_t>(number); }

// A mistake of the harness or a call that no store may make.
[[noreturn]] void GiveUp(const char* what) {
  dprintf(STDERR_FILENO, "crash files: %s\n", what);  // stderr may lead nowhere
  std::abort();
}

// A path without a name leads nowhere, and is no call on a file.
int NotFound() {
  errno = ENOENT;
  return -1;
}

}  // namespace

const char* PathOf(int name) { return kPaths[name]; }

const char* NameOf(Call call) {
  static const char* const kCallNames[] = {"open", "read",  "write",  "lseek",  "fsync",  "close",
                                           "stat", "chmod", "rename", "unlink", "system", "usleep"};
  return kCallNames[static_cast<int>(call)];
}

CowFiles::CowFiles() : before_(FileOps::Use(this)) {}

CowFiles::~CowFiles() { FileOps::Use(before_); }

// ---- Setting up and looking -------------------------------------------------------

void CowFiles::Clear() {
  names_ = {};
  DropFiles(0);
  changes_.clear();
  descriptors_ = {};
  done_.clear();
  fault_ = {};
  chunk_ = chunk_used_ = 0;
  last_page_ = nullptr;
  room_ = std::numeric_limits<std::int64_t>::max();
}

CowFiles::File* CowFiles::NewFile() {
  if (spare_.empty()) spare_.push_back(std::make_unique<File>());
  files_.push_back(std::move(spare_.back()));
  spare_.pop_back();
  File& file = *files_.back();
  file.pages.clear();
  file.background = {};
  file.size = 0;
  file.mode = kRegular0660;
  return &file;
}

void CowFiles::DropFiles(std::size_t but) {
  for (; files_.size() > but; files_.pop_back()) spare_.push_back(std::move(files_.back()));
}

void CowFiles::MakeRing(int name) {
  MakeFile(name, static_cast<long>(kPages) * kPageBytes, kRegular0660);
  names_[Index(name)]->pages.resize(kPages);
}

void CowFiles::MakeFile(int name, long size, mode_t mode) {
  File* const file = NewFile();
  file->size = size;
  file->mode = mode;
  names_[Index(name)] = file;
}

void CowFiles::NameAs(int name, int from) { names_[Index(name)] = names_[Index(from)]; }

void CowFiles::TakeName(int name) { names_[Index(name)] = nullptr; }

void CowFiles::CopyFile(int from, int to) {
  File* const file = NewFile();
  *file = *names_[Index(from)];
  names_[Index(to)] = file;
}

void CowFiles::SetSize(int name, long size) {
  NoteSize(*names_[Index(name)]);
  names_[Index(name)]->size = size;
}

void CowFiles::SetMode(int name, mode_t mode) {
  NoteSize(*names_[Index(name)]);
  names_[Index(name)]->mode = mode;
}

void CowFiles::SetPage(int name, int page, const Page& content) {
  ChangePage(*names_[Index(name)], page, content);
}

void CowFiles::SetBackground(int name, const Page& content) {
  names_[Index(name)]->background = content;
}

unsigned char* CowFiles::Allocate(std::size_t bytes) {
  if (chunks_.empty() || chunk_used_ + bytes > kChunkBytes) {
    if (!chunks_.empty()) ++chunk_;
    if (chunk_ >= chunks_.size()) chunks_.emplace_back(new unsigned char[kChunkBytes]);
    chunk_used_ = 0;
  }
  unsigned char* const at = chunks_[chunk_].get() + chunk_used_;
  chunk_used_ += bytes;
  return at;
}

Page CowFiles::MakePage(const unsigned char* bytes, int used) {
  unsigned char* const at = Allocate(Index(used));
  memcpy(at, bytes, Index(used));
  return {at, static_cast<std::uint16_t>(used), 0};
}

long CowFiles::Size(int name) const { return names_[Index(name)]->size; }

mode_t CowFiles::Mode(int name) const { return names_[Index(name)]->mode; }

const Page& CowFiles::PageOf(const File& file, int page) {
  return Index(page) < file.pages.size() ? file.pages[Index(page)] : file.background;
}

const Page& CowFiles::PageAt(int name, int page) const {
  return PageOf(*names_[Index(name)], page);
}

bool CowFiles::ReadRaw(int name, int page, unsigned char* to) const {
  const File* const file = names_[Index(name)];
  if (file == nullptr || file->size < (page + 1L) * kPageBytes) return false;
  const Page& content = PageAt(name, page);
  Fill(content, to);
  return content.bad_sectors == 0;
}

std::vector<unsigned char> CowFiles::ReadAll(int name) const {
  const auto size = static_cast<std::size_t>(Size(name));
  std::vector<unsigned char> bytes;
  unsigned char page[kPageBytes];
  for (int n = 0; bytes.size() < size; ++n) {
    Fill(PageAt(name, n), page);
    bytes.insert(bytes.end(), page, page + std::min<std::size_t>(kPageBytes, size - bytes.size()));
  }
  return bytes;
}

void CowFiles::Fill(const Page& page, unsigned char* to) {
  if (page.used > 0) memcpy(to, page.bytes, page.used);
  memset(to + page.used, 0, Index(kPageBytes - page.used));
}

// ---- Undo -------------------------------------------------------------------------

CowFiles::Mark CowFiles::Set() const {
  return {changes_.size(), files_.size(), chunk_, chunk_used_, done_.size(), names_};
}

void CowFiles::Undo(const Mark& mark, bool keep_pages) {
  while (changes_.size() > mark.changes) {
    const Change& change = changes_.back();
    if (change.page < 0) {
      change.file->size = change.size;
      change.file->mode = change.mode;
    } else {
      change.file->pages[Index(change.page)] = change.before;
    }
    changes_.pop_back();
  }
  names_ = mark.names;
  descriptors_ = {};
  if (keep_pages) return;
  last_page_ = nullptr;
  DropFiles(mark.files);
  chunk_ = mark.chunk;
  chunk_used_ = mark.chunk_used;
  done_.resize(std::min(done_.size(), mark.done));
}

void CowFiles::NoteSize(File& file) { changes_.push_back({&file, -1, {}, file.size, file.mode}); }

void CowFiles::ChangePage(File& file, int page, const Page& content) {
  if (Index(page) >= file.pages.size()) file.pages.resize(Index(page) + 1, file.background);
  Page& held = file.pages[Index(page)];
  changes_.push_back({&file, page, held, 0, 0});
  held = content;
}

// ---- Calls ------------------------------------------------------------------------

int CowFiles::Lookup(const char* path) const {
  for (int name = 0; name <= kDirectory; ++name)
    if (std::strcmp(kPaths[name], path) == 0) return name;
  if (other_paths_are_flat_) return kFlat;
  GiveUp(path);
}

bool CowFiles::LeadsToFile(int name) const {
  return Exists(name) && !S_ISLNK(names_[Index(name)]->mode);
}

CowFiles::Descriptor* CowFiles::Find(int fd) {
  if (fd < 0 || Index(fd) >= descriptors_.size() || !descriptors_[Index(fd)].open)
    GiveUp("bad descriptor");
  return &descriptors_[Index(fd)];
}

Done CowFiles::Note(Call call, int name) const {
  Done note{};
  note.call = call;
  note.name = name;
  note.to = -1;
  return note;
}

int CowFiles::Count(Call call, std::size_t from) const {
  return static_cast<int>(std::count_if(done_.begin() + static_cast<long>(from), done_.end(),
                                        [call](const Done& done) { return done.call == call; }));
}

int CowFiles::ChangesBeside(int name) const {
  const auto changes = [name](const Done& done) {
    if (done.error != 0 || done.name == name) return false;
    switch (done.call) {
      case Call::kOpen:
        return done.create;
      case Call::kSystem:
        return done.to != name;
      case Call::kWrite:
      case Call::kChmod:
      case Call::kRename:
      case Call::kUnlink:
        return true;
      default:
        return false;
    }
  };
  return static_cast<int>(std::count_if(done_.begin(), done_.end(), changes));
}

int CowFiles::OpenDescriptors() const {
  return static_cast<int>(std::count_if(descriptors_.begin(), descriptors_.end(),
                                        [](const Descriptor& one) { return one.open; }));
}

bool CowFiles::Strikes(const Done& done) {
  done_.push_back(done);
  done_.back().sites = SitesNow();
  if (fault_.call != done.call) return false;
  if (fault_.name != kAnyName && fault_.name != done.name) return false;
  if (fault_.skip > 0) {
    --fault_.skip;
    return false;
  }
  if (struck_ >= fault_.times && !fault_.forever) return false;
  if (struck_++ == 0) first_struck_ = done_.size() - 1;
  return true;
}

int CowFiles::FailWith(int error) {
  done_.back().error = error;
  errno = error;
  return -1;
}

int CowFiles::Open(const char* path, int flags, mode_t mode) {
  if (*path == '\0') return NotFound();
  const int name = Lookup(path);
  Done note = Note(Call::kOpen, name);
  note.create = (flags & O_CREAT) != 0;
  if (Strikes(note)) return FailWith(fault_.error);
  if ((flags & O_CLOEXEC) == 0) GiveUp("open without close-on-exec");
  if ((flags & O_EXCL) != 0 && Exists(name)) return FailWith(EEXIST);
  const bool makes = (flags & O_TRUNC) != 0 || ((flags & O_CREAT) != 0 && !Exists(name));
  if (name != kDirectory && makes) MakeFile(name, 0, S_IFREG | mode);
  if (name != kDirectory && !LeadsToFile(name)) return FailWith(ENOENT);
  for (std::size_t fd = zero_is_free_ ? 0 : 3; fd < descriptors_.size(); ++fd) {
    if (descriptors_[fd].open || fd == 1 || fd == 2) continue;
    descriptors_[fd] = {name == kDirectory ? nullptr : names_[Index(name)], name, true,
                        (flags & O_ACCMODE) != O_RDONLY, 0};
    return static_cast<int>(fd);
  }
  GiveUp("descriptors leak");
}

ssize_t CowFiles::Read(int fd, void* buffer, std::size_t count) {
  Descriptor& descriptor = *Find(fd);
  Done note = Note(Call::kRead, descriptor.name);
  note.page = static_cast<int>(descriptor.offset / kPageBytes);
  note.bytes = static_cast<int>(count);
  if (Strikes(note)) {
    if (fault_.error != 0) return FailWith(fault_.error);
    count = Shortened(count);
  }
  const long moved = MoveOut(descriptor, static_cast<unsigned char*>(buffer), count);
  return moved < 0 ? FailWith(EIO) : moved;
}

std::size_t CowFiles::Shortened(std::size_t count) const {
  if (fault_.short_by >= kPageBytes) return 0;
  return std::max<std::size_t>(1, count - std::min(count, Index(fault_.short_by)));
}

long CowFiles::MoveOut(Descriptor& descriptor, unsigned char* to, std::size_t count) {
  const File& file = *descriptor.file;
  const long left = std::max(0L, file.size - descriptor.offset);
  const int in_page = static_cast<int>(descriptor.offset % kPageBytes);
  const long moved =
      std::min({static_cast<long>(count), left, static_cast<long>(kPageBytes - in_page)});
  if (moved == 0) return 0;
  const Page& content = PageOf(file, static_cast<int>(descriptor.offset / kPageBytes));
  const int last_sector = (in_page + static_cast<int>(moved) - 1) / kSectorBytes;
  for (int sector = in_page / kSectorBytes; sector <= last_sector; ++sector)
    if ((content.bad_sectors >> sector & 1) != 0) return -1;
  if (moved == kPageBytes) {
    Fill(content, to);
  } else {
    unsigned char whole[kPageBytes];
    Fill(content, whole);
    memcpy(to, whole + in_page, static_cast<std::size_t>(moved));
  }
  descriptor.offset += moved;
  return moved;
}

ssize_t CowFiles::Write(int fd, const void* data, std::size_t count) {
  Descriptor& descriptor = *Find(fd);
  Done note = Note(Call::kWrite, descriptor.name);
  note.page = static_cast<int>(descriptor.offset / kPageBytes);
  note.bytes = static_cast<int>(count);
  if (Strikes(note)) {
    if (fault_.error != 0) return FailWith(fault_.error);
    if (fault_.lost) {
      done_.back().to = kLostWrite;
      Advance(descriptor, static_cast<long>(count));  // the size is not lost
      return static_cast<ssize_t>(count);
    }
    count = Shortened(count);
    if (count == 0) return 0;
  }
  if (!descriptor.writable) GiveUp("write to what is open for reading");
  if (room_ < static_cast<std::int64_t>(count)) return FailWith(ENOSPC);
  room_ -= static_cast<std::int64_t>(count);
  long moved = 0;
  while (moved < static_cast<long>(count))
    moved += MoveIn(descriptor, static_cast<const unsigned char*>(data) + moved,
                    count - static_cast<std::size_t>(moved));
  return moved;
}

// The creation of a file writes the same page 32768 times; it is kept once.
Page CowFiles::NewPage(const unsigned char* bytes) {
  if (last_page_ == nullptr || memcmp(last_page_, bytes, kPageBytes) != 0) {
    unsigned char* const at = Allocate(kPageBytes);
    memcpy(at, bytes, kPageBytes);
    last_page_ = at;
  }
  return {last_page_, kPageBytes, 0};
}

long CowFiles::MoveIn(Descriptor& descriptor, const unsigned char* data, std::size_t count) {
  File& file = *descriptor.file;
  const int page = static_cast<int>(descriptor.offset / kPageBytes);
  const int in_page = static_cast<int>(descriptor.offset % kPageBytes);
  const int moved = std::min(static_cast<int>(count), kPageBytes - in_page);
  const Page before = PageOf(file, page);
  Page after = moved == kPageBytes ? NewPage(data) : before;
  if (moved < kPageBytes) {
    unsigned char* const bytes = Allocate(kPageBytes);
    Fill(before, bytes);
    memcpy(bytes + in_page, data, Index(moved));
    after.bytes = bytes;
    after.used = kPageBytes;
    for (int sector = 0; sector < kSectors; ++sector)
      if (in_page <= sector * kSectorBytes && in_page + moved >= (sector + 1) * kSectorBytes)
        after.bad_sectors &= static_cast<std::uint8_t>(~(1U << sector));
  }
  ChangePage(file, page, after);
  done_.back().before = before;
  done_.back().after = after;
  Advance(descriptor, moved);
  return moved;
}

void CowFiles::Advance(Descriptor& descriptor, long bytes) {
  File& file = *descriptor.file;
  descriptor.offset += bytes;
  if (descriptor.offset <= file.size) return;
  NoteSize(file);
  file.size = descriptor.offset;
}

off_t CowFiles::Lseek(int fd, off_t offset, int whence) {
  Descriptor& descriptor = *Find(fd);
  Done note = Note(Call::kLseek, descriptor.name);
  note.offset = static_cast<long>(offset);
  note.whence = whence;
  if (Strikes(note)) return FailWith(fault_.error);
  if (whence == SEEK_CUR) GiveUp("lseek from elsewhere");
  descriptor.offset = static_cast<long>(offset) + (whence == SEEK_END ? descriptor.file->size : 0);
  return descriptor.offset;
}

int CowFiles::Fsync(int fd) {
  if (Strikes(Note(Call::kFsync, Find(fd)->name)) && fault_.error != 0)
    return FailWith(fault_.error);
  return 0;
}

// As on Linux, a close that fails has closed.
int CowFiles::Close(int fd) {
  Descriptor& descriptor = *Find(fd);
  descriptor.open = false;
  if (Strikes(Note(Call::kClose, descriptor.name))) return FailWith(fault_.error);
  return 0;
}

bool CowFiles::StrikesNext() {
  const bool strikes = fault_.next_fails && struck_ > 0 && first_struck_ + 2 == done_.size();
  next_struck_ = next_struck_ || strikes;
  return strikes;
}

int CowFiles::Stat(const char* path, struct stat* status) {
  if (*path == '\0') return NotFound();
  const int name = Lookup(path);
  if (Strikes(Note(Call::kStat, name))) return FailWith(fault_.error);
  if (StrikesNext()) return FailWith(EIO);
  if (!LeadsToFile(name)) return FailWith(ENOENT);
  *status = {};
  status->st_size = Size(name);
  status->st_mode = names_[Index(name)]->mode;
  return 0;
}

int CowFiles::Chmod(const char* path, mode_t mode) {
  const int name = Lookup(path);
  if (Strikes(Note(Call::kChmod, name))) return FailWith(fault_.error);
  if (!LeadsToFile(name)) return FailWith(ENOENT);
  SetMode(name, (names_[Index(name)]->mode & static_cast<mode_t>(S_IFMT)) | mode);
  return 0;
}

int CowFiles::Rename(const char* from, const char* to) {
  const int name = Lookup(from);
  Done note = Note(Call::kRename, name);
  note.to = Lookup(to);
  if (Strikes(note)) return FailWith(fault_.error);
  if (!Exists(name)) return FailWith(ENOENT);
  NameAs(note.to, name);
  TakeName(name);
  return 0;
}

int CowFiles::Unlink(const char* path) {
  const int name = Lookup(path);
  if (Strikes(Note(Call::kUnlink, name))) return FailWith(fault_.error);
  if (!Exists(name)) return FailWith(ENOENT);
  TakeName(name);
  return 0;
}

int CowFiles::Remove(const char* path) { return Unlink(path); }

bool CowFiles::CanBeCopied(int name) const {
  if (!Exists(name)) return false;
  const std::vector<Page>& pages = names_[Index(name)]->pages;
  const bool readable = std::all_of(pages.begin(), pages.end(),
                                    [](const Page& page) { return page.bad_sectors == 0; });
  return readable && room_ > 0;
}

int CowFiles::System(const char* command) {
  char from[64], to[64];
  if (std::sscanf(command, "cp %63s %63s", from, to) != 2) GiveUp(command);
  Done note = Note(Call::kSystem, Lookup(from));
  note.to = Lookup(to);
  if (Strikes(note)) {
    if (fault_.error == ENOSPC && Exists(note.name)) CopyHalf(note.name, note.to);
    errno = fault_.error;
    done_.back().error = fault_.error;
    return 256;  // exit status 1, as system() gives it
  }
  if (!Exists(note.name)) return 256;
  if (!CanBeCopied(note.name)) {
    CopyHalf(note.name, note.to);
    return 256;
  }
  CopyFile(note.name, note.to);
  return 0;
}

void CowFiles::CopyHalf(int from, int to) {
  CopyFile(from, to);
  SetSize(to, Size(from) / 2);
}

int CowFiles::Usleep(unsigned int microseconds) {
  static_cast<void>(microseconds);
  if (Strikes(Note(Call::kUsleep, kAnyName))) return FailWith(fault_.error);
  return StrikesNext() ? FailWith(EINTR) : 0;
}

}  // namespace vmr::crash
