#include "tests/support/simulated_files.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace vmr::test {
namespace {

constexpr std::size_t kBlockBytes = BlockMap::kBlockBytes;
constexpr mode_t kPermissions = 07777;

const char* NameOf(FileOp op) {
  static const char* const kNames[] = {"open",   "read",   "write", "lseek",  "fsync",
                                       "close",  "stat",   "chmod", "rename", "unlink",
                                       "remove", "system", "usleep"};
  return kNames[static_cast<int>(op)];
}

std::string ParentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

long Fail(int error) {
  errno = error;
  return -1;
}

bool IsShellSpecial(char c) { return strchr("|&;<>()$`\\\"'*?[]#~!{}\n", c) != nullptr; }

// The words of a command line, as a shell makes them of plain characters,
// single quotes and backslashes. False for anything else.
bool SplitCommand(const std::string& command, std::vector<std::string>* words) {
  bool in_word = false;
  for (std::size_t i = 0; i < command.size(); ++i) {
    const char c = command[i];
    if (c == ' ' || c == '\t') {
      in_word = false;
      continue;
    }
    if (!in_word) words->emplace_back();
    in_word = true;
    if (c == '\'') {
      const std::size_t end = command.find('\'', i + 1);
      if (end == std::string::npos) return false;
      words->back().append(command, i + 1, end - i - 1);
      i = end;
    } else if (c == '\\' && i + 1 < command.size()) {
      words->back() += command[++i];
    } else if (IsShellSpecial(c)) {
      return false;
    } else {
      words->back() += c;
    }
  }
  return true;
}

}  // namespace

std::string Describe(const Operation& operation) {
  std::string text = std::string(NameOf(operation.op)) + " " + std::string(operation.path);
  if (operation.op == FileOp::kRename) text += " " + std::string(operation.to);
  if (operation.op == FileOp::kRead || operation.op == FileOp::kWrite)
    text += " " + std::to_string(operation.count) + "@" + std::to_string(operation.offset);
  return text;
}

// ---- BlockMap ------------------------------------------------------------------

const BlockMap::BlockPtr& BlockMap::At(std::size_t index) const {
  static const BlockPtr kZeros;
  const std::size_t chunk = index / kChunkBlocks;
  if (chunk >= chunks_.size() || !chunks_[chunk]) return kZeros;
  return (*chunks_[chunk])[index % kChunkBlocks];
}

void BlockMap::Set(std::size_t index, BlockPtr block) {
  const std::size_t chunk = index / kChunkBlocks;
  if (chunk >= chunks_.size()) chunks_.resize(chunk + 1);
  std::shared_ptr<Chunk>& held = chunks_[chunk];
  if (!held) {
    held = std::make_shared<Chunk>();
  } else if (held.use_count() > 1) {
    held = std::make_shared<Chunk>(*held);
  }
  (*held)[index % kChunkBlocks] = std::move(block);
}

void BlockMap::Read(std::size_t index, unsigned char* to) const {
  const BlockPtr& block = At(index);
  const std::size_t used = block ? block->size() : 0;
  if (used > 0) memcpy(to, block->data(), used);
  memset(to + used, 0, kBlockBytes - used);
}

std::vector<std::size_t> BlockMap::Differences(const BlockMap& other) const {
  std::vector<std::size_t> indexes;
  const std::size_t chunks = std::max(chunks_.size(), other.chunks_.size());
  for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
    if (chunk < chunks_.size() && chunk < other.chunks_.size() &&
        chunks_[chunk] == other.chunks_[chunk])
      continue;
    for (std::size_t i = chunk * kChunkBlocks; i < (chunk + 1) * kChunkBlocks; ++i)
      if (At(i) != other.At(i)) indexes.push_back(i);
  }
  return indexes;
}

void BlockMap::CutAt(std::size_t size) {
  const std::size_t whole_blocks = size / kBlockBytes;
  const std::size_t kept_blocks = (size + kBlockBytes - 1) / kBlockBytes;
  if (kept_blocks > whole_blocks && At(whole_blocks)) {
    unsigned char bytes[kBlockBytes];
    Read(whole_blocks, bytes);
    memset(bytes + size % kBlockBytes, 0, kBlockBytes - size % kBlockBytes);
    Set(whole_blocks, Make(bytes));
  }
  const std::size_t kept_chunks = (kept_blocks + kChunkBlocks - 1) / kChunkBlocks;
  if (kept_chunks < chunks_.size()) chunks_.resize(kept_chunks);
  for (std::size_t i = kept_blocks; i < chunks_.size() * kChunkBlocks; ++i)
    if (At(i)) Set(i, nullptr);
}

