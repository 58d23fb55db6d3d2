// Every system call of a session failing at its k-th use: once and from then on,
// on one file and on both.
#include <errno.h>

#include <algorithm>
#include <map>
#include <string>

#include "tests/crash/rounds.h"
#include "tests/crash/run.h"
#include "tests/crash/sessions.h"

namespace vmr::crash {
namespace {

// What the files are like when the session begins.
enum class Begin {
  kRing,
  kNoFiles,
  kFile1Missing,
  kFile2Missing,
  kFile1Empty,
  kBothUnsearchable,
  kWrongMode
};

struct Case {
  std::string name;
  Begin begin;
  const Scenario* scenario;
  int closings;  // of clusters in the session
  int more;      // packets behind the last closing
};

struct FaultKind {
  const char* name;
  int error;
  int short_by;
  bool lost;
};
constexpr FaultKind kErrors[] = {{"EIO", EIO, 0, false},
                                 {"ENOSPC", ENOSPC, 0, false},
                                 {"EACCES", EACCES, 0, false},
                                 {"EINTR", EINTR, 0, false}};
constexpr FaultKind kShort[] = {{"short1", 0, 1, false},
                                {"short512", 0, 512, false},
                                {"short4095", 0, 4095, false},
                                {"nothing", 0, 4096, false}};
constexpr FaultKind kNothingStatFails = {"nothing-stat", 0, 4096, false};
constexpr FaultKind kLost = {"lost", 0, 0, true};

// Where the library makes its calls on a ring's files. Each must have been struck.
const char* const kSites[] = {
    "open.new_file",   "open.file",           "open.directory",     "read.cluster",
    "write.new_file",  "write.cluster",       "lseek.cluster",      "fsync.new_file",
    "fsync.directory", "fsync.cluster",       "fsync.copy",         "fsync.at_close",
    "close.new_file",  "close.directory",     "close.file",         "close.before_copy",
    "stat.at_start",   "stat.after_creation", "stat.at_validation", "stat.after_empty_read",
    "chmod.file",      "rename.new_file",     "rename.corrupt",     "unlink.new_file",
    "unlink.file",     "system.copy"};

bool IsNewFile(int name) { return name == kTmp1 || name == kTmp2; }

std::string SiteOf(const std::vector<Done>& calls, std::size_t at) {
  const Done& done = calls[at];
  const Call before = at == 0 ? Call::kCount : calls[at - 1].call;
  const std::string what = NameOf(done.call);
  if (done.name == kDirectory) return what + ".directory";
  if (IsNewFile(done.name)) return what + ".new_file";
  switch (done.call) {
    case Call::kRead:
    case Call::kWrite:
    case Call::kLseek:
      return what + ".cluster";
    case Call::kFsync:
      if (before == Call::kWrite) return what + ".cluster";
      return what + (before == Call::kOpen ? ".copy" : ".at_close");
    case Call::kClose:
      return what + (before == Call::kFsync ? ".file" : ".before_copy");
    case Call::kStat:
      if (before == Call::kRead) return what + ".after_empty_read";
      if (before == Call::kStat || before == Call::kSystem) return what + ".at_validation";
      return what + (before == Call::kClose ? ".after_creation" : ".at_start");
    case Call::kRename:
      return what + ".corrupt";
    case Call::kSystem:
      return what + ".copy";
    default:
      return what + ".file";
  }
}

class FailingCalls {
 public:
  explicit FailingCalls(Run& run) : run_(run), check_(files_, run.counts) {}

  void Enumerate(const Case& situation, unsigned int round);
  void RequireEverySite();

 private:
  void Prepare(const Case& situation, unsigned int round);
  void FailCall(const std::string& prefix, Call call, int name);
  void FailAt(const std::string& prefix, const Fault& fault, const FaultKind& kind, int k,
              bool forever);
  static bool IsDull(const Done& done, int nth);
  std::string Judge(const Fault& fault, const Session& session, int struck_in);
  std::string Reopen();
  Expected Promise(const Fault& fault, const Session& session, int struck_in) const;
  std::string CompareClosedClusters() const;
  bool BothThere() const;
  bool LacksEndOfPrevious() const;
  bool MayGiveUp(const Fault& fault) const;
  bool MayRefuseToOpen(const Fault& fault) const;

