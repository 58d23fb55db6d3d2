// Every system call of a session failing at its k-th use: once and from then on,
// on one file and on both.
#include <errno.h>

#include <algorithm>
#include <array>
#include <string>

#include "tests/crash/beginnings.h"
#include "tests/crash/call_sites.h"
#include "tests/crash/fault_kinds.h"
#include "tests/crash/rounds.h"
#include "tests/crash/run.h"
#include "tests/crash/sessions.h"

namespace vmr::crash {
namespace {

struct Case {
  std::string name;
  Begin begin;
  const Scenario* scenario;
  int closings;                // of clusters in the session
  int more;                    // packets behind the last closing
  bool zero_is_free = false;   // descriptor 0
  int sole_newest = kAnyName;  // the file that alone holds the newest cluster
};

bool IsNewFile(int name) { return name == kTmp1 || name == kTmp2; }

class FailingCalls {
 public:
  FailingCalls(Run& run, StruckSites& sites)
      : run_(run), check_(files_, run.counts), sites_(sites) {}

  void Enumerate(const Case& situation, unsigned int round);

 private:
  void Prepare(const Case& situation, unsigned int round);
  void BeginClusterIn(int name, unsigned int round, PacketMaker* maker);
  void FailCall(const std::string& prefix, Call call, int name);
  void FailAt(const std::string& prefix, const Fault& fault, const FaultKind& kind, int k,
              bool forever);
  void NoteSites();
  static bool IsDull(const Done& done, int nth);
  std::string Judge(const Fault& fault, const Session& session, int struck_in);
  std::string Reopen();
  Expected Promise(const Fault& fault, const Session& session, int struck_in) const;
  std::string CompareClosedClusters() const;
  bool BothThere() const;
  bool OpenedAtItsEnd(const Session& session) const;
  bool OldRecordingIsGone() const;
  bool OnlyFile2IsKept() const;
  bool MayGiveUp(const Fault& fault) const;
  bool MayRefuseToOpen(const Fault& fault) const;

  Run& run_;
  CowFiles files_;
  StateCheck check_;
  Case case_;
  Start start_;
  int before_ = 0;                             // packets in front of the session
  int holder_ = kAnyName;                      // file that took the last of them
  std::array<std::uint32_t, 2> last_ticks_{};  // recorded; and without what the holder alone has
  std::vector<Packet> packets_;
  Stream stream_;               // with the session's packets
  Stream shorter_stream_;       // without the last one in front of them
  Stream new_stream_;           // them alone
  std::vector<Done> baseline_;  // the session's calls when nothing fails
  StruckSites& sites_;
};

// ---- Preparing ----------------------------------------------------------------------

void FailingCalls::Prepare(const Case& situation, unsigned int round) {
  case_ = situation;
  files_.FreeDescriptorZero(false);
  PacketMaker maker(situation.scenario->pattern, round, 400000);
  const Begin begin = situation.begin;
  // The file that stays must be the one with the last packet.
  const bool file1_wrote_last =
      begin == Begin::kRing ? round % 2 == 1 : begin == Begin::kFile2Missing;
  holder_ = file1_wrote_last ? kFile1 : kFile2;
  start_ = MakeStart(*situation.scenario, maker, file1_wrote_last ? 1 : 0, files_);
  if (situation.sole_newest != kAnyName) BeginClusterIn(situation.sole_newest, round, &maker);
  Bring(begin, files_);
  if (BeginsAnew(begin)) start_ = Start{};
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
  const ReadImage twin = ImageOf(files_, holder_ == kFile1 ? kFile2 : kFile1);
  last_ticks_ = {Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2)).last_tick,
                 Predict(twin, twin).last_tick};
  files_.FreeDescriptorZero(situation.zero_is_free);
  const CowFiles::Mark mark = files_.Set();
  Record(files_, packets_);
  baseline_ = files_.Calls();
  files_.Undo(mark);
}

