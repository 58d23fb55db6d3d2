#include "tests/crash/disk.h"

#include <algorithm>
#include <cstring>

namespace vmr::crash {
namespace {

std::size_t Index(int number) { return static_cast<std::size_t>(number); }

// The first `bytes` of `content` over what was there.
Page Torn(const Page& before, const Page& content, int bytes, CowFiles* files) {
  unsigned char* const to = files->Allocate(kPageBytes);
  memset(to, 0, kPageBytes);
  if (before.used > 0) memcpy(to, before.bytes, before.used);
  for (int n = 0; n < bytes; ++n) to[n] = n < content.used ? content.bytes[n] : 0;
  return {to, kPageBytes, 0};
}

int TornBytes(Reached reached) {
  if (reached == Reached::kTorn1) return 1;
  if (reached == Reached::kTorn512) return kSectorBytes;
  return reached == Reached::kTorn4095 ? kPageBytes - 1 : 0;
}

// How many of `unsynced` events have arrived one after the other.
std::size_t Arrived(std::size_t unsynced, Reached reached) {
  switch (reached) {
    case Reached::kNone:
      return 0;
    case Reached::kFirst:
      return 1;
    case Reached::kHalf:
      return unsynced / 2;
    case Reached::kAll:
    case Reached::kSizeAlone:
    case Reached::kEverySecond:
      return unsynced;
    default:
      return unsynced - 1;
  }
}

}  // namespace

const char* NameOf(Reached reached) {
  static const char* const kReachedNames[] = {"all",   "none",    "first",    "half", "but-last",
                                              "torn1", "torn512", "torn4095", "size", "second"};
  return kReachedNames[static_cast<int>(reached)];
}

Disk::Disk(const CowFiles& files) {
  open_.fill(kNone);
  names_.fill(kNone);
  for (int name = 0; name < kNames; ++name) {
    if (!files.Exists(name)) continue;
    Inode inode;
    inode.base = files.NamesNow()[Index(name)];
    inode.mode = inode.base->mode;
    names_[Index(name)] = static_cast<int>(inodes_.size());
    inodes_.push_back(inode);
  }
  durable_ = names_;
}

// ---- Following -----------------------------------------------------------------------

Disk::Inode& Disk::OfName(int name) { return inodes_[Index(names_[Index(name)])]; }

void Disk::Apply(const Change& change, Names* names) {
  if (change.removed != kNone) (*names)[Index(change.removed)] = kNone;
  if (change.added != kNone) (*names)[Index(change.added)] = change.inode;
}

void Disk::ChangeNames(const Change& change) {
  Apply(change, &names_);
  pending_.push_back(change);
}

// What cp does: the destination is cut to nothing and filled from the beginning.
void Disk::Copy(const Done& call) {
  const CowFiles::File source = Content(OfName(call.name), Reached::kAll, nullptr);
  if (names_[Index(call.to)] == kNone) {
    inodes_.emplace_back();
    ChangeNames({kNone, call.to, static_cast<int>(inodes_.size()) - 1});
  }
  Inode& to = OfName(call.to);
  to.events.push_back({});
  for (std::size_t n = 0; n < source.pages.size(); ++n)
    to.events.push_back({static_cast<int>(n), source.pages[n]});
}

bool Disk::Follow(const Done& call) {
  if (call.error != 0) return false;
  switch (call.call) {
    case Call::kOpen:
      if (call.name == kDirectory) return false;
      if (call.create) {
        inodes_.emplace_back();
        ChangeNames({kNone, call.name, static_cast<int>(inodes_.size()) - 1});
      }
      open_[Index(call.name)] = names_[Index(call.name)];
      return call.create;
    case Call::kWrite:
      if (call.to == kLostWrite) return false;
      inodes_[Index(open_[Index(call.name)])].events.push_back({call.page, call.after});
      return true;
    case Call::kFsync:
      if (call.name == kDirectory) {
        durable_ = names_;
        pending_.clear();
        return true;
      } else {
        Inode& inode = inodes_[Index(open_[Index(call.name)])];
        inode.synced = inode.events.size();
        return true;
      }
    case Call::kChmod:
      return true;  // the mode may be the old or the new one: both are set right
    case Call::kRename:
      ChangeNames({call.name, call.to, names_[Index(call.name)]});
      return true;
    case Call::kUnlink:
      ChangeNames({call.name, kNone, kNone});
      return true;
    case Call::kSystem:
      Copy(call);
      return true;
    default:
      return false;
  }
}

// ---- States --------------------------------------------------------------------------

Disk::Names Disk::NamesOf(unsigned int kept_names) const {
  Names names = durable_;
  for (std::size_t n = 0; n < pending_.size(); ++n)
    if ((kept_names >> n & 1) != 0) Apply(pending_[n], &names);
  return names;
}

void Disk::ApplyEvent(const Event& event, CowFiles::File* file, bool size_alone) {
  if (event.page == kNone) {
    file->pages.clear();
    file->size = 0;
    return;
  }
  const std::size_t page = Index(event.page);
  if (page >= file->pages.size()) file->pages.resize(page + 1);
  if (!size_alone) file->pages[page] = event.content;
  file->size = std::max(file->size, (event.page + 1L) * kPageBytes);
}

// `files` gives the room for a torn page.
CowFiles::File Disk::Content(const Inode& inode, Reached reached, CowFiles* files) {
  CowFiles::File file;
  if (inode.base != nullptr) file = *inode.base;
  file.mode = inode.mode;
  file.pages.reserve(kPages);
  for (std::size_t n = 0; n < inode.synced; ++n) ApplyEvent(inode.events[n], &file, false);
  const std::size_t unsynced = inode.events.size() - inode.synced;
  if (unsynced == 0) return file;
  const std::size_t arrived = Arrived(unsynced, reached);
  for (std::size_t n = 0; n < arrived; ++n) {
    const bool size_alone =
        reached == Reached::kSizeAlone || (reached == Reached::kEverySecond && n % 2 == 0);
    ApplyEvent(inode.events[inode.synced + n], &file, size_alone);
  }
  const int torn_bytes = TornBytes(reached);
  const Event& last = inode.events.back();
  if (torn_bytes == 0 || last.page == kNone) return file;
  const std::size_t page = Index(last.page);
  const Page before = page < file.pages.size() ? file.pages[page] : Page{};
  const long grown = last.page * long{kPageBytes} + torn_bytes;
  if (page >= file.pages.size()) file.pages.resize(page + 1);
  file.pages[page] = Torn(before, last.content, torn_bytes, files);
  file.size = std::max(file.size, grown);
  return file;
}

// Of a temporary file its size alone: no store reads one.
std::string Disk::DescribeContent(const Inode& inode, Reached reached, bool temporary) {
  const std::size_t unsynced = inode.events.size() - inode.synced;
  const std::size_t arrived = inode.synced + (unsynced == 0 ? 0 : Arrived(unsynced, reached));
  const bool torn = unsynced > 0 && TornBytes(reached) != 0;
  if (temporary) return arrived == kPages ? "whole" : arrived > 0 || torn ? "short" : "empty";
  std::string text = std::to_string(arrived);
  const bool mixed = reached == Reached::kSizeAlone || reached == Reached::kEverySecond || torn;
  if (unsynced > 0 && mixed) text += NameOf(reached) + std::to_string(inode.synced);
  return text;
}

std::string Disk::Describe(unsigned int kept_names, Reached reached) const {
  const Names names = NamesOf(kept_names);
  std::string text;
  for (int name = 0; name < kNames; ++name) {
    const int inode = names[Index(name)];
    if (inode == kNone) continue;
    const bool temporary = name == kTmp1 || name == kTmp2;
    text += std::to_string(name) + "=" + (temporary ? "" : std::to_string(inode) + ":") +
            DescribeContent(inodes_[Index(inode)], reached, temporary) + " ";
  }
  return text;
}

void Disk::PutInto(CowFiles& files, unsigned int kept_names, Reached reached) const {
  const Names names = NamesOf(kept_names);
  for (int name = 0; name < kNames; ++name) {
    const int index = names[Index(name)];
    if (index == kNone) {
      files.TakeName(name);
      continue;
    }
    CowFiles::File* const file = files.NewFile();
    *file = Content(inodes_[Index(index)], reached, &files);
    files.NameFile(name, file);
  }
}

}  // namespace vmr::crash
