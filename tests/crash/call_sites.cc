#include "tests/crash/call_sites.h"

#include <unistd.h>

namespace vmr::crash {
namespace {

bool IsNewFile(int name) { return name == kTmp1 || name == kTmp2; }

// The calls in front of the one at `at`; kCount: there is none.
Call Before(const std::vector<Done>& calls, std::size_t at, std::size_t back) {
  return at < back ? Call::kCount : calls[at - back].call;
}

std::string OfDirectory(const std::vector<Done>& calls, std::size_t at) {
  return std::string(NameOf(calls[at].call)) + ".directory";
}

// Of the two ways in which a temporary file comes about.
bool IsBeingCopied(const std::vector<Done>& calls, std::size_t at) {
  while (at > 0 && calls[at].call != Call::kSystem && !calls[at].create) --at;
  return calls[at].call == Call::kSystem;
}

// Who wanted the directory synced: its last change tells.
std::string CallerOfDirectory(const std::vector<Done>& calls, std::size_t at) {
  while (at > 0 && calls[at].call != Call::kRename && calls[at].call != Call::kUnlink) --at;
  if (calls[at].call == Call::kRename && IsNewFile(calls[at].to)) return "sync.room";
  if (calls[at].call != Call::kRename || !IsNewFile(calls[at].name)) return "sync.set_aside";
  return IsBeingCopied(calls, at) ? "sync.copied_name" : "sync.new_name";
}

std::string OfNewFile(const std::vector<Done>& calls, std::size_t at) {
  const std::string what = NameOf(calls[at].call);
  if (calls[at].call == Call::kUnlink) return what + ".new_file";
  return what + (IsBeingCopied(calls, at) ? ".copy" : ".new_file");
}

bool IsSetAside2(int name) { return name == kCorrupt2 || name == kSecondCorrupt2; }

std::string OfRingFile(const std::vector<Done>& calls, std::size_t at) {
  const Done& done = calls[at];
  const Call before = Before(calls, at, 1);
  const std::string what = NameOf(done.call);
  switch (done.call) {
    case Call::kRead:
    case Call::kWrite:
    case Call::kLseek:
      return what + ".cluster";
    case Call::kFsync:
      return what + (before == Call::kWrite ? ".cluster" : ".at_close");
    case Call::kClose:
      return what + (before == Call::kFsync ? ".file" : ".before_copy");
    case Call::kStat:
      if (before == Call::kRead) return what + ".after_empty_read";
      if (before == Call::kStat || IsBeingCopied(calls, at)) return what + ".at_validation";
      return what + (before == Call::kClose ? ".after_creation" : ".at_start");
    case Call::kRename:
      if (IsNewFile(done.to)) return what + ".room";
      return what + (IsSetAside2(done.to) ? ".set_aside" : ".corrupt");
    case Call::kSystem:
      return what + ".copy";
    default:
      return what + ".file";
  }
}

// The flat file is written or read from its opening on.
bool IsBeingWritten(const std::vector<Done>& calls, std::size_t at) {
  while (at > 0 && calls[at].call != Call::kOpen) --at;
  return calls[at].create;
}

std::string OfFlatFile(const std::vector<Done>& calls, std::size_t at, bool abandoned) {
  const Done& done = calls[at];
  const bool behind_open = Before(calls, at, 1) == Call::kOpen;
  const std::string what = NameOf(done.call);
  if (done.call == Call::kLseek && done.whence == SEEK_END) return "lseek.flat_end";
  if (done.call == Call::kLseek && done.offset != 0) return "lseek.flat_data";
  if (done.call == Call::kLseek)
    return Before(calls, at, 2) == Call::kOpen ? "lseek.flat_back" : "lseek.flat_magic";
  if (done.call == Call::kRead && done.bytes == 4)
    return behind_open ? "read.flat_head" : "read.flat_magic";
  if (done.call == Call::kClose && IsBeingWritten(calls, at))
    return abandoned ? "close.flat_written_abandoned" : "close.flat_written";
  if (done.call == Call::kClose)
    return Before(calls, at, 1) == Call::kFsync ? "close.flat_read" : "close.flat_read_abandoned";
  if (done.call == Call::kOpen) return done.create ? "open.flat_written" : "open.flat_read";
  return what + ".flat";
}

}  // namespace

bool OpensTwice(const std::vector<Done>& calls, std::size_t at) {
  if (calls[at].call == Call::kOpen) return Before(calls, at, 1) == Call::kOpen;
  return calls[at].call == Call::kClose && Before(calls, at, 1) == Call::kOpen &&
         Before(calls, at, 2) == Call::kOpen;
}

const std::vector<CallSite>& CallSites() {
  static const std::vector<CallSite> kSites = {
      {"stat.at_start", "file_store.cc", "Stat"},
      {"stat.after_creation", "file_store.cc", "Stat"},
      {"stat.at_validation", "file_store.cc", "Stat"},
      {"stat.after_empty_read", "file_store.cc", "Stat"},
      {"unlink.new_file", "file_io.cc", "Unlink"},
      {"open.new_file", "file_store.cc", "OpenFile"},
      {"write.new_file", "file_store.cc", "WriteFile"},
      {"fsync.new_file", "file_store.cc", "SyncFile"},
      {"close.new_file", "file_store.cc", "CloseFile"},
      {"rename.new_file", "file_store.cc", "Rename"},
      {"sync.new_name", "file_store.cc", "SyncDirectoryOf"},
      {"chmod.file", "file_store.cc", "ChmodNoFollow"},
      {"open.file", "file_store.cc", "OpenFile"},
      {"lseek.cluster", "file_store.cc", "SeekFile"},
      {"read.cluster", "file_store.cc", "ReadFile"},
      {"write.cluster", "file_io.cc", "WriteFile"},
      {"fsync.cluster", "file_store.cc", "SyncFile"},
      {"fsync.at_close", "file_store.cc", "SyncFile"},
      {"close.file", "file_store.cc", "CloseFile"},
      {"close.before_copy", "file_store_repair.cc", "CloseFile"},
      {"system.copy", "file_store_repair.cc", "System"},
      {"rename.room", "file_store_repair.cc", "Rename"},
      {"sync.room", "file_store_repair.cc", "SyncDirectoryOf"},
      {"open.copy", "file_store_repair.cc", "OpenFile"},
      {"stat.copy", "file_store_repair.cc", "Stat"},
      {"fsync.copy", "file_store_repair.cc", "SyncFile"},
      {"close.copy", "file_store_repair.cc", "CloseFile"},
      {"rename.copy", "file_store_repair.cc", "Rename"},
      {"sync.copied_name", "file_store_repair.cc", "SyncDirectoryOf"},
      {"rename.set_aside", "file_store_repair.cc", "RenameNew"},
      {"unlink.file", "file_store_repair.cc", "Unlink"},
      {"rename.corrupt", "file_store_repair.cc", "Rename"},
      {"sync.set_aside", "ring_recovery.cc", "SyncDirectoryOf"},
      {"usleep.search", "ring_recovery.cc", "Usleep"},
      {"open.directory", "file_io.cc", "OpenFile"},
      {"fsync.directory", "file_io.cc", "SyncFile"},
      {"close.directory", "file_io.cc", "CloseFile"},
      {"close.descriptor_0", "file_io.cc", "CloseFile"},
      {"open", "file_io.cc", "Open"},
      {"read", "file_io.cc", "Read"},
      {"write", "file_io.cc", "Write"},
      {"lseek", "file_io.cc", "Lseek"},
      {"fsync", "file_io.cc", "Fsync"},
      {"close", "file_io.cc", "Close"},
      {"open.flat_written", "data_store_flat.cc", "OpenFile"},
      {"lseek.flat_end", "data_store_flat.cc", "SeekFile"},
      {"write.flat", "data_store_flat.cc", "WriteFile"},
      {"usleep", "data_store_flat.cc", "Usleep"},
      {"close.flat_written", "data_store_flat.cc", "CloseFile"},
      {"close.flat_written_abandoned", "data_store_flat.cc", "CloseFile"},
      {"open.flat_read", "data_store_flat.cc", "OpenFile"},
      {"read.flat_head", "data_store_flat.cc", "ReadFile"},
      {"lseek.flat_back", "data_store_flat.cc", "SeekFile"},
      {"lseek.flat_magic", "data_store_flat.cc", "SeekFile"},
      {"read.flat_magic", "data_store_flat.cc", "ReadFile"},
      {"lseek.flat_data", "data_store_flat.cc", "SeekFile"},
      {"read.flat", "data_store_flat.cc", "ReadFile"},
      {"fsync.flat", "data_store_flat.cc", "SyncFile"},
      {"close.flat_read", "data_store_flat.cc", "CloseFile"},
      {"close.flat_read_abandoned", "data_store_flat.cc", "CloseFile"},
  };
  return kSites;
}

std::map<std::string, long> StruckSites::ZeroEach() {
  std::map<std::string, long> counts;
  for (const CallSite& site : CallSites()) counts[site.name] = 0;
  return counts;
}

void StruckSites::Note(const std::vector<Done>& calls, std::size_t at, bool abandoned) {
  const Done& done = calls[at];
  if (done.call == Call::kUsleep) {
    ++counts_[at > 0 && calls[at - 1].name == kFlat ? "usleep" : "usleep.search"];
    return;
  }
  if (counts_.count(NameOf(done.call)) != 0) ++counts_[NameOf(done.call)];
  if (done.call == Call::kClose && OpensTwice(calls, at)) {
    ++counts_["close.descriptor_0"];
  } else if (done.name == kDirectory) {
    ++counts_[OfDirectory(calls, at)];
    ++counts_[CallerOfDirectory(calls, at)];
  } else if (IsSetAside2(done.name)) {
    ++counts_["rename.set_aside"];  // looks whether the name is taken
  } else if (IsNewFile(done.name)) {
    ++counts_[OfNewFile(calls, at)];
  } else {
    ++counts_[done.name == kFlat ? OfFlatFile(calls, at, abandoned) : OfRingFile(calls, at)];
  }
}

}  // namespace vmr::crash
