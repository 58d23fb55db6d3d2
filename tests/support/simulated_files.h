// A file system in memory, in use as the file operations while the object
// lives. It can fail any operation, answer short, and lose power.
#ifndef VMR_TESTS_SUPPORT_SIMULATED_FILES_H_
#define VMR_TESTS_SUPPORT_SIMULATED_FILES_H_

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/file_ops.h"
#include "tests/support/bytes.h"

namespace vmr::test {

enum class FileOp {
  kOpen,
  kRead,
  kWrite,
  kLseek,
  kFsync,
  kClose,
  kStat,
  kChmod,
  kRename,
  kUnlink,
  kRemove,
  kSystem,
  kUsleep
};

// One operation as it was asked for and answered.
struct Operation {
  FileOp op;
  std::string_view path;  // of the descriptor's file; the command of kSystem
  std::string_view to;    // the new name of kRename
  int fd;                 // of descriptor operations
  long offset;            // file offset of kRead and kWrite; kLseek's argument
  std::size_t count;      // bytes asked for; microseconds of kUsleep
  int flags;              // of kOpen; whence of kLseek
  mode_t mode;            // of kOpen and kChmod
  long result;
  int error;  // errno when result is negative
};

// "write /m/r_1.mtd 4096@0", "rename /m/a /m/b", "fsync /m/r_1.mtd".
std::string Describe(const Operation& operation);

// What a power loss leaves of everything that was never synced.
enum class Unsynced {
  kKeep,  // all of it
  kDrop,  // none of it
  kTorn   // by the seed: each 4096-byte block kept, dropped, or new up to some
          // byte and old behind it; names and sizes up to some change
};

// A file's content in 4096-byte blocks. Equal blocks written one after another
// are kept once, trailing zeros not at all, and copies share what they have in
// common: a ring file of 128 MiB costs next to nothing.
class BlockMap {
 public:
  static constexpr std::size_t kBlockBytes = 4096;
  using Block = std::vector<unsigned char>;  // without trailing zeros
  using BlockPtr = std::shared_ptr<const Block>;

  const BlockPtr& At(std::size_t index) const;
  void Set(std::size_t index, BlockPtr block);
  // Copies the block's 4096 bytes to `to`.
  void Read(std::size_t index, unsigned char* to) const;
  // The blocks in which this map and `other` may differ.
  std::vector<std::size_t> Differences(const BlockMap& other) const;
  // Makes zeros of everything from byte `size` on.
  void CutAt(std::size_t size);

  static BlockPtr Make(const unsigned char* bytes);

 private:
  static constexpr std::size_t kChunkBlocks = 256;
  using Chunk = std::array<BlockPtr, kChunkBlocks>;

  std::vector<std::shared_ptr<Chunk>> chunks_;
};

// Follows POSIX as far as the stores use it. Relative paths are relative to ".",
// which exists, as does "/". The descriptors 0, 1 and 2 are taken.
//
// Owns     its files; texts and operations live as long as the object.
class SimulatedFiles : public FileOps {
 public:
  SimulatedFiles();
  ~SimulatedFiles() override;
  SimulatedFiles(const SimulatedFiles&) = delete;
  SimulatedFiles& operator=(const SimulatedFiles&) = delete;

  // ---- Setting up and looking; none of these counts as an operation -----------

  // All of it is durable at once.
  void MakeDirectory(const std::string& path);
  void PutFile(const std::string& path, const Bytes& bytes, mode_t mode = 0660);
  // A file of `size` zero bytes.
  void PutZeros(const std::string& path, long size, mode_t mode = 0660);
  void PutBlock(const std::string& path, std::size_t index, const Bytes& bytes);
  // `count` blocks from `first` on, each as `block` makes it of its index.
  void PutBlocks(const std::string& path, std::size_t first, std::size_t count,
                 const std::function<Bytes(std::size_t)>& block);
  // `count` blocks from `first` on, all the same.
  void FillBlocks(const std::string& path, std::size_t first, std::size_t count,
                  const Bytes& bytes);
  void FlipByte(const std::string& path, long offset);
  void SetSize(const std::string& path, long size);
  void SetMode(const std::string& path, mode_t mode);
  void Delete(const std::string& path);
  void CopyContent(const std::string& from, const std::string& to);

  bool Exists(const std::string& path) const;
  std::vector<std::string> Paths() const;  // of files, not of directories
  long Size(const std::string& path) const;
  mode_t Mode(const std::string& path) const;
  Bytes Content(const std::string& path) const;
  Bytes ReadBlock(const std::string& path, std::size_t index) const;
  bool SameContent(const std::string& a, const std::string& b) const;
  // True when a power loss could not change the file's content.
  bool IsSynced(const std::string& path) const;
  // True when a power loss could not change which file has this name, if any.
  bool IsNameSynced(const std::string& path) const;

  // All files with their contents, and back again. Restoring also closes every
  // descriptor, forgets faults and operations and switches the power on.
  struct Entry {
    bool directory;
    mode_t mode;
    long size;
    BlockMap blocks;
  };
  using Image = std::map<std::string, Entry>;
  Image Snapshot() const;
  void Restore(const Image& image);