BlockMap::BlockPtr BlockMap::Make(const unsigned char* bytes) {
  std::size_t used = kBlockBytes;
  // Eight at a time, as most of a block often is zeros.
  constexpr std::uint64_t kZeros = 0;
  while (used > 0 && memcmp(bytes + used - sizeof(kZeros), &kZeros, sizeof(kZeros)) == 0)
    used -= sizeof(kZeros);
  while (used > 0 && bytes[used - 1] == 0) --used;
  const auto block = std::make_shared<Block>(used);
  if (used > 0) memcpy(block->data(), bytes, used);
  return block;
}

// ---- Setting up and looking ----------------------------------------------------

SimulatedFiles::SimulatedFiles() : before_(FileOps::Use(this)) {
  MakeDirectory("/");
  MakeDirectory(".");
}

SimulatedFiles::~SimulatedFiles() { FileOps::Use(before_); }

void SimulatedFiles::AddDurable(const std::string& path, const FilePtr& file) {
  MakeDurable(*file);
  names_[path] = file;
  durable_names_[path] = file;
}

void SimulatedFiles::MakeDirectory(const std::string& path) {
  const auto file = std::make_shared<File>();
  file->directory = true;
  file->mode = 0775;
  AddDurable(path, file);
}

void SimulatedFiles::PutFile(const std::string& path, const Bytes& bytes, mode_t mode) {
  const auto file = std::make_shared<File>();
  file->mode = mode;
  PutBytes(*file, 0, bytes.data(), bytes.size());
  AddDurable(path, file);
}

void SimulatedFiles::PutZeros(const std::string& path, long size, mode_t mode) {
  PutFile(path, {}, mode);
  SetSize(path, size);
}

void SimulatedFiles::PutBlock(const std::string& path, std::size_t index, const Bytes& bytes) {
  PutBlocks(path, index, 1, [&](std::size_t) { return bytes; });
}

void SimulatedFiles::PutBlocks(const std::string& path, std::size_t first, std::size_t count,
                               const std::function<Bytes(std::size_t)>& block) {
  File& file = Get(path);
  for (std::size_t index = first; index < first + count; ++index) {
    Bytes whole = block(index);
    whole.resize(kBlockBytes);
    PutBytes(file, static_cast<long>(index * kBlockBytes), whole.data(), whole.size());
  }
  MakeDurable(file);
}

void SimulatedFiles::FillBlocks(const std::string& path, std::size_t first, std::size_t count,
                                const Bytes& bytes) {
  File& file = Get(path);
  Bytes whole = bytes;
  whole.resize(kBlockBytes);
  const BlockMap::BlockPtr block = BlockMap::Make(whole.data());
  for (std::size_t index = first; index < first + count; ++index) file.blocks.Set(index, block);
  file.size = std::max(file.size, static_cast<long>((first + count) * kBlockBytes));
  MakeDurable(file);
}

void SimulatedFiles::FlipByte(const std::string& path, long offset) {
  File& file = Get(path);
  unsigned char bytes[kBlockBytes];
  const std::size_t index = static_cast<std::size_t>(offset) / kBlockBytes;
  file.blocks.Read(index, bytes);
  bytes[static_cast<std::size_t>(offset) % kBlockBytes] ^= 0xFF;
  file.blocks.Set(index, BlockMap::Make(bytes));
  MakeDurable(file);
}

void SimulatedFiles::SetSize(const std::string& path, long size) {
  File& file = Get(path);
  if (size < file.size) file.blocks.CutAt(static_cast<std::size_t>(size));
  file.size = size;
  MakeDurable(file);
}

void SimulatedFiles::SetMode(const std::string& path, mode_t mode) { Get(path).mode = mode; }

void SimulatedFiles::Delete(const std::string& path) {
  names_.erase(path);
  durable_names_.erase(path);
}