// The last packet opened a cluster, and only that file has it.
void FailingCalls::BeginClusterIn(int name, unsigned int round, PacketMaker* maker) {
  int last_writer = kAnyName;
  for (int turn = 0; turn < 2 && last_writer != name; ++turn) {
    *maker = PacketMaker(case_.scenario->pattern, round, 400000);
    start_ = MakeStart(*case_.scenario, *maker, turn, files_);
    const std::vector<Packet> packets = MakePackets(*maker, start_.used, 1, 0);
    Record(files_, packets);
    for (const Packet& packet : packets) start_.stream.Add(packet);
    const Prediction now = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2));
    last_writer = now.last_writer;
    start_.used = now.size;
  }
  holder_ = name;
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
  if (case_.zero_is_free && call != Call::kOpen && call != Call::kClose) return;
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
    // A search in which a call failed waits before it is repeated; so may that fail.
    fault.next_fails = call == Call::kRead;
    if (fault.next_fails) FailAt(prefix, fault, kErrorNextFails, k, false);
    fault.next_fails = false;
    if (call != Call::kRead && call != Call::kWrite) continue;
    for (const FaultKind& kind : kShort) {
      FailAt(prefix, fault, kind, k, false);
      if (k == 0 && case_.begin == Begin::kRing) FailAt(prefix, fault, kind, k, true);
      // An empty read asks for the file's size, and that may fail too.
      fault.next_fails = kind.short_by == kPageBytes && call == Call::kRead;
      if (fault.next_fails) FailAt(prefix, fault, kNothingNextFails, k, false);
      fault.next_fails = false;
    }
    if (call != Call::kWrite) continue;
    FailAt(prefix, fault, kLost, k, false);
    FailAt(prefix, fault, kLost, k, true);
  }
}

void FailingCalls::FailAt(const std::string& prefix, const Fault& base, const FaultKind& kind,
                          int k, bool forever) {
  const char* const where = base.name == kAnyName ? "any" : base.name == kFile1 ? "f1" : "f2";
  const std::string id =
      prefix + NameOf(base.call) + "/" + where + "/" + Describe(kind, k, forever);
  if (!run_.Wants(id)) return;
  const Fault fault = Make(base, kind, k, forever);
  const CowFiles::Mark mark = files_.Set();
  files_.SetFault(fault);
  const Session session = Record(files_, packets_);
  files_.ClearFault();
  std::string wrong = "the fault did not strike";
  if (files_.Struck() > 0) {
    NoteSites();
    const auto behind = std::upper_bound(session.returned_at.begin(), session.returned_at.end(),
                                         files_.FirstStruck());
    wrong = Judge(fault, session, static_cast<int>(behind - session.returned_at.begin()));
  }
  if (!wrong.empty()) run_.Fail(id, wrong);
  files_.Undo(mark);
}

void FailingCalls::NoteSites() {
  const std::size_t first = files_.FirstStruck();
  sites_.Note(files_.Calls()[first].sites);
  if (files_.NextStruck()) sites_.Note(files_.Calls()[first + 1].sites);
}

// ---- Judging ------------------------------------------------------------------------

// Interrupted by a signal, these calls are made again.
bool IsRepeated(Call call) {
  return call == Call::kOpen || call == Call::kRead || call == Call::kWrite ||
         call == Call::kLseek || call == Call::kFsync;
}

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

// Set aside, or no file holds the cluster that it ended in.
bool FailingCalls::OldRecordingIsGone() const {
  const auto holds = [&](int name) {
    unsigned char bytes[kPageBytes];
    return files_.ReadRaw(name, case_.scenario->cluster, bytes) && FirstTick(bytes) != 0xFFFFFFFF;
  };
  return files_.Exists(kCorrupt1) || files_.Exists(kCorrupt2) || (!holds(kFile1) && !holds(kFile2));
}

// Under its name or set aside.
bool FailingCalls::OnlyFile2IsKept() const {
  unsigned char bytes[kPageBytes];
  for (const int name : {kFile2, kCorrupt2})
    if (files_.Exists(name) && files_.ReadRaw(name, case_.scenario->cluster, bytes) &&
        FirstTick(bytes) != 0xFFFFFFFF)
      return true;
  return false;
}

// Both files are given up when neither can be read, or the only one there is
// cannot be, and that goes on.
bool FailingCalls::MayGiveUp(const Fault& fault) const {
  if (fault.call != Call::kRead && fault.call != Call::kLseek) return false;
  const bool one_missing =
      case_.begin == Begin::kFile1Missing || case_.begin == Begin::kFile2Missing;
  return fault.forever && (one_missing || fault.name == kAnyName);
}

