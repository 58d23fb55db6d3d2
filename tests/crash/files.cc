// Faults of whole files: power cuts inside the steps that make, fill, set aside
// and remove a file, and files that are missing, of the wrong size or kind, or
// not to be opened.
//
// What is promised of each state follows from the two files as they are:
//
//    both are whole        as everywhere: nothing acknowledged is lost
//    one is missing        the other is copied; of what it holds nothing is lost.
//                          If #1 is the missing one, recording resumes at cluster
//                          0: documented_restart_at_cluster_0
//    one is missing, the   both are made anew; the other is kept as .CORRUPT:
//    other not searchable  documented_given_up_unreadable
//    one is of the wrong   Open refuses, reading alone does not, and nothing is
//    size or kind, or      changed. With it out of the way it is as missing
//    cannot be opened
//
// The last packet of all is gone where only the lost file had it:
// one_less_holder_missing.
#include <errno.h>

#include <algorithm>
#include <set>
#include <string>

#include "tests/crash/beginnings.h"
#include "tests/crash/disk.h"
#include "tests/crash/rounds.h"
#include "tests/crash/run.h"
#include "tests/crash/sessions.h"

namespace vmr::crash {
namespace {

constexpr long kFileBytes = long{kPages} * kPageBytes;

// One more packet, at a tick above those of all others.
bool Append(DataStoreNormal& store, Stream* stream) {
  const Bytes cluster = SmallCluster(2000000);
  const Packet packet{Bytes(cluster.begin() + 7, cluster.end()), 2000000};
  stream->Add(packet);
  const int length = static_cast<int>(packet.bytes.size());
  return store.WriteData(packet.bytes.data(), length, packet.tick) == 1;
}

enum class Fact { kMissing, kWrong, kWhole };

// What must be found of a state, whatever made it.
struct Promise {
  const Stream* stream = nullptr;
  int at_least = 0;
  int at_most = 0;
  bool mirrors_equal = true;
  bool may_be_missing = false;              // a file, or both
  bool may_be_wrong = false;                // of another size or kind
  const CowFiles::File* history = nullptr;  // must stay, as file #1 or set aside
};

// One way for a file to be unusable: as it is, or because a call on it fails.
struct FileFault {
  const char* name;
  void (*spoil)(CowFiles& files, int name);
  Call call = Call::kCount;
  int error = 0;
};

template <long kBytes>
void SetSize(CowFiles& files, int name) {
  files.SetSize(name, kBytes);
}
template <mode_t kKind>
void MakeKind(CowFiles& files, int name) {
  files.SetMode(name, kKind | 0660);
}

const FileFault kFileFaults[] = {
    {"missing", [](CowFiles& files, int name) { files.TakeName(name); }},
    {"dangling", [](CowFiles& files, int name) { files.MakeDangling(name); }},
    {"empty", SetSize<0>},
    {"half", SetSize<kFileBytes / 2>},
    {"page-short", SetSize<kFileBytes - kPageBytes>},
    {"byte-short", SetSize<kFileBytes - 1>},
    {"byte-long", SetSize<kFileBytes + 1>},
    {"page-long", SetSize<kFileBytes + kPageBytes>},
    {"directory", MakeKind<S_IFDIR>},
    {"fifo", MakeKind<S_IFIFO>},
    {"socket", MakeKind<S_IFSOCK>},
    {"device", MakeKind<S_IFCHR>},
    {"disk", MakeKind<S_IFBLK>},
    {"open-EACCES", nullptr, Call::kOpen, EACCES},
    {"open-EIO", nullptr, Call::kOpen, EIO},
    {"stat-EACCES", nullptr, Call::kStat, EACCES},
    {"stat-EIO", nullptr, Call::kStat, EIO},
};
const FileFault kUnsearchable = {"unsearchable", SpoilSearch};

const char* NameOf(const FileFault* fault) { return fault == nullptr ? "good" : fault->name; }

class WholeFiles {
 public:
  explicit WholeFiles(Run& run) : run_(run), check_(files_, run.counts) {}