void SimulatedFiles::CopyContent(const std::string& from, const std::string& to) {
  PutFile(to, {}, Get(from).mode);
  Get(to).blocks = Get(from).blocks;
  SetSize(to, Get(from).size);
}

bool SimulatedFiles::Exists(const std::string& path) const { return names_.count(path) != 0; }

std::vector<std::string> SimulatedFiles::Paths() const {
  std::vector<std::string> paths;
  for (const auto& [path, file] : names_)
    if (!file->directory) paths.push_back(path);
  return paths;
}

long SimulatedFiles::Size(const std::string& path) const { return Get(path).size; }

mode_t SimulatedFiles::Mode(const std::string& path) const { return Get(path).mode; }

Bytes SimulatedFiles::Content(const std::string& path) const {
  const File& file = Get(path);
  const auto size = static_cast<std::size_t>(file.size);
  Bytes bytes;
  for (std::size_t i = 0; i * kBlockBytes < size; ++i) bytes = bytes + ReadBlock(path, i);
  bytes.resize(size);
  return bytes;
}

Bytes SimulatedFiles::ReadBlock(const std::string& path, std::size_t index) const {
  Bytes bytes(kBlockBytes);
  Get(path).blocks.Read(index, bytes.data());
  return bytes;
}

bool SimulatedFiles::SameContent(const std::string& a, const std::string& b) const {
  if (Size(a) != Size(b)) return false;
  for (const std::size_t i : Get(a).blocks.Differences(Get(b).blocks))
    if (ReadBlock(a, i) != ReadBlock(b, i)) return false;
  return true;
}

bool SimulatedFiles::IsSynced(const std::string& path) const {
  const File& file = Get(path);
  return !file.truncated && file.size == file.durable_size &&
         file.blocks.Differences(file.durable_blocks).empty();
}

bool SimulatedFiles::IsNameSynced(const std::string& path) const {
  const auto durable = durable_names_.find(path);
  return Lookup(path) == (durable == durable_names_.end() ? nullptr : durable->second);
}

SimulatedFiles::Image SimulatedFiles::Snapshot() const {
  Image image;
  for (const auto& [path, file] : names_)
    image[path] = {file->directory, file->mode, file->size, file->blocks};
  return image;
}

void SimulatedFiles::Restore(const Image& image) {
  names_.clear();
  durable_names_.clear();
  for (const auto& [path, entry] : image) {
    const auto file = std::make_shared<File>();
    file->directory = entry.directory;
    file->mode = entry.mode;
    file->size = entry.size;
    file->blocks = entry.blocks;
    AddDurable(path, file);
  }
  name_changes_.clear();
  descriptors_.clear();
  taken_ = {0, 1, 2};
  operations_.clear();
  faults_.clear();
  powered_ = true;
  cut_in_ = 0;
}

SimulatedFiles::FilePtr SimulatedFiles::Lookup(const std::string& path) const {
  const auto found = names_.find(path);
  return found == names_.end() ? nullptr : found->second;
}

SimulatedFiles::File& SimulatedFiles::Get(const std::string& path) {
  const FilePtr file = Lookup(path);
  if (!file) throw std::runtime_error("no simulated file " + path);
  return *file;
}

const SimulatedFiles::File& SimulatedFiles::Get(const std::string& path) const {
  return const_cast<SimulatedFiles*>(this)->Get(path);
}

bool SimulatedFiles::HasParent(const std::string& path) const {
  const FilePtr parent = Lookup(ParentOf(path));
  return parent && parent->directory;
}

// ---- What was done -------------------------------------------------------------

int SimulatedFiles::Count(FileOp op, const std::string& path) const {
  return static_cast<int>(std::count_if(
      operations_.begin(), operations_.end(),
      [&](const Operation& done) { return done.op == op && (path.empty() || done.path == path); }));
}

std::vector<std::string> SimulatedFiles::Trace(const std::set<FileOp>& kinds) const {
  std::vector<std::string> lines;
  for (const Operation& operation : operations_)
    if (kinds.count(operation.op) != 0) lines.push_back(Describe(operation));
  return lines;
}

int SimulatedFiles::OpenDescriptors() const { return static_cast<int>(descriptors_.size()); }