  Run& run_;
  CowFiles files_;
  StateCheck check_;
  Case case_;
  Start start_;
  int before_ = 0;         // packets in front of the session
  int holder_ = kAnyName;  // file that took the last of them
  std::vector<Packet> packets_;
  Stream stream_;               // with the session's packets
  Stream shorter_stream_;       // without the last one in front of them
  Stream new_stream_;           // them alone
  std::vector<Done> baseline_;  // the session's calls when nothing fails
  std::map<std::string, long> sites_;
};

// ---- Preparing ----------------------------------------------------------------------

void SpoilBothSearches(CowFiles& files) {
  for (const int name : {kFile1, kFile2}) {
    Page page = files.PageAt(name, 16383);
    page.bad_sectors = 1;
    files.SetPage(name, 16383, page);
  }
}

void FailingCalls::Prepare(const Case& situation, unsigned int round) {
  case_ = situation;
  PacketMaker maker(situation.scenario->pattern, round, 400000);
  const Begin begin = situation.begin;
  // The file that stays must be the one with the last packet.
  const bool file1_wrote_last =
      begin == Begin::kRing ? round % 2 == 1 : begin == Begin::kFile2Missing;
  holder_ = file1_wrote_last ? kFile1 : kFile2;
  start_ = MakeStart(*situation.scenario, maker, file1_wrote_last ? 1 : 0, files_);
  if (begin == Begin::kFile1Empty) MakeEmptyRing(files_, kFile1);
  if (begin == Begin::kNoFiles || begin == Begin::kFile1Missing) files_.TakeName(kFile1);
  if (begin == Begin::kNoFiles || begin == Begin::kFile2Missing) files_.TakeName(kFile2);
  if (begin == Begin::kBothUnsearchable) SpoilBothSearches(files_);
  for (const int name : {kFile1, kFile2})
    if (begin == Begin::kWrongMode) files_.SetMode(name, S_IFREG | 0644);
  if (begin == Begin::kNoFiles || begin == Begin::kBothUnsearchable) start_ = Start{};
  before_ = start_.stream.Count();
  packets_ = MakePackets(maker, start_.used, situation.closings, situation.more);
  stream_ = shorter_stream_ = start_.stream;
  if (before_ > 0) shorter_stream_.CutTo(before_ - 1);
  new_stream_ = Stream{};
  for (const Packet& packet : packets_) {
    stream_.Add(packet);
    shorter_stream_.Add(packet);
    new_stream_.Add(packet);
  }
  const CowFiles::Mark mark = files_.Set();
  Record(files_, packets_);
  baseline_ = files_.Calls();
  files_.Undo(mark);
}

// ---- Failing ------------------------------------------------------------------------

void FailingCalls::Enumerate(const Case& situation, unsigned int round) {
  const std::string prefix = "calls/" + situation.name + "/r" + std::to_string(round);
  if (!run_.WantsSome(prefix + "/")) return;
  Prepare(situation, round);
  for (int call = 0; call < static_cast<int>(Call::kCount); ++call)
    for (const int name :
         {static_cast<int>(kFile1), static_cast<int>(kFile2), static_cast<int>(kAnyName)})
      if (!run_.Enough(true)) FailCall(prefix + "/", static_cast<Call>(call), name);
}

// Of the 32768 like writes of a new file a few will do.
bool FailingCalls::IsDull(const Done& done, int nth) {
  return done.call == Call::kWrite && IsNewFile(done.name) && nth % 8192 > 1 && nth % 32768 < 32766;
}

void FailingCalls::FailCall(const std::string& prefix, Call call, int name) {
  // Where the only file with data cannot be searched, the empty one is gone on
  // with: documented, and what is then read back is no longer the old recording.
  const bool reads = call == Call::kRead || call == Call::kLseek;
  if (case_.begin == Begin::kFile1Empty && reads) return;
  Fault fault;
  fault.call = call;
  fault.name = name;
  int nth = 0;
  for (const Done& done : baseline_) {
    if (done.call != call || (name != kAnyName && done.name != name)) continue;
    const int k = nth++;
    if (IsDull(done, k)) continue;
    for (const FaultKind& kind : kErrors) {
      FailAt(prefix, fault, kind, k, false);
      // Interrupted for ever, a call is tried for ever.
      if (kind.error != EINTR) FailAt(prefix, fault, kind, k, true);
    }
    if (call != Call::kRead && call != Call::kWrite) continue;
    for (const FaultKind& kind : kShort) {
      FailAt(prefix, fault, kind, k, false);
      if (k == 0 && case_.begin == Begin::kRing) FailAt(prefix, fault, kind, k, true);
      // An empty read asks for the file's size, and that may fail too.
      fault.stat_fails_behind = kind.short_by == kPageBytes && call == Call::kRead;
      if (fault.stat_fails_behind) FailAt(prefix, fault, kNothingStatFails, k, false);
      fault.stat_fails_behind = false;
    }
    if (call != Call::kWrite) continue;
    FailAt(prefix, fault, kLost, k, false);
    FailAt(prefix, fault, kLost, k, true);
  }
}

void FailingCalls::FailAt(const std::string& prefix, const Fault& base, const FaultKind& kind,
                          int k, bool forever) {
  const char* const where = base.name == kAnyName ? "any" : base.name == kFile1 ? "f1" : "f2";
  const std::string id = prefix + NameOf(base.call) + "/" + where + "/" + kind.name +
                         (forever ? "/forever" : "/once") + "/k" + std::to_string(k);
  if (!run_.Wants(id)) return;
  Fault fault = base;
  fault.skip = k;
  fault.forever = forever;
  fault.error = kind.error;
  fault.short_by = kind.short_by;
  fault.lost = kind.lost;
  const CowFiles::Mark mark = files_.Set();
  files_.SetFault(fault);
  const Session session = Record(files_, packets_);
  files_.ClearFault();
  std::string wrong = "the fault did not strike";
  if (files_.Struck() > 0) {
    ++sites_[SiteOf(files_.Calls(), files_.FirstStruck())];
    if (files_.StatStruck()) ++sites_["stat.after_empty_read"];
    const auto behind = std::upper_bound(session.returned_at.begin(), session.returned_at.end(),
                                         files_.FirstStruck());
    wrong = Judge(fault, session, static_cast<int>(behind - session.returned_at.begin()));
  }
  if (!wrong.empty()) run_.Fail(id, wrong);
  files_.Undo(mark);
}

// ---- Judging ------------------------------------------------------------------------

bool FailingCalls::BothThere() const {
  for (const int name : {kFile1, kFile2})
    if (!files_.Exists(name) || files_.Size(name) != static_cast<long>(kPages) * kPageBytes)
      return false;
  return true;
}

std::string FailingCalls::Reopen() {
  DataStoreNormal store(kBase);
  if (store.Open() == 0) return "the next Open failed";
  store.Close();
  return "";
}

// A write of the previous cluster failed, or a lying disk lost it, and the one
// behind it did not: one file's sound copy of the previous cluster lacks what the
// other file's has, and shows when that file is the last writer.
bool FailingCalls::LacksEndOfPrevious() const {
  const int previous = check_.Predicted().previous;
  unsigned char one[kPageBytes], two[kPageBytes];
  if (!files_.ReadRaw(kFile1, previous, one) || !files_.ReadRaw(kFile2, previous, two))
    return false;
  if (!IsWholeCluster(one) || !IsWholeCluster(two)) return false;
  const int common = std::min(UsedBytes(one), UsedBytes(two));
  return UsedBytes(one) != UsedBytes(two) && std::equal(one + 7, one + common, two + 7);
}

// Both files are given up when neither can be read, or the only one there is
// cannot be.
bool FailingCalls::MayGiveUp(const Fault& fault) const {
  if (fault.call != Call::kRead && fault.call != Call::kLseek) return false;
  const bool one_missing =
      case_.begin == Begin::kFile1Missing || case_.begin == Begin::kFile2Missing;
  return one_missing || (fault.forever && fault.name == kAnyName);
}

// Both files are there: one that cannot be read, written or synced costs no
// recording.
bool FailingCalls::MayRefuseToOpen(const Fault& fault) const {
  if (case_.begin != Begin::kRing && case_.begin != Begin::kWrongMode) return true;
  const bool reads = fault.call == Call::kRead || fault.call == Call::kLseek;
  if (reads && fault.forever && fault.name == kAnyName) return true;
  return fault.call == Call::kOpen || fault.call == Call::kStat || fault.call == Call::kChmod;
}

// `struck_in`: during which packet the fault struck first; 0 the open, 1 the
// first one.
std::string FailingCalls::Judge(const Fault& fault, const Session& session, int struck_in) {
  run_.counts["open_refused"] += session.opened ? 0 : 1;
  if (session.refused > 0) return "WriteData refused a packet";
  if (!session.opened && !MayRefuseToOpen(fault)) return "Open failed";
  const bool source_lost = files_.Exists(kCorrupt1) && case_.begin != Begin::kBothUnsearchable &&
                           case_.begin != Begin::kNoFiles;
  if (source_lost && !MayGiveUp(fault)) return "both files were given up";
  run_.counts["documented_given_up_unreadable"] += source_lost ? 1 : 0;
  const int total = static_cast<int>(packets_.size());
  const bool settled = !fault.forever && !fault.lost && session.opened && struck_in + 2 <= total &&
                       case_.begin == Begin::kRing;
  if (settled) {
    const std::string wrong = CompareClosedClusters();
    if (!wrong.empty()) return wrong;
  }
  if (!BothThere() || !session.opened) {
    const std::string wrong = Reopen();
    if (!wrong.empty()) return wrong;
  }
  Expected expected = Promise(fault, session, struck_in);
  if (source_lost) {
    expected.stream = &new_stream_;
    expected.at_least = 0;
  }
  expected.mirrors_equal = settled;
  // A disk that lies while a file is created leaves one that holds nothing.
  expected.may_recreate = case_.begin == Begin::kBothUnsearchable || (fault.lost && fault.forever);
  expected.damage_stays = expected.may_recreate;
  const std::string wrong = check_.Visit(expected);
  const bool writes_fail =
      fault.call == Call::kWrite || fault.call == Call::kFsync || fault.call == Call::kLseek;
  if (!wrong.empty() && writes_fail && LacksEndOfPrevious()) {
    ++run_.counts["documented_previous_cluster_lacks_its_end"];
    return "";
  }
  const bool read_fails = fault.call == Call::kRead || fault.call == Call::kLseek;
  const bool of_holder = fault.name == kAnyName || fault.name == holder_;
  if (wrong.empty() || !read_fails || !of_holder || before_ == 0 || !session.opened) return wrong;
  // The session may have gone on without the packet that only the unreadable file
  // had.
  ++run_.counts["one_less_holder_unreadable"];
  expected.stream = &shorter_stream_;
  expected.at_least -= 1;
  expected.at_most -= 1;
  return check_.Visit(expected);
}

Expected FailingCalls::Promise(const Fault& fault, const Session& session, int struck_in) const {
  Expected expected;
  const int total = static_cast<int>(packets_.size());
  expected.stream = &stream_;
  expected.at_least = before_;
  expected.at_most = before_ + (session.opened ? total : 0);
  if (!session.opened) return expected;
  const bool nothing_arrives = fault.forever && fault.name == kAnyName;
  if (!nothing_arrives) expected.at_least = std::max(before_, before_ + total - 1);
  // What came after a single failure has arrived.
  const bool whole = case_.begin == Begin::kRing || case_.begin == Begin::kWrongMode;
  if (!fault.forever && struck_in < total && whole) expected.at_least = before_ + total;
  return expected;
}

// Two writes after a failure no closed cluster may differ.
std::string FailingCalls::CompareClosedClusters() const {
  const Prediction now = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2));
  unsigned char one[kPageBytes], two[kPageBytes];
  for (int cluster = stream_.from_cluster; cluster != now.current;
       cluster = (cluster + 1) % kPages) {
    const bool whole = files_.ReadRaw(kFile1, cluster, one) && IsWholeCluster(one) &&
                       files_.ReadRaw(kFile2, cluster, two) && IsWholeCluster(two);
    if (!whole || !std::equal(one, one + UsedBytes(one), two))
      return "closed cluster " + std::to_string(cluster) + " differs two writes later";
  }
  return "";
}