  void Cuts(Begin begin, const Scenario& scenario, unsigned int round, int turn);
  void Faults(const Scenario& scenario, unsigned int round, int turn);

 private:
  void Prepare(Begin begin, PacketMaker& maker, const Scenario& scenario, int turn);
  void CutAfter(const std::string& prefix, const Disk& disk, Promise promise);
  void Spoil(const std::string& prefix, const FileFault* one, const FileFault* two);
  void Visit(const std::string& id, const Promise& promise, const Fault* fault);

  std::string JudgeUnder(const Fault& fault, const Promise& promise);
  std::string Judge(const Promise& promise);
  std::string JudgeRefusal(const Promise& promise);
  std::string ReadAlone(const Promise& promise) const;
  std::string JudgePair(const Promise& promise);
  std::string JudgeFilling(const Promise& promise);
  std::string JudgeRestart(const Promise& promise);
  std::string JudgeNew(const Promise& promise);

  Fact FactOf(int name) const;
  bool Searchable(int name) const { return Search(ImageOf(files_, name)).found; }
  CowFiles::File* FileOf(int name) const { return files_.NamesNow()[static_cast<unsigned>(name)]; }
  bool Holds(int name, const CowFiles::File& content, int from) const;
  bool KeepsHistory(const Promise& promise) const;

