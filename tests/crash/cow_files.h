// The files of one ring store in memory, made for visiting many thousand states
// a second: whatever is done to them can be undone in place. The crash states and
// the fuzz targets run on them.
#ifndef VMR_TESTS_CRASH_COW_FILES_H_
#define VMR_TESTS_CRASH_COW_FILES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "host/file_ops.h"
#include "tests/crash/call_sites.h"

namespace vmr::crash {

inline constexpr int kPageBytes = 4096;
inline constexpr int kPages = 32768;
inline constexpr int kSectorBytes = 512;
inline constexpr int kSectors = kPageBytes / kSectorBytes;
inline constexpr char kBase[] = "/m/r";

// The names that a ring store uses, and a flat file. kDirectory is the folder of
// all of them.
enum Name {
  kFile1,
  kFile2,
  kTmp1,
  kTmp2,
  kCorrupt1,
  kCorrupt2,
  kSecondCorrupt2,
  kFlat,
  kNames,
  kDirectory = kNames,
  kAnyName
};
const char* PathOf(int name);

enum class Call {
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
  kSystem,
  kUsleep,
  kCount
};
const char* NameOf(Call call);

// One page's content: `used` bytes, zeros behind them. A set bit of
// `bad_sectors` makes reading that sector fail with EIO until it is written.
struct Page {
  const unsigned char* bytes = nullptr;
  std::uint16_t used = 0;
  std::uint8_t bad_sectors = 0;
};

// `to` of a write that reported success and stored nothing.
inline constexpr int kLostWrite = -2;

// One call as it was asked for and answered.
struct Done {
  Call call;
  int name;            // of the descriptor's file, or of the path
  int to;              // new name of kRename, destination of kSystem
  int page;            // of kRead and kWrite
  int bytes;           // asked for by kRead and kWrite
  bool create;         // of kOpen
  int error;           // 0 when it succeeded
  Page before, after;  // of a successful kWrite within one page
  long offset = 0;     // of kLseek
  int whence = 0;
  SiteChain sites{};  // that it came from
};

// What a call does instead of its work.
struct Fault {
  Call call = Call::kCount;  // kCount: no fault
  int name = kAnyName;
  int skip = 0;          // matching calls before it strikes
  bool forever = false;  // or `times` times in a row
  int times = 1;
  int error = 0;            // errno, or 0 for one of the following
  int short_by = 0;         // so many bytes less are moved, at least one; none from 4096 on
  bool next_fails = false;  // so does the stat or the usleep right behind it
  bool lost = false;        // reports success, stores nothing
};

// Page tables over shared pages; a write makes a new page and notes the old one.
//
// Owns     its files and pages. In use as FileOps while it lives.
// Threads  none; one object at a time.
class CowFiles : public FileOps {
 public:
  CowFiles();
  ~CowFiles() override;
  CowFiles(const CowFiles&) = delete;
  CowFiles& operator=(const CowFiles&) = delete;

  // ---- Setting up and looking; none of these counts as a call --------------------

  // A page's 4096 bytes.
  static void Fill(const Page& page, unsigned char* to);

  // Forgets everything, the pages included.
  void Clear();
  // A file of kPages pages without content.
  void MakeRing(int name);
  void MakeFile(int name, long size, mode_t mode);
  // Gives the file of one name another; takes a name away.
  void NameAs(int name, int from);
  void TakeName(int name);
  void CopyFile(int from, int to);
  void SetSize(int name, long size);
  void SetMode(int name, mode_t mode);
  void SetPage(int name, int page, const Page& content);
  // What pages hold that nobody has put or written, of a file just made; else zeros.
  void SetBackground(int name, const Page& content);
  // Bytes that stay until Clear or the undoing of a mark set before.
  unsigned char* Allocate(std::size_t bytes);
  Page MakePage(const unsigned char* bytes, int used);

  // A name that leads to no file, as a symbolic link to nothing.
  void MakeDangling(int name) { MakeFile(name, 0, S_IFLNK | 0777); }

  bool Exists(int name) const { return names_[static_cast<std::size_t>(name)] != nullptr; }
  long Size(int name) const;
  mode_t Mode(int name) const;
  const Page& PageAt(int name, int page) const;
  // The page's bytes; false when the device cannot read it or does not have it.
  bool ReadRaw(int name, int page, unsigned char* to) const;
  // As a whole, by the program that does so: it can be read, and there is room.
  bool CanBeCopied(int name) const;
  std::vector<unsigned char> ReadAll(int name) const;