// Both files are there: one that cannot be read, written or synced costs no
// recording.
bool FailingCalls::MayRefuseToOpen(const Fault& fault) const {
  if (fault.error == EINTR && IsRepeated(fault.call)) return false;
  if (case_.begin != Begin::kRing && case_.begin != Begin::kWrongMode) return true;
  const bool reads = fault.call == Call::kRead || fault.call == Call::kLseek;
  if (reads && fault.forever && fault.name == kAnyName) return true;
  return fault.call == Call::kOpen || fault.call == Call::kStat || fault.call == Call::kChmod;
}

bool FailingCalls::OpenedAtItsEnd(const Session& session) const {
  if (!session.opened || case_.begin != Begin::kRing || OldRecordingIsGone()) return true;
  return session.opened_tick == last_ticks_[0] || session.opened_tick == last_ticks_[1];
}

// `struck_in`: during which packet the fault struck first; 0 the open, 1 the
// first one.
std::string FailingCalls::Judge(const Fault& fault, const Session& session, int struck_in) {
  run_.counts["open_refused"] += session.opened ? 0 : 1;
  if (session.refused > 0) return "WriteData refused a packet";
  if (!session.opened && !MayRefuseToOpen(fault)) return "Open failed";
  if (!OpenedAtItsEnd(session)) return "opened at tick " + std::to_string(session.opened_tick);
  if (case_.begin == Begin::kOnlyFile2Unsearchable && !OnlyFile2IsKept())
    return "what only file #2 had is gone";
  const bool source_lost = !BeginsAnew(case_.begin) && OldRecordingIsGone();
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
  const bool read_fails = fault.call == Call::kRead || fault.call == Call::kLseek;
  const bool of_holder = fault.name == kAnyName || fault.name == holder_;
  if (wrong.empty() || !read_fails || !fault.forever || !of_holder || before_ == 0 ||
      !session.opened)
    return wrong;
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

const Scenario& ScenarioOf(const std::string& name) {
  return *std::find_if(Scenarios().begin(), Scenarios().end(),
                       [&](const Scenario& scenario) { return scenario.name == name; });
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
  cases.push_back({"descriptor-0", Begin::kRing, first, 0, 3, true});
  cases.push_back({"only-file2-unsearchable", Begin::kOnlyFile2Unsearchable, first, 0, 3});
  for (const std::string name :
       {"first-1000", "second-20000", "second-32766", "continued-second-32767"})
    for (const int file : {kFile1, kFile2})
      cases.push_back({name + "-newest-in-" + std::to_string(file + 1), Begin::kRing,
                       &ScenarioOf(name), 0, 3, false, file});
  for (const Scenario& scenario : Scenarios()) {
    cases.push_back({std::string(scenario.name) + "-at-opening", Begin::kRing, &scenario, 1, 0});
    cases.push_back({std::string(scenario.name) + "-later", Begin::kRing, &scenario, 1, 4});
  }
  return cases;
}

// Every site must have been struck, and every struck call be of a marked one. In a
// program without marks there is nothing to require.
void RequireEverySite(const StruckSites& sites, Run& run) {
  for (std::size_t number = 0; number < CallSites().size(); ++number) {
    const auto [name, place] = CallSites()[number];
    run.counts[std::string("struck.") + name] = sites.Count(number);
    if (sites.Count(number) == 0)
      run.Fail("calls", std::string("no fault struck ") + name + " at " + place);
  }
  if (!CallSites().empty() && sites.FromNowhere() > 0)
    run.Fail("calls", "a call was struck that mark_calls.py has not marked");
}

}  // namespace

void EnumerateFailingCalls(Run& run) {
  StruckSites sites;
  const std::vector<Case> cases = Cases();
  const unsigned int first = run.ReplayedRound();
  bool whole_round = false;
  {
    FailingCalls calls(run, sites);
    for (unsigned int round = first; round == first || !run.Enough(false); ++round) {
      const long visited_before = run.Visited();
      for (const Case& situation : cases)
        if (!run.Enough(true)) calls.Enumerate(situation, round);
      if (run.Replaying() || run.Visited() == visited_before) break;
      whole_round = whole_round || !run.Enough(true);
    }
  }
  EnumerateFlatCalls(run, sites);
  if (whole_round && !run.Sampling()) RequireEverySite(sites, run);
}

}  // namespace vmr::crash