  Run& run_;
  CowFiles files_;
  StateCheck check_;
  Start start_;
  int holder_ = kFile1;    // the file that has the last packet, the other one lacks it
  bool one_less_ = false;  // and is gone, the last packet with it
  std::set<std::string> seen_;
};

// ---- Looking at the files ----------------------------------------------------------------

Fact WholeFiles::FactOf(int name) const {
  if (!files_.Exists(name) || S_ISLNK(FileOf(name)->mode)) return Fact::kMissing;
  const CowFiles::File& file = *FileOf(name);
  return S_ISREG(file.mode) && file.size == kFileBytes ? Fact::kWhole : Fact::kWrong;
}

// The file's clusters from `from` on are the other content's.
bool WholeFiles::Holds(int name, const CowFiles::File& content, int from) const {
  if (!files_.Exists(name) || files_.Size(name) != content.size) return false;
  unsigned char one[kPageBytes], two[kPageBytes];
  for (int n = from; n < kPages; ++n) {
    const Page& page = files_.PageAt(name, n);
    const Page& right = content.pages[static_cast<std::size_t>(n)];
    if (page.bytes == right.bytes && page.used == right.used) continue;
    CowFiles::Fill(page, one);
    CowFiles::Fill(right, two);
    if (!std::equal(one, one + kPageBytes, two)) return false;
  }
  return true;
}

bool WholeFiles::KeepsHistory(const Promise& promise) const {
  return promise.history == nullptr || Holds(kFile1, *promise.history, 0) ||
         Holds(kCorrupt1, *promise.history, 0);
}

// ---- Judging a state -------------------------------------------------------------------

std::string WholeFiles::Judge(const Promise& promise) {
  const Fact one = FactOf(kFile1);
  const Fact two = FactOf(kFile2);
  if (!KeepsHistory(promise)) return "what is to be kept aside is gone";
  if (one == Fact::kWrong || two == Fact::kWrong) return JudgeRefusal(promise);
  if (one == Fact::kWhole && two == Fact::kWhole) return JudgePair(promise);
  if (!promise.may_be_missing) return "a file is missing";
  if (one == Fact::kMissing && two == Fact::kMissing) return JudgeNew(promise);
  if (!Searchable(one == Fact::kWhole ? kFile1 : kFile2)) return JudgeNew(promise);
  return one == Fact::kWhole ? JudgeFilling(promise) : JudgeRestart(promise);
}

// Refused, with nothing changed. Without the wrong file it is as if that were
// missing.
std::string WholeFiles::JudgeRefusal(const Promise& promise) {
  ++run_.counts["open_refused"];
  const CowFiles::Names before = files_.NamesNow();
  std::array<CowFiles::File, 2> content;
  for (const std::size_t index : {0U, 1U})
    if (before[index] != nullptr) content[index] = *before[index];
  {
    DataStoreNormal store(kBase);
    if (store.Open() != 0) return "a file of the wrong size or kind is opened";
  }
  for (const int name : {kFile1, kFile2}) {
    const auto index = static_cast<std::size_t>(name);
    if (before[index] == nullptr || S_ISLNK(before[index]->mode)) continue;
    const bool same_file =
        before[index] == FileOf(name) && content[index].mode == FileOf(name)->mode;
    if (!same_file || (FactOf(name) == Fact::kWhole && !Holds(name, content[index], 0)))
      return "a file was changed by an Open that refused";
  }
  const bool readable = (FactOf(kFile1) == Fact::kWhole && Searchable(kFile1)) ||
                        (FactOf(kFile2) == Fact::kWhole && Searchable(kFile2));
  const std::string wrong = readable ? ReadAlone(promise) : "";
  if (!wrong.empty()) return wrong;
  Promise without = promise;
  without.may_be_missing = true;
  for (const int name : {kFile1, kFile2}) {
    if (FactOf(name) != Fact::kWrong) continue;
    if (!promise.may_be_wrong) return "a file of the wrong size is left";
    files_.TakeName(name);
  }
  const std::string what = "without " + std::to_string(FactOf(kFile1) == Fact::kMissing) +
                           std::to_string(FactOf(kFile2) == Fact::kMissing) +
                           std::to_string(promise.at_least);
  if (!seen_.insert(what).second && !run_.Replaying()) return "";
  return Judge(without);
}

// Reading takes the file that is good.
std::string WholeFiles::ReadAlone(const Promise& promise) const {
  DataStoreNormal store(kBase);
  Bytes found;
  if (store.OpenReadOnly() == 0 || !ReadStream(store, promise.stream->from_cluster, &found))
    return "the good file is not read";
  const int packets = promise.stream->PacketsIn(found);
  if (packets >= promise.at_least && packets <= promise.at_most) return "";
  return "reading alone finds " + std::to_string(packets) + " packets of " +
         std::to_string(promise.at_least);
}

std::string WholeFiles::JudgePair(const Promise& promise) {
  Expected expected;
  expected.stream = promise.stream;
  expected.at_least = promise.at_least;
  expected.at_most = promise.at_most;
  expected.mirrors_equal = promise.mirrors_equal;
  // What a copy lacks stays bad until it is read or written over.
  expected.damage_stays = !Searchable(kFile1) || !Searchable(kFile2);
  if (promise.history == nullptr || Searchable(kFile1) || Searchable(kFile2))
    return check_.Visit(expected);
  return JudgeNew(promise);
}

// File #1 alone: #2 becomes its copy, and recording goes on.
std::string WholeFiles::JudgeFilling(const Promise& promise) {
  const Prediction right = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile1));
  const CowFiles::File content = *FileOf(kFile1);
  Stream stream = *promise.stream;
  {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return "file #1 alone is refused";
    if (store.CurrentCluster() != right.current || store.PreviousCluster() != right.previous ||
        store.GetCurrentSystemTick() != right.last_tick)
      return "file #1 alone is opened at another place";
    if (!Holds(kFile1, content, 0) || !Holds(kFile2, content, 0)) return "file #2 is no copy";
    Bytes found;
    if (!ReadStream(store, stream.from_cluster, &found)) return "reading back failed";
    const int packets = stream.PacketsIn(found);
    if (packets < promise.at_least || packets > promise.at_most)
      return std::to_string(packets) + " packets in file #1 of " + std::to_string(promise.at_least);
    stream.CutTo(packets);
    if (!Append(store, &stream)) return "a packet was refused";
  }
  Promise pair = promise;
  pair.stream = &stream;
  pair.at_least = pair.at_most = stream.Count();
  return JudgePair(pair);
}