void SimulatedFiles::NoteMisuse(const std::string& what, const Operation& operation) {
  misuse_ +=
      what + ": " + Describe(operation) + " (descriptor " + std::to_string(operation.fd) + ")\n";
}

// ---- Faults and power ----------------------------------------------------------

void SimulatedFiles::FailOnce(FileOp op, const std::string& path, int error, int nth) {
  faults_.push_back({op, path, nth - 1, 1, error, 0});
}

void SimulatedFiles::FailFromNowOn(FileOp op, const std::string& path, int error, int nth) {
  faults_.push_back({op, path, nth - 1, -1, error, 0});
}

void SimulatedFiles::LimitTo(std::size_t bytes, FileOp op, const std::string& path, int times,
                             int nth) {
  faults_.push_back({op, path, nth - 1, times, 0, bytes});
}

const SimulatedFiles::Fault* SimulatedFiles::StrikingFault(const Operation& operation) {
  const Fault* striking = nullptr;
  for (Fault& fault : faults_) {
    if (fault.op != operation.op || (!fault.path.empty() && fault.path != operation.path)) continue;
    if (fault.skip > 0) {
      --fault.skip;
    } else if (fault.times != 0 && striking == nullptr) {
      if (fault.times > 0) --fault.times;
      striking = &fault;
    }
  }
  return striking;
}

void SimulatedFiles::CutPowerAt(int n) { cut_in_ = n; }

// Every operation comes through here: it is noted, and the power and the faults
// answer before the files do.
template <typename Effect>
long SimulatedFiles::Run(Operation operation, Effect effect) {
  long result = -1;
  const Fault* const fault = powered_ ? StrikingFault(operation) : nullptr;
  const bool cut_now = powered_ && cut_in_ > 0 && --cut_in_ == 0;
  if (!powered_) {
    errno = EIO;
  } else if (fault != nullptr && fault->error != 0) {
    errno = fault->error;
  } else {
    if (fault != nullptr) operation.count = std::min(operation.count, fault->limit);
    if (!cut_now || operation.op != FileOp::kFsync) result = effect(operation);
  }
  if (cut_now) {
    powered_ = false;
    result = Fail(EIO);
  }
  operation.result = result;
  operation.error = result < 0 ? errno : 0;
  operations_.push_back(operation);
  return result;
}

template <typename Effect>
long SimulatedFiles::RunOnDescriptor(Operation operation, Effect effect) {
  Descriptor* const descriptor = Find(operation.fd);
  const bool closing_zero = operation.op == FileOp::kClose && operation.fd == 0;
  if (powered_ && (descriptor == nullptr || (operation.fd < 1 && !closing_zero)))
    NoteMisuse("bad descriptor", operation);
  return Run(operation, [&](const Operation& op) {
    return descriptor == nullptr ? Fail(EBADF) : effect(op, *descriptor);
  });
}

void SimulatedFiles::PowerUp(Unsynced unsynced, unsigned int seed) {
  std::mt19937 random(seed);
  std::size_t kept_changes = unsynced == Unsynced::kKeep ? name_changes_.size() : 0;
  if (unsynced == Unsynced::kTorn) kept_changes = random() % (name_changes_.size() + 1);
  for (std::size_t i = 0; i < kept_changes; ++i) Apply(name_changes_[i], &durable_names_);
  Restart(unsynced, random);
}

void SimulatedFiles::PowerUpWith(unsigned int kept_names, Unsynced unsynced, unsigned int seed) {
  std::mt19937 random(seed);
  for (std::size_t i = 0; i < name_changes_.size(); ++i)
    if ((kept_names >> i & 1) != 0) Apply(name_changes_[i], &durable_names_);
  Restart(unsynced, random);
}

void SimulatedFiles::Restart(Unsynced unsynced, std::mt19937& random) {
  name_changes_.clear();
  names_ = durable_names_;
  for (const auto& [path, file] : names_) Settle(*file, unsynced, random);
  descriptors_.clear();
  taken_ = {0, 1, 2};
  faults_.clear();
  powered_ = true;
  cut_in_ = 0;
}

