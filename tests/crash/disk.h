// What a power cut leaves of a session's calls on the disk.
#ifndef VMR_TESTS_CRASH_DISK_H_
#define VMR_TESTS_CRASH_DISK_H_

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "tests/crash/cow_files.h"

namespace vmr::crash {

// How much of what was written to a file since it was synced has reached the disk.
enum class Reached {
  kAll,
  kNone,
  kFirst,        // the first write, or that the file was cut to nothing
  kHalf,         // the first half of the writes
  kAllButLast,   // and of the last write nothing,
  kTorn1,        // one byte,
  kTorn512,      // one sector,
  kTorn4095,     // or all but one byte
  kSizeAlone,    // the file's size; what is new in it reads as zeros
  kEverySecond,  // the size, and every second write
  kCount
};
const char* NameOf(Reached reached);

// Follows calls on the files as they were at the beginning. What a file got since
// its last fsync may reach the disk or not; so may, each by itself, the changes of
// the directory since that was synced: they arrive in any order. A rename is one
// change. A file that is cut to nothing and filled anew keeps its old content as a
// whole or loses it as a whole, as no file system mixes the two.
//
// Owns     nothing; `files` must be as at the beginning, their pages kept, when
//          a state is put into them.
class Disk {
 public:
  explicit Disk(const CowFiles& files);

  // True when something may be different after a power cut now.
  bool Follow(const Done& call);

  // How many changes of the directory may be missing.
  std::size_t UnsyncedNames() const { return pending_.size(); }
  // The state in which the changes whose bit is set have reached the disk. Equal
  // texts mean equal states, but for what is in temporary files of the same length.
  std::string Describe(unsigned int kept_names, Reached reached) const;
  void PutInto(CowFiles& files, unsigned int kept_names, Reached reached) const;

 private:
  static constexpr int kNone = -1;

  struct Event {
    int page = kNone;  // of a write; kNone: cut to nothing
    Page content;
  };
  struct Inode {
    const CowFiles::File* base = nullptr;  // null: made since
    mode_t mode = S_IFREG | 0660;
    std::vector<Event> events;
    std::size_t synced = 0;
  };
  using Names = std::array<int, kNames>;
  struct Change {
    int removed = kNone;
    int added = kNone;
    int inode = kNone;
  };

  Inode& OfName(int name);
  void ChangeNames(const Change& change);
  static void Apply(const Change& change, Names* names);
  Names NamesOf(unsigned int kept_names) const;
  void Copy(const Done& call);
  static CowFiles::File Content(const Inode& inode, Reached reached, CowFiles* files);
  static void ApplyEvent(const Event& event, CowFiles::File* file, bool size_alone);
  static std::string DescribeContent(const Inode& inode, Reached reached, bool temporary);

  std::vector<Inode> inodes_;
  Names names_{};                   // as the calls see them
  Names durable_{};                 // as they surely are on the disk
  std::array<int, kNames> open_{};  // the inode last opened by a name
  std::vector<Change> pending_;
};

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_DISK_H_