// File #2 alone: #1 becomes its copy, nothing in it is lost, but recording resumes
// at cluster 0. Opened once more, it goes on where it ended.
std::string WholeFiles::JudgeRestart(const Promise& promise) {
  const CowFiles::File content = *FileOf(kFile2);
  if (Search(ImageOf(files_, kFile2)).newest != 0) ++run_.counts["documented_restart_at_cluster_0"];
  const CowFiles::Mark alone = files_.Set();
  {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return "file #2 alone is refused";
    if (store.CurrentCluster() != 0 || store.PreviousCluster() != kPages - 1)
      return "file #2 alone is opened at another place";
    if (!Holds(kFile1, content, 0) || !Holds(kFile2, content, 0)) return "file #1 is no copy";
    Stream stream;
    if (!Append(store, &stream)) return "a packet was refused";
    Bytes found;
    if (!ReadStream(store, 0, &found) || found.size() < stream.bytes.size() ||
        !std::equal(stream.bytes.rbegin(), stream.bytes.rend(), found.rbegin()))
      return "what was recorded in cluster 0 is not there";
  }
  if (!Holds(kFile1, content, 1) || !Holds(kFile2, content, 1))
    return "another cluster was changed";
  files_.Undo(alone);
  {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return "file #2 alone is refused the second time";
  }
  return JudgePair(promise);
}

// Nothing that could be gone on with: two new files.
std::string WholeFiles::JudgeNew(const Promise& promise) {
  const bool file1_there = FactOf(kFile1) == Fact::kWhole;
  const bool file2_alone = !file1_there && FactOf(kFile2) == Fact::kWhole;
  const bool given_up = file1_there || file2_alone;
  const CowFiles::File file1 = file1_there ? *FileOf(kFile1) : CowFiles::File{};
  const CowFiles::File file2 = file2_alone ? *FileOf(kFile2) : CowFiles::File{};
  if (given_up && promise.history == nullptr) ++run_.counts["documented_given_up_unreadable"];
  if (!given_up && promise.at_least > 0) return "everything is gone";
  Stream stream;
  {
    DataStoreNormal store(kBase);
    if (store.Open() == 0) return "no new store is made";
    if (store.CurrentCluster() != 0 || store.PreviousCluster() != kPages - 1 ||
        store.GetCurrentSystemTick() != 0)
      return "a new store begins at another place";
    if (!KeepsHistory(promise)) return "what is to be kept aside is gone after opening";
    if (file1_there && !Holds(kCorrupt1, file1, 0)) return "file #1 was not kept aside";
    if (file2_alone && !Holds(kCorrupt2, file2, 0)) return "file #2 was not kept aside";
    Bytes found;
    if (!ReadStream(store, 0, &found) || !found.empty()) return "a new store holds data";
    if (!Append(store, &stream)) return "a packet was refused";
  }
  Promise pair = promise;
  pair.stream = &stream;
  pair.at_least = pair.at_most = stream.Count();
  return JudgePair(pair);
}

// ---- Cuts --------------------------------------------------------------------------------

// Prepares the files; the stream is what is in them then.
void WholeFiles::Prepare(Begin begin, PacketMaker& maker, const Scenario& scenario, int turn) {
  seen_.clear();
  one_less_ = false;
  start_ = MakeStart(scenario, maker, turn, files_);
  holder_ = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2)).last_writer;
  Bring(begin, files_);
  if (BeginsAnew(begin)) start_ = Start{};
  if (FileGone(begin) != holder_) return;
  start_.stream.CutTo(start_.stream.Count() - 1);
  start_.used -= kSmallestBytes;
  one_less_ = true;
}

// The creation of a file writes the same 32768 times.
bool IsDull(const Done& call) {
  if (call.call != Call::kWrite || (call.name != kTmp1 && call.name != kTmp2)) return false;
  return call.page > 1 && call.page != kPages / 2 && call.page < kPages - 2;
}