void FailingCalls::RequireEverySite() {
  for (const char* const site : kSites) {
    run_.counts[std::string("struck.") + site] = sites_[site];
    if (sites_[site] == 0 && !run_.Replaying())
      run_.Fail("calls", std::string("no fault struck ") + site);
    sites_.erase(site);
  }
  for (const auto& [site, count] : sites_) run_.Fail("calls", "unknown call site " + site);
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  const Scenario* const empty = &Scenarios()[0];
  const Scenario* const first = &Scenarios()[1];
  cases.push_back({"no-files", Begin::kNoFiles, empty, 0, 3});
  cases.push_back({"file1-missing", Begin::kFile1Missing, first, 0, 0});
  cases.push_back({"file2-missing", Begin::kFile2Missing, first, 0, 3});
  cases.push_back({"file1-empty", Begin::kFile1Empty, first, 0, 3});
  cases.push_back({"both-unsearchable", Begin::kBothUnsearchable, first, 0, 3});
  cases.push_back({"wrong-mode", Begin::kWrongMode, first, 0, 3});
  for (const Scenario& scenario : Scenarios()) {
    if (scenario.pattern == Pattern::kEqualTicks) continue;
    cases.push_back({std::string(scenario.name) + "-at-opening", Begin::kRing, &scenario, 1, 0});
    cases.push_back({std::string(scenario.name) + "-later", Begin::kRing, &scenario, 1, 4});
  }
  return cases;
}

}  // namespace

void EnumerateFailingCalls(Run& run) {
  FailingCalls calls(run);
  const std::vector<Case> cases = Cases();
  const unsigned int first = run.ReplayedRound();
  bool whole_round = false;
  for (unsigned int round = first; round == first || !run.Enough(false); ++round) {
    for (const Case& situation : cases)
      if (!run.Enough(true)) calls.Enumerate(situation, round);
    if (run.Replaying()) return;
    whole_round = whole_round || !run.Enough(true);
  }
  if (whole_round && !run.Sampling()) calls.RequireEverySite();
}

}  // namespace vmr::crash