void SimulatedFiles::Settle(File& file, Unsynced unsynced, std::mt19937& random) {
  if (unsynced == Unsynced::kDrop) {
    file.blocks = file.durable_blocks;
    file.size = file.durable_size;
  } else if (unsynced == Unsynced::kTorn) {
    for (const std::size_t i : file.blocks.Differences(file.durable_blocks)) {
      const auto what = random() % 3;
      if (what == 0) continue;
      unsigned char bytes[kBlockBytes];
      unsigned char old_bytes[kBlockBytes];
      file.blocks.Read(i, bytes);
      file.durable_blocks.Read(i, old_bytes);
      const std::size_t kept = what == 1 ? 0 : random() % kBlockBytes;
      memcpy(bytes + kept, old_bytes + kept, kBlockBytes - kept);
      file.blocks.Set(i, BlockMap::Make(bytes));
    }
    if (random() % 2 == 0) file.size = file.durable_size;
    if (file.truncated && random() % 3 == 0)
      file.size = static_cast<long>(random() % (static_cast<std::size_t>(file.size) + 1));
    file.blocks.CutAt(static_cast<std::size_t>(file.size));
  }
  MakeDurable(file);
}

void SimulatedFiles::MakeDurable(File& file) {
  file.durable_blocks = file.blocks;
  file.durable_size = file.size;
  file.truncated = false;
}

void SimulatedFiles::Apply(const NameChange& change, Names* names) {
  if (!change.removed.empty()) names->erase(change.removed);
  if (!change.added.empty()) (*names)[change.added] = change.file;
}

void SimulatedFiles::ChangeNames(NameChange change) {
  Apply(change, &names_);
  name_changes_.push_back(std::move(change));
}

void SimulatedFiles::SyncDirectory(const std::string& directory) {
  std::vector<NameChange> others;
  for (NameChange& change : name_changes_) {
    const std::string& name = change.added.empty() ? change.removed : change.added;
    if (ParentOf(name) == directory) {
      Apply(change, &durable_names_);
    } else {
      others.push_back(std::move(change));
    }
  }
  name_changes_ = std::move(others);
}

// ---- FileOps -------------------------------------------------------------------

std::string_view SimulatedFiles::Intern(const std::string& text) {
  return *texts_.insert(text).first;
}

Operation SimulatedFiles::OnPath(FileOp op, const char* path) {
  return {op, Intern(path), {}, -1, 0, 0, 0, 0, 0, 0};
}

Operation SimulatedFiles::OnDescriptor(FileOp op, int fd) {
  const Descriptor* const descriptor = Find(fd);
  const std::string_view path = descriptor == nullptr ? "?" : descriptor->path;
  const long offset = descriptor == nullptr ? 0 : descriptor->offset;
  return {op, path, {}, fd, offset, 0, 0, 0, 0, 0};
}

SimulatedFiles::Descriptor* SimulatedFiles::Find(int fd) {
  const auto found = descriptors_.find(fd);
  return found == descriptors_.end() ? nullptr : &found->second;
}

int SimulatedFiles::Open(const char* path, int flags, mode_t mode) {
  Operation operation = OnPath(FileOp::kOpen, path);
  operation.flags = flags;
  operation.mode = mode;
  if ((flags & O_CLOEXEC) == 0) NoteMisuse("not close-on-exec", operation);
  return static_cast<int>(Run(operation, [this](const Operation& op) { return OpenEffect(op); }));
}

long SimulatedFiles::OpenEffect(const Operation& operation) {
  const FilePtr file = Lookup(std::string(operation.path));
  if (!file) return OpenMissing(operation);
  if ((operation.flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL)) return Fail(EEXIST);
  if (file->directory && (operation.flags & O_ACCMODE) != O_RDONLY) return Fail(EISDIR);
  if (!file->directory && (operation.flags & O_DIRECTORY) != 0) return Fail(ENOTDIR);
  if ((operation.flags & O_TRUNC) != 0) Truncate(*file);
  return HandOut(file, operation);
}

long SimulatedFiles::OpenMissing(const Operation& operation) {
  const std::string path(operation.path);
  if ((operation.flags & O_CREAT) == 0 || !HasParent(path)) return Fail(ENOENT);
  const auto file = std::make_shared<File>();
  file->mode = operation.mode & kPermissions;
  ChangeNames({"", path, file});
  return HandOut(file, operation);
}