void WholeFiles::Cuts(Begin begin, const Scenario& scenario, unsigned int round, int turn) {
  const std::string prefix = std::string("files/") + NameOf(begin) + "/" + scenario.name + "/r" +
                             std::to_string(round) + "/t" + std::to_string(turn);
  if (!run_.WantsSome(prefix + "/")) return;
  PacketMaker maker(scenario.pattern, round, 400000);
  Prepare(begin, maker, scenario, turn);
  // Behind a restart at cluster 0 two recordings stand in the files: documented.
  std::vector<Packet> packets;
  if (begin != Begin::kFile1Missing) packets = MakePackets(maker, start_.used, 0, 3);
  Stream stream = start_.stream;
  for (const Packet& packet : packets) stream.Add(packet);
  if (begin == Begin::kBothUnsearchable && (Searchable(kFile1) || Searchable(kFile2))) return;
  if (begin == Begin::kBothUnsearchable && turn == 1) MakeEmptyRing(files_, kCorrupt1);
  const CowFiles::File file1 = files_.Exists(kFile1) ? *FileOf(kFile1) : CowFiles::File{};

  Disk disk(files_);
  const CowFiles::Mark mark = files_.Set();
  const Session session = Record(files_, packets);
  const std::vector<Done> calls = files_.Calls();
  files_.Undo(mark, true);
  Promise promise;
  promise.stream = &stream;
  promise.may_be_missing = begin != Begin::kRing && begin != Begin::kFile1Empty &&
                           begin != Begin::kFile2Empty && begin != Begin::kWrongMode;
  if (begin == Begin::kBothUnsearchable) promise.history = &file1;
  for (std::size_t n = 0; n < calls.size() && !run_.Enough(true); ++n) {
    if (!disk.Follow(calls[n])) continue;
    if (IsDull(calls[n])) continue;
    const auto returned =
        std::upper_bound(session.returned_at.begin(), session.returned_at.end(), n + 1) -
        session.returned_at.begin();
    promise.at_least = start_.stream.Count() + std::max(0, static_cast<int>(returned) - 1);
    promise.at_most = std::min(promise.at_least + 1, stream.Count());
    CutAfter(prefix + "/c" + std::to_string(n), disk, promise);
  }
}

void WholeFiles::CutAfter(const std::string& prefix, const Disk& disk, Promise promise) {
  const unsigned int choices = 1U << std::min<std::size_t>(disk.UnsyncedNames(), 6);
  for (unsigned int kept = 0; kept < choices; ++kept) {
    for (int n = 0; n < static_cast<int>(Reached::kCount); ++n) {
      const auto reached = static_cast<Reached>(n);
      const std::string state =
          disk.Describe(kept, reached) + "/" + std::to_string(promise.at_least);
      if (!run_.Replaying() && !seen_.insert(state).second) continue;
      const std::string id =
          prefix + "/n" + std::to_string(kept) + "/" + vmr::crash::NameOf(reached);
      if (!run_.Wants(id)) continue;
      run_.counts["one_less_holder_missing"] += one_less_ ? 1 : 0;
      const CowFiles::Mark mark = files_.Set();
      disk.PutInto(files_, kept, reached);
      promise.mirrors_equal = reached == Reached::kAll || reached == Reached::kNone;
      Visit(id, promise, nullptr);
      files_.Undo(mark);
    }
  }
}

void WholeFiles::Visit(const std::string& id, const Promise& promise, const Fault* fault) {
  const std::string wrong = fault == nullptr ? Judge(promise) : JudgeUnder(*fault, promise);
  if (!wrong.empty()) run_.Fail(id, wrong);
  run_.counts["states"] = run_.Visited();  // of which some are opened more than once
}

// ---- Files that cannot be used -------------------------------------------------------------

// While the calls fail Open refuses, and the good file is read; afterwards all is
// there.
std::string WholeFiles::JudgeUnder(const Fault& fault, const Promise& promise) {
  const int other = fault.name == kFile1 ? kFile2 : kFile1;
  const bool one_is_good = fault.name != kAnyName && FactOf(other) == Fact::kWhole;
  ++run_.counts["open_refused"];
  files_.SetFault(fault);
  {
    DataStoreNormal store(kBase);
    if (store.Open() != 0) return "a file that cannot be opened is opened";
  }
  Promise alone = promise;
  if (fault.name == holder_) --alone.at_least;
  std::string wrong;
  if (one_is_good) wrong = ReadAlone(alone);
  files_.ClearFault();
  return wrong.empty() ? Judge(promise) : wrong;
}