  // ---- Undo ----------------------------------------------------------------------

  struct File {
    std::vector<Page> pages;
    Page background;  // behind them all
    long size = 0;
    mode_t mode = 0;
  };
  using Names = std::array<File*, kNames>;
  const Names& NamesNow() const { return names_; }
  // A file without a name, empty, and the naming of one. Its pages may be filled
  // at once: undoing a mark set before takes the whole file.
  File* NewFile();
  void NameFile(int name, File* file) { names_[static_cast<std::size_t>(name)] = file; }
  struct Mark {
    std::size_t changes;
    std::size_t files;
    std::size_t chunk, chunk_used;
    std::size_t done;
    Names names;
  };
  Mark Set() const;
  // Everything as at the mark. Pages made since are freed, unless kept because a
  // list of calls still refers to them.
  void Undo(const Mark& mark, bool keep_pages = false);

  // ---- What was done, and faults ---------------------------------------------------

  const std::vector<Done>& Calls() const { return done_; }
  void ForgetCalls() { done_.clear(); }
  // Such calls from the `from`-th on.
  int Count(Call call, std::size_t from = 0) const;
  // Calls that changed or removed a file, those of the one of that name left out.
  int ChangesBeside(int name) const;
  int OpenDescriptors() const;
  void SetFault(const Fault& fault) {
    fault_ = fault;
    struck_ = 0;
    next_struck_ = false;
  }
  void ClearFault() { fault_ = {}; }
  // How often the fault struck.
  int Struck() const { return struck_; }
  bool NextStruck() const { return next_struck_; }
  // The call that the fault struck first: an index into Calls().
  std::size_t FirstStruck() const { return first_struck_; }

  // From now on so many bytes find room.
  void SetRoom(std::int64_t bytes) { room_ = bytes; }
  // A path of none of the names is the flat file's too, instead of a mistake.
  void TakeOtherPathsForFlat() { other_paths_are_flat_ = true; }
  // Descriptor 0 is handed out first, as in a process whose standard input is closed.
  void FreeDescriptorZero(bool free) { zero_is_free_ = free; }

  // ---- FileOps ---------------------------------------------------------------------

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
  struct Descriptor {
    File* file = nullptr;
    int name = kDirectory;
    bool open = false;
    bool writable = false;
    long offset = 0;
  };
  struct Change {
    File* file;
    int page;  // -1: size and mode
    Page before;
    long size;
    mode_t mode;
  };
  static constexpr std::size_t kChunkBytes = 1 << 20;

  int Lookup(const char* path) const;
  static const Page& PageOf(const File& file, int page);
  Descriptor* Find(int fd);
  Done Note(Call call, int name) const;
  // Bytes that a shortened call moves.
  std::size_t Shortened(std::size_t count) const;
  // Adds the call; true when the fault strikes it.
  bool Strikes(const Done& done);
  // The name leads to a file of whatever kind.
  bool LeadsToFile(int name) const;
  int FailWith(int error);
  void DropFiles(std::size_t but);
  void NoteSize(File& file);
  void ChangePage(File& file, int page, const Page& content);
  Page NewPage(const unsigned char* bytes);
  long MoveIn(Descriptor& descriptor, const unsigned char* data, std::size_t count);
  void Advance(Descriptor& descriptor, long bytes);
  bool StrikesNext();
  static long MoveOut(Descriptor& descriptor, unsigned char* to, std::size_t count);
  // Half of the file, as a full device or an unreadable page ends a copy.
  void CopyHalf(int from, int to);

  Names names_{};
  std::vector<std::unique_ptr<File>> files_;
  std::vector<std::unique_ptr<File>> spare_;  // whose memory the next ones use
  std::vector<Change> changes_;
  std::vector<std::unique_ptr<unsigned char[]>> chunks_;
  std::size_t chunk_ = 0, chunk_used_ = 0;
  const unsigned char* last_page_ = nullptr;
  std::array<Descriptor, 16> descriptors_{};
  std::vector<Done> done_;
  Fault fault_;
  int struck_ = 0;
  std::size_t first_struck_ = 0;
  bool next_struck_ = false;
  bool zero_is_free_ = false;
  bool other_paths_are_flat_ = false;
  std::int64_t room_ = std::numeric_limits<std::int64_t>::max();
  FileOps* before_;
};

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_COW_FILES_H_
