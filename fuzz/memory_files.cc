#include "fuzz/memory_files.h"

#include <errno.h>
#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "fuzz/fuzz_setup.h"

namespace vmr::fuzz {
namespace {

constexpr mode_t kRegular0660 = S_IFREG | 0660;

std::size_t Index(int number) { return static_cast<std::size_t>(number); }

}  // namespace

// ---- Setting up and looking ------------------------------------------------------

void MemoryFiles::Clear() {
  for (File& file : files_) file.path.clear();
  descriptors_ = {};
  kept_count_ = 0;
  room_ = std::numeric_limits<long>::max();
  ForgetCounts();
}

void MemoryFiles::ForgetCounts() {
  reads_ = removals_ = 0;
  for (File& file : files_) file.changes = 0;
}

const MemoryFiles::File* MemoryFiles::Find(const char* path) const {
  for (const File& file : files_)
    if (!file.path.empty() && file.path == path) return &file;
  return nullptr;
}

MemoryFiles::File* MemoryFiles::Find(const char* path) {
  return const_cast<File*>(static_cast<const MemoryFiles*>(this)->Find(path));
}

MemoryFiles::File& MemoryFiles::Get(const char* path) {
  File* const file = Find(path);
  Require(file != nullptr, "the target knows its files");
  return *file;
}

MemoryFiles::File& MemoryFiles::NewFile(const char* path) {
  File* file = Find(path);
  for (File& free : files_)
    if (file == nullptr && free.path.empty()) file = &free;
  Require(file != nullptr, "there are few files");
  file->path = path;
  file->size = 0;
  file->mode = kRegular0660;
  file->changes = 0;
  file->pages.clear();
  file->background = Keep(Page{}.data());
  return *file;
}

void MemoryFiles::MakeFile(const char* path, long bytes, const Page& background) {
  File& file = NewFile(path);
  file.size = bytes;
  file.background = Keep(background.data());
}

void MemoryFiles::MakeFile(const char* path, const unsigned char* data, std::size_t size) {
  File& file = NewFile(path);
  file.size = static_cast<long>(size);
  for (std::size_t at = 0; at < size; at += kPageBytes) {
    Page page{};
    std::memcpy(page.data(), data + at, std::min(size - at, page.size()));
    PutPage(file, static_cast<int>(at / kPageBytes), Keep(page.data()));
  }
}

void MemoryFiles::MakeDirectory(const char* path) { NewFile(path).mode = S_IFDIR | 0770; }

void MemoryFiles::SetPage(const char* path, int page, const Page& content) {
  PutPage(Get(path), page, Keep(content.data()));
}

void MemoryFiles::SpoilPage(const char* path, int page) { PutPage(Get(path), page, kSpoiled); }

MemoryFiles::Page& MemoryFiles::NewPage() {
  if (kept_count_ == kept_.size()) kept_.emplace_back();
  Require(kept_count_ < kSpoiled, "there are few different pages");
  return kept_[kept_count_++];
}

// Files are created by writing the same page over and over.
MemoryFiles::PageNumber MemoryFiles::Keep(const unsigned char* bytes) {
  const bool again =
      kept_count_ > 0 && std::memcmp(kept_[kept_count_ - 1].data(), bytes, kPageBytes) == 0;
  if (!again) std::memcpy(NewPage().data(), bytes, kPageBytes);
  return static_cast<PageNumber>(kept_count_ - 1);
}

MemoryFiles::PageNumber MemoryFiles::PageAt(const File& file, int page) const {
  return Index(page) < file.pages.size() ? file.pages[Index(page)] : file.background;
}

void MemoryFiles::PutPage(File& file, int page, PageNumber number) {
  if (Index(page) >= file.pages.size()) file.pages.resize(Index(page) + 1, file.background);
  file.pages[Index(page)] = number;
}

bool MemoryFiles::ReadPage(const char* path, int page, unsigned char* to) const {
  const File* const file = Find(path);
  if (file == nullptr || file->size < (page + 1L) * kPageBytes) return false;
  const PageNumber number = PageAt(*file, page);
  if (number != kSpoiled) std::memcpy(to, kept_[number].data(), kPageBytes);
  return number != kSpoiled;
}

std::vector<unsigned char> MemoryFiles::ReadAll(const char* path) const {
  const File& file = *Find(path);
  std::vector<unsigned char> bytes;
  for (int page = 0; page * long{kPageBytes} < file.size; ++page) {
    const Page& content = kept_[PageAt(file, page)];
    bytes.insert(bytes.end(), content.begin(), content.end());
  }
  bytes.resize(static_cast<std::size_t>(file.size));
  return bytes;
}

int MemoryFiles::ChangesBeside(const char* path) const {
  int changes = removals_;
  for (const File& file : files_)
    if (!file.path.empty() && file.path != path) changes += file.changes;
  return changes;
}

int MemoryFiles::OpenDescriptors() const {
  return static_cast<int>(std::count_if(descriptors_.begin(), descriptors_.end(),
                                        [](const Descriptor& one) { return one.open; }));
}

// ---- Calls -----------------------------------------------------------------------

int MemoryFiles::Fail(int error) {
  errno = error;
  return -1;
}

MemoryFiles::Descriptor& MemoryFiles::Opened(int fd) {
  const std::size_t index = Index(fd - kFirstDescriptor);
  Require(fd >= kFirstDescriptor && index < descriptors_.size() && descriptors_[index].open,
          "only open descriptors are used");
  return descriptors_[index];
}

int MemoryFiles::Open(const char* path, int flags, mode_t mode) {
  const bool directory = (flags & O_DIRECTORY) != 0;
  File* file = directory ? nullptr : Find(path);
  if (!directory && file == nullptr) {
    if ((flags & O_CREAT) == 0) return Fail(ENOENT);
    file = &NewFile(path);
    file->mode = S_IFREG | mode;
    ++file->changes;
  }
  if (file != nullptr && (flags & O_TRUNC) != 0) {
    file->size = 0;
    ++file->changes;
  }
  const auto free = std::find_if(descriptors_.begin(), descriptors_.end(),
                                 [](const Descriptor& one) { return !one.open; });
  Require(free != descriptors_.end(), "few descriptors are open at once");
  *free = {file, true, (flags & O_ACCMODE) != O_RDONLY, 0};
  return static_cast<int>(free - descriptors_.begin()) + kFirstDescriptor;
}

ssize_t MemoryFiles::Read(int fd, void* buffer, std::size_t count) {
  Descriptor& from = Opened(fd);
  ++reads_;
  const long left = std::max(0L, from.file->size - from.offset);
  const auto wanted = std::min(left, static_cast<long>(count));
  long done = 0;
  while (done < wanted) {
    const int page = static_cast<int>(from.offset / kPageBytes);
    const long within = from.offset % kPageBytes;
    const long moved = std::min(wanted - done, kPageBytes - within);
    const PageNumber number = PageAt(*from.file, page);
    if (number == kSpoiled) return Fail(EIO);
    std::memcpy(static_cast<unsigned char*>(buffer) + done, kept_[number].data() + within,
                static_cast<std::size_t>(moved));
    done += moved;
    from.offset += moved;
  }
  return done;
}

// At most to the end of a page, which is a short write like any other.
ssize_t MemoryFiles::Write(int fd, const void* data, std::size_t count) {
  Descriptor& to = Opened(fd);
  Require(to.writable, "only what was opened for writing is written");
  File& file = *to.file;
  const int page = static_cast<int>(to.offset / kPageBytes);
  const auto within = static_cast<std::size_t>(to.offset % kPageBytes);
  const std::size_t moved = std::min(count, kPageBytes - within);
  if (room_ < static_cast<long>(moved)) return Fail(ENOSPC);
  room_ -= static_cast<long>(moved);
  ++file.changes;
  PageNumber number;
  if (moved == kPageBytes) {
    number = Keep(static_cast<const unsigned char*>(data));
  } else {
    const PageNumber before = PageAt(file, page);
    Page& content = NewPage();
    content = before == kSpoiled ? Page{} : kept_[before];
    std::memcpy(content.data() + within, data, moved);
    number = static_cast<PageNumber>(kept_count_ - 1);
  }
  PutPage(file, page, number);
  to.offset += static_cast<long>(moved);
  file.size = std::max(file.size, to.offset);
  return static_cast<ssize_t>(moved);
}

off_t MemoryFiles::Lseek(int fd, off_t offset, int whence) {
  Descriptor& descriptor = Opened(fd);
  Require(whence == SEEK_SET || (whence == SEEK_END && offset == 0), "only plain seeks are made");
  Require(offset >= 0, "seeks are within the file");
  descriptor.offset = whence == SEEK_SET ? static_cast<long>(offset) : descriptor.file->size;
  return descriptor.offset;
}

int MemoryFiles::Fsync(int fd) {
  static_cast<void>(Opened(fd));
  return 0;
}

int MemoryFiles::Close(int fd) {
  Opened(fd).open = false;
  return 0;
}

int MemoryFiles::Stat(const char* path, struct stat* status) {
  const File* const file = Find(path);
  if (file == nullptr) return Fail(ENOENT);
  *status = {};
  status->st_size = file->size;
  status->st_mode = file->mode;
  return 0;
}

int MemoryFiles::Chmod(const char* path, mode_t mode) {
  File* const file = Find(path);
  if (file == nullptr) return Fail(ENOENT);
  file->mode = (file->mode & static_cast<mode_t>(S_IFMT)) | mode;
  ++file->changes;
  return 0;
}

int MemoryFiles::Rename(const char* from, const char* to) {
  File* const file = Find(from);
  if (file == nullptr) return Fail(ENOENT);
  if (File* const replaced = Find(to)) replaced->path.clear();
  file->path = to;
  ++file->changes;
  return 0;
}

int MemoryFiles::Unlink(const char* path) {
  File* const file = Find(path);
  if (file == nullptr) return Fail(ENOENT);
  file->path.clear();
  ++removals_;
  return 0;
}

int MemoryFiles::System(const char* command) {
  constexpr int kFailed = 256;  // exit status 1, as system() gives it
  char from[64], to[64];
  Require(std::sscanf(command, "cp %63s %63s", from, to) == 2, "only cp is run");
  const File* const source = Find(from);
  if (source == nullptr) return kFailed;
  File& copy = NewFile(to);
  ++copy.changes;
  copy.background = source->background;
  copy.pages = source->pages;
  const auto spoiled = std::find(copy.pages.begin(), copy.pages.end(), kSpoiled);
  const bool whole = spoiled == copy.pages.end() && room_ > 0;
  copy.size = whole ? source->size : room_ > 0 ? (spoiled - copy.pages.begin()) * kPageBytes : 0;
  return whole ? 0 : kFailed;
}

int MemoryFiles::Usleep(unsigned int /*microseconds*/) { return 0; }

}  // namespace vmr::fuzz
