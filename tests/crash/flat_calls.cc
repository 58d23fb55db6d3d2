// Every system call on a flat file failing at its k-th use, once and from then on.
//
//    written   a packet whose WriteData returned 1 stands in the file, in order;
//              one that returned 0 does not. A single failure costs one packet.
//              After a short write the packet's bytes are offered again from its
//              beginning, so only its length is right: documented_short_write
//    read      what is returned is what stands in the file; after a single error
//              the same call gives it
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "backends/data_store_flat.h"
#include "tests/crash/call_sites.h"
#include "tests/crash/fault_kinds.h"
#include "tests/crash/recording.h"
#include "tests/crash/run.h"

namespace vmr::crash {
namespace {

constexpr int kHeaderBytes = 4 + 143;
constexpr int kBufferBytes = 8192;

// Keeps what a reading store prints from among the run's own lines.
class QuietOutput {
 public:
  QuietOutput() : saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~QuietOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  QuietOutput(const QuietOutput&) = delete;
  QuietOutput& operator=(const QuietOutput&) = delete;

 private:
  int saved_;
};

struct FlatCase {
  const char* name;
  bool writes;
  bool there;      // the file, with some packets
  bool clusters;   // and it is one of clusters, without the magic
  bool abandoned;  // the store is not closed by its owner
};
constexpr FlatCase kCases[] = {
    {"flat-new", true, false, false, false},
    {"flat-more", true, true, false, false},
    {"flat-abandoned", true, true, false, true},
    {"flat-read", false, true, false, false},
    {"flat-read-clusters", false, true, true, false},
    {"flat-read-abandoned", false, true, false, true},
};

// What a session of writing or reading came to.
struct FlatSession {
  bool opened = false;
  std::vector<bool> taken;  // by WriteData, each packet
  bool wrote_everything = false;
  bool complete = false;  // read to the end, without a gap
  std::string wrong;
};

class FlatCalls {
 public:
  FlatCalls(Run& run, StruckSites& sites) : run_(run), sites_(sites) {}

  void Enumerate(const FlatCase& flat, unsigned int round);

 private:
  void Prepare(unsigned int round);
  void FailCall(const std::string& prefix, Call call);
  void FailAt(const std::string& prefix, const Fault& base, const FaultKind& kind, int k,
              bool forever);
  FlatSession Act();
  FlatSession Write(const std::vector<Packet>& packets);
  FlatSession Read();
  std::string Judge(const Fault& fault, const FlatSession& session);
  std::string JudgeWritten(const Fault& fault, const FlatSession& session);
  std::string JudgeGoingOn();
  bool Matches(const Bytes& content, const FlatSession& session, std::size_t header, bool garbled);
  Bytes Content() const;