  // ---- What was done ----------------------------------------------------------

  const std::vector<Operation>& Operations() const { return operations_; }
  void ClearOperations() { operations_.clear(); }
  // Operations of one kind, on one path unless empty.
  int Count(FileOp op, const std::string& path = "") const;
  // Describe of the given kinds, in order.
  std::vector<std::string> Trace(const std::set<FileOp>& kinds) const;
  int OpenDescriptors() const;
  // What no store may do: use a descriptor below 1 or one not open, open without
  // close-on-exec, hand a command to the shell that is not a plain cp. Empty
  // when nothing was wrong.
  const std::string& Misuse() const { return misuse_; }

  // ---- Faults -----------------------------------------------------------------
  // `path` empty means any. `nth` counts the matching calls from now on, from 1.

  void FailOnce(FileOp op, const std::string& path, int error, int nth = 1);
  void FailFromNowOn(FileOp op, const std::string& path, int error, int nth = 1);
  // Reads and writes move at most `bytes` bytes, `times` times.
  void LimitTo(std::size_t bytes, FileOp op, const std::string& path, int times, int nth = 1);
  void ClearFaults() { faults_.clear(); }
  // Hands `fd` out to the next open that finds nothing lower.
  void FreeDescriptor(int fd) { taken_.erase(fd); }

  // ---- Power ------------------------------------------------------------------

  // Cuts the power in the n-th operation from now on: its effect is there, but
  // not durable, and like every later one it fails with EIO. 0: never.
  void CutPowerAt(int n);
  bool PowerWasCut() const { return !powered_; }
  // Switches on again: what was not synced is kept, dropped or torn, every
  // descriptor and fault is gone.
  void PowerUp(Unsynced unsynced, unsigned int seed = 0);
  // The same, with those of the directories' unsynced changes kept whose bit is set:
  // they may have reached the disk in any order.
  void PowerUpWith(unsigned int kept_names, Unsynced unsynced, unsigned int seed = 0);
  std::size_t UnsyncedNames() const { return name_changes_.size(); }

  // ---- FileOps ----------------------------------------------------------------

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
  int Remove(const char* path) override;
  int System(const char* command) override;
  int Usleep(unsigned int microseconds) override;

 private:
  struct File {
    bool directory = false;
    mode_t mode = 0;
    long size = 0;
    BlockMap blocks;
    long durable_size = 0;
    BlockMap durable_blocks;
    bool truncated = false;  // since it was synced
  };
  using FilePtr = std::shared_ptr<File>;
  using Names = std::map<std::string, FilePtr>;

  struct Descriptor {
    FilePtr file;
    std::string_view path;
    int flags;
    long offset;
  };

  // A change of the directory: `removed` goes, then `added` names `file`.
  struct NameChange {
    std::string removed;
    std::string added;
    FilePtr file;
  };

  struct Fault {
    FileOp op;
    std::string path;
    int skip;   // matching calls before it strikes
    int times;  // how often it strikes
    int error;  // 0: limit the count instead
    std::size_t limit;
  };

  template <typename Effect>
  long Run(Operation operation, Effect effect);
  template <typename Effect>
  long RunOnDescriptor(Operation operation, Effect effect);
  const Fault* StrikingFault(const Operation& operation);
  std::string_view Intern(const std::string& text);
  Operation OnPath(FileOp op, const char* path);
  Operation OnDescriptor(FileOp op, int fd);
  Descriptor* Find(int fd);
  void NoteMisuse(const std::string& what, const Operation& operation);

  File& Get(const std::string& path);
  const File& Get(const std::string& path) const;
  FilePtr Lookup(const std::string& path) const;
  bool HasParent(const std::string& path) const;
  void AddDurable(const std::string& path, const FilePtr& file);
  void ChangeNames(NameChange change);
  static void Apply(const NameChange& change, Names* names);
  void SyncDirectory(const std::string& directory);
  static void MakeDurable(File& file);

  long OpenEffect(const Operation& operation);
  long OpenMissing(const Operation& operation);
  long HandOut(const FilePtr& file, const Operation& operation);
  static void Truncate(File& file);
  void PutBytes(File& file, long offset, const unsigned char* data, std::size_t count);
  long ReadEffect(Descriptor& descriptor, unsigned char* to, std::size_t count);
  long SeekEffect(Descriptor& descriptor, long offset, int whence);
  long CopyEffect(const std::string& from, const std::string& to);
  long UnlinkEffect(const std::string& path);
  void Settle(File& file, Unsynced unsynced, std::mt19937& random);
  void Restart(Unsynced unsynced, std::mt19937& random);

  Names names_;
  Names durable_names_;
  std::vector<NameChange> name_changes_;  // not yet durable
  std::map<int, Descriptor> descriptors_;
  std::set<int> taken_{0, 1, 2};
  std::set<std::string> texts_;
  std::vector<Operation> operations_;
  std::vector<Fault> faults_;
  std::string misuse_;
  bool powered_ = true;
  int cut_in_ = 0;
  std::array<unsigned char, BlockMap::kBlockBytes> last_block_bytes_{};
  BlockMap::BlockPtr last_block_;
  FileOps* before_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_SIMULATED_FILES_H_