void WholeFiles::Spoil(const std::string& prefix, const FileFault* one, const FileFault* two) {
  const std::string id = prefix + "/" + NameOf(one) + "-" + NameOf(two);
  if (!run_.Wants(id)) return;
  const CowFiles::Mark mark = files_.Set();
  Fault fault;
  Promise promise;
  promise.may_be_wrong = promise.may_be_missing = true;
  const std::array<const FileFault*, 2> faults = {one, two};
  std::array<bool, 2> lost{};
  for (const int name : {kFile1, kFile2}) {
    const auto index = static_cast<std::size_t>(name);
    if (faults[index] == nullptr) continue;
    lost[index] = faults[index]->spoil != nullptr;
    if (lost[index]) faults[index]->spoil(files_, name);
    if (lost[index]) continue;
    fault.name = fault.call == Call::kCount ? name : static_cast<int>(kAnyName);
    fault.call = faults[index]->call;
    fault.error = faults[index]->error;
    fault.forever = true;
  }
  const Stream nothing;
  promise.stream = lost[0] && lost[1] ? &nothing : &start_.stream;
  promise.at_least = promise.stream->Count();
  if (lost[static_cast<std::size_t>(holder_)] && promise.at_least > 0) {
    --promise.at_least;
    ++run_.counts["one_less_holder_missing"];
  }
  promise.at_most = promise.at_least;
  Visit(id, promise, fault.call == Call::kCount ? nullptr : &fault);
  files_.ClearFault();
  files_.Undo(mark);
}

// Each fault in file #1, in file #2, and in both. Beside a file that is missing, of
// which one is made, a few in each scenario, in all of them all.
void WholeFiles::Faults(const Scenario& scenario, unsigned int round, int turn) {
  const std::string prefix = std::string("files/faults/") + scenario.name + "/r" +
                             std::to_string(round) + "/t" + std::to_string(turn);
  if (!run_.WantsSome(prefix + "/")) return;
  PacketMaker maker(scenario.pattern, round, 400000);
  Prepare(Begin::kRing, maker, scenario, turn);
  const FileFault* const missing = &kFileFaults[0];
  const std::size_t scenarios = Scenarios().size();
  std::size_t n = static_cast<std::size_t>(&scenario - Scenarios().data()) + round;
  for (const FileFault& fault : kFileFaults) {
    if (run_.Enough(true)) return;
    Spoil(prefix, &fault, nullptr);
    Spoil(prefix, nullptr, &fault);
    if (fault.call == Call::kCount || fault.error == EIO) Spoil(prefix, &fault, &fault);
    if (&fault == missing || n++ % scenarios >= 2) continue;
    Spoil(prefix, missing, &fault);
    Spoil(prefix, &fault, missing);
  }
  const CowFiles::Mark mark = files_.Set();
  SpoilSearch(files_, kFile1);
  const bool unsearchable = !Searchable(kFile1);
  files_.Undo(mark);
  if (!unsearchable) return;
  Spoil(prefix, missing, &kUnsearchable);
  Spoil(prefix, &kUnsearchable, missing);
}

}  // namespace

void EnumerateFileFaults(Run& run) {
  WholeFiles files(run);
  ForEachRound(run, [&](const Scenario& scenario, unsigned int round, int turn) {
    for (const Begin begin :
         {Begin::kNoFiles, Begin::kFile1Missing, Begin::kFile2Missing, Begin::kFile1Empty,
          Begin::kFile2Empty, Begin::kBothUnsearchable, Begin::kWrongMode})
      if (begin != Begin::kNoFiles || (scenario.empty && turn == 0))
        files.Cuts(begin, scenario, round, turn);
    files.Faults(scenario, round, turn);
  });
}

}  // namespace vmr::crash