  Run& run_;
  StruckSites& sites_;
  CowFiles files_;
  FlatCase case_{};
  std::vector<Packet> packets_;
  Bytes before_;                // the file's content at the beginning
  Bytes header_;                // magic and dictionary, as a sound session writes them
  std::vector<Done> baseline_;  // the session's calls when nothing fails
};

Bytes FlatCalls::Content() const { return files_.Exists(kFlat) ? files_.ReadAll(kFlat) : Bytes{}; }

// ---- Sessions ------------------------------------------------------------------------

FlatSession FlatCalls::Write(const std::vector<Packet>& packets) {
  FlatSession session;
  DataStoreFlatWrite store(PathOf(kFlat));
  session.opened = store.Open() != 0;
  for (const Packet& packet : packets) {
    if (!session.opened) break;
    const int length = static_cast<int>(packet.bytes.size());
    session.taken.push_back(store.WriteData(packet.bytes.data(), length, packet.tick) == 1);
  }
  if (!case_.abandoned) store.Close();
  session.wrote_everything = store.WroteEverything();
  return session;
}

// Block by block, each once more after an error.
FlatSession FlatCalls::Read() {
  const QuietOutput quiet;
  const Bytes content = Content();
  const bool magic = !case_.clusters;
  unsigned char buffer[kBufferBytes];
  FlatSession session;
  DataStoreFlatRead store(PathOf(kFlat));
  session.opened = store.Open() != 0;
  long position = 0;
  std::size_t covered = 0;
  for (int call = 0, errors = 0; session.opened && call < 30 && errors < 2; ++call) {
    long next = position;
    int count = 0;
    if (store.ReadDataIntoBuffer(position, buffer, kBufferBytes, count, next) == 0) {
      ++errors;
      if (count != 0) session.wrong = "a failed read tells of bytes";
      continue;
    }
    errors = 0;
    if (count == 0) break;
    const std::size_t block = static_cast<std::size_t>(position) / kPageBytes * kPageBytes;
    const std::size_t from = block + (magic ? (block == 0 ? 4 : 0) : 7);
    const std::size_t to = from + static_cast<std::size_t>(count);
    if (to > content.size() ||
        !std::equal(buffer, buffer + count, content.begin() + static_cast<long>(from)))
      session.wrong = "something else was read than is there";
    if (block <= covered) covered = std::max(covered, to);
    position = next;
  }
  session.complete = covered == content.size();
  if (!case_.abandoned) store.Close();
  return session;
}

FlatSession FlatCalls::Act() {
  files_.ForgetCalls();
  return case_.writes ? Write(packets_) : Read();
}

// ---- Failing ---------------------------------------------------------------------------

void FlatCalls::Prepare(unsigned int round) {
  files_.Clear();
  PacketMaker maker(Pattern::kMixed, round, 1000);
  int used = 7;
  packets_.clear();
  for (int n = 0; n < 8; ++n) packets_.push_back(maker.Next(used));
  const bool abandoned = case_.abandoned;
  case_.abandoned = false;
  if (case_.there && !case_.clusters) {
    std::vector<Packet> more;
    for (std::size_t bytes = 0; bytes < std::size_t{10000}; bytes += more.back().bytes.size())
      more.push_back(maker.Next(used));
    Write(more);
  }
  case_.abandoned = abandoned;
  if (case_.clusters) files_.MakeFile(kFlat, 3L * kPageBytes, S_IFREG | 0660);
  for (int n = 0; case_.clusters && n < 3; ++n) {
    const Bytes cluster = SmallCluster(1000U + static_cast<unsigned int>(n));
    files_.SetPage(kFlat, n, files_.MakePage(cluster.data(), static_cast<int>(cluster.size())));
  }
  before_ = Content();
  const CowFiles::Mark mark = files_.Set();
  Act();
  baseline_ = files_.Calls();
  const Bytes after = Content();
  header_.assign(after.begin(), after.begin() + (case_.there ? 0 : kHeaderBytes));
  files_.Undo(mark);
}

void FlatCalls::Enumerate(const FlatCase& flat, unsigned int round) {
  const std::string prefix = std::string("calls/") + flat.name + "/r" + std::to_string(round);
  if (!run_.WantsSome(prefix + "/")) return;
  case_ = flat;
  Prepare(round);
  for (int call = 0; call < static_cast<int>(Call::kCount) && !run_.Enough(true); ++call)
    FailCall(prefix + "/", static_cast<Call>(call));
}

void FlatCalls::FailCall(const std::string& prefix, Call call) {
  Fault fault;
  fault.call = call;
  const auto uses = std::count_if(baseline_.begin(), baseline_.end(),
                                  [&](const Done& done) { return done.call == call; });
  for (int k = 0; k < static_cast<int>(uses); ++k) {
    for (const FaultKind& kind : kErrors) {
      FailAt(prefix, fault, kind, k, false);
      if (kind.error != EINTR) FailAt(prefix, fault, kind, k, true);
    }
    if (call != Call::kRead && call != Call::kWrite) continue;
    for (const FaultKind& kind : kShort) {
      FailAt(prefix, fault, kind, k, false);
      FailAt(prefix, fault, kind, k, true);
    }
    if (call != Call::kWrite) continue;
    FailAt(prefix, fault, kLost, k, false);
    FailAt(prefix, fault, kLost, k, true);
    // The pause behind a write that moved nothing may be interrupted.
    Fault pause = fault;
    pause.next_fails = true;
    FailAt(prefix, pause, kNothingNextFails, k, false);
  }
}

void FlatCalls::FailAt(const std::string& prefix, const Fault& base, const FaultKind& kind, int k,
                       bool forever) {
  const std::string id = prefix + NameOf(base.call) + "/" + Describe(kind, k, forever);
  if (!run_.Wants(id)) return;
  ++run_.counts["states"];
  ++run_.counts["flat_states"];
  const Fault fault = Make(base, kind, k, forever);
  const CowFiles::Mark mark = files_.Set();
  files_.SetFault(fault);
  const FlatSession session = Act();
  files_.ClearFault();
  std::string wrong = "the fault did not strike";
  if (files_.Struck() > 0) {
    const std::size_t first = files_.FirstStruck();
    sites_.Note(files_.Calls()[first].sites);
    if (files_.NextStruck()) sites_.Note(files_.Calls()[first + 1].sites);
    wrong = Judge(fault, session);
  }
  if (!wrong.empty()) run_.Fail(id, wrong);
  files_.Undo(mark);
}

// ---- Judging ---------------------------------------------------------------------------

std::string FlatCalls::Judge(const Fault& fault, const FlatSession& session) {
  if (!session.wrong.empty()) return session.wrong;
  if (case_.writes) return JudgeWritten(fault, session);
  // One that reads nothing where there is something has come to an end.
  const bool ended = fault.error == 0 && fault.short_by >= kPageBytes;
  const bool single = !fault.forever && !ended && session.opened;
  if (single && !session.complete) return "a single error ended the reading";
  if (Content() != before_) return "reading has changed the file";
  return Read().complete ? "" : "the file cannot be read afterwards";
}

// `content` behind what there was: `header` bytes of the header and the packets
// taken. Of a garbled session only the lengths.
bool FlatCalls::Matches(const Bytes& content, const FlatSession& session, std::size_t header,
                        bool garbled) {
  Bytes right = before_;
  // The magic without the dictionary, the dictionary without the magic.
  if (header == 4) right.insert(right.end(), header_.begin(), header_.begin() + 4);
  if (header == header_.size() - 4) right.insert(right.end(), header_.begin() + 4, header_.end());
  if (header == header_.size()) right.insert(right.end(), header_.begin(), header_.end());
  for (std::size_t n = 0; n < session.taken.size(); ++n)
    if (session.taken[n])
      right.insert(right.end(), packets_[n].bytes.begin(), packets_[n].bytes.end());
  return garbled ? content.size() == right.size() : content == right;
}

std::string FlatCalls::JudgeWritten(const Fault& fault, const FlatSession& session) {
  const auto refused = std::count(session.taken.begin(), session.taken.end(), false);
  if (refused > (fault.forever ? static_cast<long>(packets_.size()) : 1))
    return "a single failure cost several packets";
  if (refused > 0 && fault.error == EINTR) return "an interrupted call cost a packet";
  const Bytes content = Content();
  if (!session.opened && content != before_) return "an Open that failed has changed the file";
  const bool garbled = fault.lost || (fault.error == 0 && fault.short_by < kPageBytes);
  bool matches = false;
  std::vector<std::size_t> headers = {header_.size()};
  if (!case_.there) headers = {header_.size(), 0, 4, header_.size() - 4};
  for (const std::size_t header : headers)
    matches = matches || Matches(content, session, header, garbled);
  if (session.opened && !matches) return "the file is not what was taken";
  const bool all = session.opened && refused == 0 && !garbled &&
                   Matches(content, session, header_.size(), false);
  run_.counts["documented_short_write"] += garbled && !fault.lost ? 1 : 0;
  const bool told = !session.wrote_everything;
  if (session.opened && !all && !told && !fault.lost) return "nobody was told";
  return JudgeGoingOn();
}

// One more packet goes behind what there is.
std::string FlatCalls::JudgeGoingOn() {
  Bytes right = Content();
  if (right.empty()) right = header_;
  const Bytes cluster = SmallCluster(2000000);
  const Packet packet{Bytes(cluster.begin() + 7, cluster.end()), 2000000};
  const FlatSession session = Write({packet});
  right.insert(right.end(), packet.bytes.begin(), packet.bytes.end());
  if (!session.opened || !session.taken[0] || Content() != right)
    return "recording does not go on behind what there is";
  return "";
}

}  // namespace

void EnumerateFlatCalls(Run& run, StruckSites& sites) {
  FlatCalls calls(run, sites);
  for (const FlatCase& flat : kCases)
    if (!run.Enough(true)) calls.Enumerate(flat, run.ReplayedRound());
}

}  // namespace vmr::crash