long SimulatedFiles::HandOut(const FilePtr& file, const Operation& operation) {
  int fd = 0;
  while (taken_.count(fd) != 0) ++fd;
  taken_.insert(fd);
  descriptors_[fd] = {file, operation.path, operation.flags, 0};
  return fd;
}

void SimulatedFiles::Truncate(File& file) {
  file.truncated = file.truncated || file.size > 0;
  file.blocks = BlockMap();
  file.size = 0;
}

ssize_t SimulatedFiles::Read(int fd, void* buffer, std::size_t count) {
  Operation operation = OnDescriptor(FileOp::kRead, fd);
  operation.count = count;
  return RunOnDescriptor(operation, [&](const Operation& op, Descriptor& descriptor) {
    return ReadEffect(descriptor, static_cast<unsigned char*>(buffer), op.count);
  });
}

long SimulatedFiles::ReadEffect(Descriptor& descriptor, unsigned char* to, std::size_t count) {
  if ((descriptor.flags & O_ACCMODE) == O_WRONLY) return Fail(EBADF);
  if (descriptor.file->directory) return Fail(EISDIR);
  const long left = std::max(0L, descriptor.file->size - descriptor.offset);
  const std::size_t total = std::min(count, static_cast<std::size_t>(left));
  for (std::size_t done = 0; done < total;) {
    const auto at = static_cast<std::size_t>(descriptor.offset) + done;
    const std::size_t within = at % kBlockBytes;
    const std::size_t part = std::min(total - done, kBlockBytes - within);
    if (part == kBlockBytes) {
      descriptor.file->blocks.Read(at / kBlockBytes, to + done);
    } else {
      unsigned char block[kBlockBytes];
      descriptor.file->blocks.Read(at / kBlockBytes, block);
      memcpy(to + done, block + within, part);
    }
    done += part;
  }
  descriptor.offset += static_cast<long>(total);
  return static_cast<long>(total);
}

ssize_t SimulatedFiles::Write(int fd, const void* data, std::size_t count) {
  Operation operation = OnDescriptor(FileOp::kWrite, fd);
  operation.count = count;
  return RunOnDescriptor(operation, [&](const Operation& op, Descriptor& descriptor) {
    if ((descriptor.flags & O_ACCMODE) == O_RDONLY) return Fail(EBADF);
    PutBytes(*descriptor.file, descriptor.offset, static_cast<const unsigned char*>(data),
             op.count);
    descriptor.offset += static_cast<long>(op.count);
    return static_cast<long>(op.count);
  });
}

void SimulatedFiles::PutBytes(File& file, long offset, const unsigned char* data,
                              std::size_t count) {
  for (std::size_t done = 0; done < count;) {
    const auto at = static_cast<std::size_t>(offset) + done;
    const std::size_t within = at % kBlockBytes;
    const std::size_t part = std::min(count - done, kBlockBytes - within);
    std::array<unsigned char, kBlockBytes> merged;
    const unsigned char* whole = data + done;
    if (part < kBlockBytes) {
      file.blocks.Read(at / kBlockBytes, merged.data());
      memcpy(merged.data() + within, data + done, part);
      whole = merged.data();
    }
    if (!last_block_ || memcmp(last_block_bytes_.data(), whole, kBlockBytes) != 0) {
      memcpy(last_block_bytes_.data(), whole, kBlockBytes);
      last_block_ = BlockMap::Make(whole);
    }
    file.blocks.Set(at / kBlockBytes, last_block_);
    done += part;
  }
  if (count > 0) file.size = std::max(file.size, offset + static_cast<long>(count));
}

off_t SimulatedFiles::Lseek(int fd, off_t offset, int whence) {
  Operation operation = OnDescriptor(FileOp::kLseek, fd);
  operation.offset = static_cast<long>(offset);
  operation.flags = whence;
  return RunOnDescriptor(operation, [&](const Operation& op, Descriptor& descriptor) {
    return SeekEffect(descriptor, op.offset, op.flags);
  });
}

long SimulatedFiles::SeekEffect(Descriptor& descriptor, long offset, int whence) {
  long base = 0;
  if (whence == SEEK_CUR) base = descriptor.offset;
  if (whence == SEEK_END) base = descriptor.file->size;
  if (base + offset < 0) return Fail(EINVAL);
  descriptor.offset = base + offset;
  return descriptor.offset;
}

int SimulatedFiles::Fsync(int fd) {
  const Operation operation = OnDescriptor(FileOp::kFsync, fd);
  return static_cast<int>(
      RunOnDescriptor(operation, [this](const Operation& op, Descriptor& descriptor) {
        if (descriptor.file->directory) SyncDirectory(std::string(op.path));
        MakeDurable(*descriptor.file);
        return 0L;
      }));
}

int SimulatedFiles::Close(int fd) {
  const Operation operation = OnDescriptor(FileOp::kClose, fd);
  const auto result = RunOnDescriptor(operation, [](const Operation&, Descriptor&) { return 0L; });
  // A close that reports an error has closed the descriptor all the same.
  if (powered_ && descriptors_.erase(fd) != 0) taken_.erase(fd);
  return static_cast<int>(result);
}

int SimulatedFiles::Stat(const char* path, struct stat* status) {
  return static_cast<int>(Run(OnPath(FileOp::kStat, path), [&](const Operation&) {
    const FilePtr file = Lookup(path);
    if (!file) return Fail(ENOENT);
    memset(status, 0, sizeof(*status));
    status->st_mode = (file->directory ? S_IFDIR : S_IFREG) | file->mode;
    status->st_size = file->size;
    return 0L;
  }));
}

int SimulatedFiles::Chmod(const char* path, mode_t mode) {
  Operation operation = OnPath(FileOp::kChmod, path);
  operation.mode = mode;
  return static_cast<int>(Run(operation, [&](const Operation&) {
    const FilePtr file = Lookup(path);
    if (!file) return Fail(ENOENT);
    file->mode = mode & kPermissions;
    return 0L;
  }));
}

int SimulatedFiles::Rename(const char* from, const char* to) {
  Operation operation = OnPath(FileOp::kRename, from);
  operation.to = Intern(to);
  return static_cast<int>(Run(operation, [&](const Operation&) {
    const FilePtr file = Lookup(from);
    if (!file || !HasParent(to)) return Fail(ENOENT);
    ChangeNames({from, to, file});
    return 0L;
  }));
}

long SimulatedFiles::UnlinkEffect(const std::string& path) {
  const FilePtr file = Lookup(path);
  if (!file) return Fail(ENOENT);
  if (file->directory) return Fail(EISDIR);
  ChangeNames({path, "", nullptr});
  return 0;
}

int SimulatedFiles::Unlink(const char* path) {
  return static_cast<int>(
      Run(OnPath(FileOp::kUnlink, path), [&](const Operation&) { return UnlinkEffect(path); }));
}

int SimulatedFiles::Remove(const char* path) {
  return static_cast<int>(
      Run(OnPath(FileOp::kRemove, path), [&](const Operation&) { return UnlinkEffect(path); }));
}

int SimulatedFiles::System(const char* command) {
  constexpr long kExitedWithOne = 256;
  const Operation operation = OnPath(FileOp::kSystem, command);
  std::vector<std::string> words;
  const bool plain = SplitCommand(command, &words) && words.size() == 3 && words[0] == "cp" &&
                     words[1][0] != '-' && words[2][0] != '-';
  if (!plain) NoteMisuse("not a plain cp", operation);
  return static_cast<int>(Run(operation, [&](const Operation&) {
    return plain ? CopyEffect(words[1], words[2]) : kExitedWithOne;
  }));
}

// cp writes into the file that is there; all of it is unsynced.
long SimulatedFiles::CopyEffect(const std::string& from, const std::string& to) {
  constexpr long kExitedWithOne = 256;
  const FilePtr source = Lookup(from);
  if (!source || source->directory || to.empty() || !HasParent(to)) return kExitedWithOne;
  if (!Lookup(to)) {
    ChangeNames({"", to, std::make_shared<File>()});
    Get(to).mode = source->mode;
  }
  File& copy = Get(to);
  Truncate(copy);
  copy.blocks = source->blocks;
  copy.size = source->size;
  return 0;
}

int SimulatedFiles::Usleep(unsigned int microseconds) {
  Operation operation = OnPath(FileOp::kUsleep, "");
  operation.count = microseconds;
  return static_cast<int>(Run(operation, [](const Operation&) { return 0L; }));
}

}  // namespace vmr::test
