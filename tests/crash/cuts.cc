// Losses of power: one at every write of a recording session, and a second one
// while the store recovers from the first.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "tests/crash/rounds.h"
#include "tests/crash/run.h"
#include "tests/crash/sessions.h"

namespace vmr::crash {
namespace {

std::string Numbered(const char* letter, long number) { return letter + std::to_string(number); }

// Puts back what the unsynced steps whose bit is not set had written.
void LoseUnsynced(CowFiles& files, const Session& session, const std::vector<std::size_t>& unsynced,
                  unsigned int kept) {
  for (std::size_t i = unsynced.size(); i-- > 0;) {
    const Done& write = session.steps[unsynced[i]].write;
    files.SetPage(write.name, write.page, write.before);
  }
  for (std::size_t i = 0; i < unsynced.size(); ++i) {
    const Done& write = session.steps[unsynced[i]].write;
    if ((kept >> i & 1) != 0) files.SetPage(write.name, write.page, write.after);
  }
}

// "single/SCENARIO/r3/t1", what replay ids of a round begin with.
std::string Prefix(const char* kind, const Scenario& scenario, unsigned int round, int turn) {
  return std::string(kind) + "/" + scenario.name + "/" + Numbered("r", round) + "/" +
         Numbered("t", turn);
}

bool IsClusterThenZeros(const Page& page) {
  return page.used == kPageBytes && IsWholeCluster(page.bytes) &&
         std::all_of(page.bytes + UsedBytes(page.bytes), page.bytes + kPageBytes,
                     [](unsigned char byte) { return byte == 0; });
}

// A recording session from a scenario's start on, every step of it kept. The
// files are at the start again.
struct Course {
  Course(const Scenario& scenario, unsigned int round, int turn, CowFiles& files)
      : maker(scenario.pattern, round, 400000),
        start(MakeStart(scenario, maker, turn, files)),
        before(start.stream.Count()) {
    const std::vector<Packet> packets = MakePackets(maker, start.used, 2, 4);
    for (const Packet& packet : packets) start.stream.Add(packet);
    for (const Packet& packet : packets)
      appended.push_back({static_cast<int>(packet.bytes.size()), packet.tick});
    predicted = Predict(ImageOf(files, kFile1), ImageOf(files, kFile2));
    const CowFiles::Mark mark = files.Set();
    session = Record(files, packets);
    files.Undo(mark, true);
  }

  // From sound files on every write is one that the flags ask for, of a cluster with
  // nothing behind the bytes in use.
  bool WritesAsPredicted() const {
    const std::vector<ClusterWrite> right = PredictWrites(predicted, appended);
    return std::equal(session.steps.begin(), session.steps.end(), right.begin(), right.end(),
                      [](const Step& step, const ClusterWrite& write) {
                        return step.write.name == write.name && step.write.page == write.cluster &&
                               IsClusterThenZeros(step.write.after);
                      });
  }

  PacketMaker maker;
  Start start;                     // its stream: with the session's packets
  int before;                      // packets at the start
  std::vector<Appended> appended;  // the session's packets
  Prediction predicted;            // of the start
  Session session;
};

// Nothing has failed in it.
bool IsWhole(const Session& session) { return session.opened && session.refused == 0; }

class Cuts {
 public:
  explicit Cuts(Run& run) : run_(run), check_(files_, run.counts) {}

  void Singles(const Scenario& scenario, unsigned int round, int turn);
  void Doubles(const Scenario& scenario, unsigned int round, int turn);

 private:
  // A cut state: the file's page as the torn write left it.
  void VisitTorn(const std::string& id, const Done& write, const Page& torn, Expected expected);
  void VisitUnsynced(const std::string& prefix, const Session& session, std::size_t n,
                     const Expected& expected);
  void Visit(const std::string& id, const Expected& expected, bool escaped);
  void VisitUncut(const std::string& prefix, const Course& course);
  void VisitEqual(const std::string& prefix, const Scenario& scenario, unsigned int round);
  std::string CompareFiles() const;
  void SecondSession(const std::string& prefix, const Stream& first, int at_least,
                     unsigned int seed);

  Run& run_;
  CowFiles files_;
  StateCheck check_;
};

void Cuts::Visit(const std::string& id, const Expected& expected, bool escaped) {
  Expected asked = expected;
  asked.everything = expected.everything || run_.IsSample();
  const std::string wrong = check_.Visit(asked);
  if (wrong.empty()) return;
  if (escaped) {
    ++run_.counts["losses_by_crc_coincidence"];
    std::printf("CRC %s: %s\n", id.c_str(), wrong.c_str());
  } else {
    run_.Fail(id, wrong);
  }
}

void Cuts::VisitTorn(const std::string& id, const Done& write, const Page& torn,
                     Expected expected) {
  if (!run_.Wants(id)) return;
  const bool escaped = EscapesCrc(torn, write.before, write.after);
  ++run_.counts["torn_images"];
  run_.counts["crc_coincidences"] += escaped ? 1 : 0;
  const CowFiles::Mark mark = files_.Set();
  files_.SetPage(write.name, write.page, torn);
  Visit(id, expected, escaped);
  files_.Undo(mark);
}

// Earlier writes that were not synced may be lost or kept, in any choice.
void Cuts::VisitUnsynced(const std::string& prefix, const Session& session, std::size_t n,
                         const Expected& expected) {
  const std::vector<std::size_t>& unsynced = session.steps[n].unsynced;
  if (unsynced.empty()) return;
  const unsigned int choices = 1U << std::min<std::size_t>(unsynced.size(), 4);
  for (unsigned int kept = 0; kept + 1 < choices; ++kept) {
    const std::string id = prefix + Numbered("/lost", kept);
    if (!run_.Wants(id)) continue;
    const CowFiles::Mark mark = files_.Set();
    LoseUnsynced(files_, session, unsynced, kept);
    Visit(id, expected, false);
    files_.Undo(mark);
  }
}

void Cuts::Singles(const Scenario& scenario, unsigned int round, int turn) {
  const std::string prefix = Prefix("single", scenario, round, turn);
  if (!run_.WantsSome(prefix + "/")) return;
  Course course(scenario, round, turn, files_);
  const Session& session = course.session;
  if (!IsWhole(session)) run_.Fail(prefix, "recording failed without a cut");
  for (std::size_t n = 0; n < session.steps.size() && !run_.Enough(true); ++n) {
    const Step& step = session.steps[n];
    const std::string step_prefix = prefix + "/" + Numbered("w", static_cast<long>(n));
    Expected expected;
    expected.stream = &course.start.stream;
    expected.at_least = course.before + step.acknowledged;
    expected.at_most = expected.at_least + 1;
    if (run_.WantsSome(step_prefix + "/")) {
      VisitUnsynced(step_prefix, session, n, expected);
      ForEachTornImage(files_, step.write.before, step.write.after, static_cast<unsigned int>(n),
                       [&](const std::string& name, const Page& torn) {
                         VisitTorn(step_prefix + "/" + name, step.write, torn, expected);
                       });
    }
    files_.SetPage(step.write.name, step.write.page, step.write.after);
  }
  if (!run_.Enough(true)) VisitUncut(prefix, course);
  if (!run_.Enough(true) && turn == 0) VisitEqual(prefix, scenario, round);
}

// After a clean close, all of it.
void Cuts::VisitUncut(const std::string& prefix, const Course& course) {
  if (run_.WantsRare(prefix + "/writes") && !course.WritesAsPredicted())
    run_.Fail(prefix + "/writes", "a session on sound files wrote what it should not");
  Expected expected;
  expected.stream = &course.start.stream;
  expected.at_least = expected.at_most = course.before + course.session.written;
  expected.everything = true;
  if (!run_.WantsRare(prefix + "/closed")) return;
  ++run_.counts["clean_closes"];
  const std::string wrong = CompareFiles();
  if (!wrong.empty()) return run_.Fail(prefix + "/closed", wrong);
  Visit(prefix + "/closed", expected, false);
}

// Two files with the same content, as one filled from the other is.
void Cuts::VisitEqual(const std::string& prefix, const Scenario& scenario, unsigned int round) {
  if (!run_.WantsRare(prefix + "/equal")) return;
  PacketMaker maker(scenario.pattern, round, 400000);
  Stream stream;
  int used = 0;
  MakeFiles(scenario, maker, files_, &stream, &used);
  Expected expected;
  expected.stream = &stream;
  expected.at_least = expected.at_most = stream.Count();
  ++run_.counts["equal_files"];
  Visit(prefix + "/equal", expected, false);
}

// All bytes of both files, but for the two clusters that take turns.
std::string Cuts::CompareFiles() const {
  const Prediction closed = Predict(ImageOf(files_, kFile1), ImageOf(files_, kFile2));
  unsigned char one[kPageBytes], two[kPageBytes];
  for (int cluster = 0; cluster < kPages; ++cluster) {
    if (cluster == closed.current || cluster == closed.previous) continue;
    const bool read = files_.ReadRaw(kFile1, cluster, one) && files_.ReadRaw(kFile2, cluster, two);
    if (!read || memcmp(one, two, kPageBytes) != 0)
      return "the files differ in cluster " + std::to_string(cluster) + " after a clean close";
  }
  return "";
}

// ---- Two cuts ------------------------------------------------------------------------

void Cuts::Doubles(const Scenario& scenario, unsigned int round, int turn) {
  const std::string prefix = Prefix("double", scenario, round, turn);
  if (!run_.WantsSome(prefix + "/")) return;
  Course course(scenario, round, turn, files_);
  const Session& session = course.session;
  if (!IsWhole(session)) run_.Fail(prefix, "recording failed without a cut");
  for (std::size_t n = 0; n < session.steps.size() && !run_.Enough(true); ++n) {
    const Step& step = session.steps[n];
    const std::string step_prefix = prefix + "/" + Numbered("w", static_cast<long>(n));
    // One torn image of each write, another one in every round.
    int left = course.maker.Draw(CountTornImages(step.write.before, step.write.after));
    const auto visit = [&](const std::string& name, const Page& torn) {
      if (left-- != 0 || EscapesCrc(torn, step.write.before, step.write.after)) return;
      const CowFiles::Mark cut = files_.Set();
      files_.SetPage(step.write.name, step.write.page, torn);
      SecondSession(step_prefix + "/" + name, course.start.stream,
                    course.before + step.acknowledged, round + static_cast<unsigned int>(n));
      files_.Undo(cut);
    };
    if (run_.WantsSome(step_prefix + "/"))
      ForEachTornImage(files_, step.write.before, step.write.after, static_cast<unsigned int>(n),
                       visit);
    files_.SetPage(step.write.name, step.write.page, step.write.after);
  }
}

// Recovers from the first cut, records a little, and loses power again.
void Cuts::SecondSession(const std::string& prefix, const Stream& first, int at_least,
                         unsigned int seed) {
  const CowFiles::Mark mark = files_.Set();
  // The first cut by itself, as strictly as any.
  Expected after_first;
  after_first.stream = &first;
  after_first.at_least = at_least;
  after_first.at_most = at_least + 1;
  const std::string wrong = check_.Visit(after_first);
  if (!wrong.empty()) return run_.Fail(prefix, "after the first cut: " + wrong);
  const int used = check_.Predicted().size;
  const int holder = check_.Predicted().last_writer;
  const int recovered = check_.Found();
  Stream stream = first;
  stream.CutTo(recovered);

  PacketMaker maker(Pattern::kMixed, seed, 500000);
  const std::vector<Packet> packets = MakePackets(maker, used, seed % 2 == 0 ? 1 : 0, 3);
  for (const Packet& packet : packets) stream.Add(packet);
  const Session session = Record(files_, packets);
  if (!IsWhole(session)) run_.Fail(prefix, "recording failed after the first cut");
  files_.Undo(mark, true);
  for (std::size_t n = 0; n < session.steps.size(); ++n) {
    const Step& step = session.steps[n];
    const std::string step_prefix = prefix + "/" + Numbered("v", static_cast<long>(n));
    Expected expected;
    expected.stream = &stream;
    expected.at_least =
        step.acknowledged == 0 ? std::min(at_least, recovered) : recovered + step.acknowledged;
    expected.at_most = recovered + step.acknowledged + 1;
    expected.holder = step.holder == kAnyName ? holder : step.holder;
    // The first cut left sectors of a cluster unreadable, and mending it makes them
    // readable: torn, it may show the packet that the first cut interrupted.
    if (step.acknowledged == 0) expected.resurfaced = &first;
    // All images of a write that changes little, a sample of the others.
    const int images = CountTornImages(step.write.before, step.write.after);
    const int stride = images / 40 + 1;
    int nth = maker.Draw(stride);
    VisitUnsynced(step_prefix, session, n, expected);
    ForEachTornImage(files_, step.write.before, step.write.after, seed,
                     [&](const std::string& name, const Page& torn) {
                       if (nth++ % stride == 0)
                         VisitTorn(step_prefix + "/" + name, step.write, torn, expected);
                     });
    files_.SetPage(step.write.name, step.write.page, step.write.after);
  }
}

}  // namespace

void EnumerateSingleCuts(Run& run) {
  Cuts cuts(run);
  ForEachRound(run, [&](const Scenario& scenario, unsigned int round, int turn) {
    cuts.Singles(scenario, round, turn);
  });
}

void EnumerateDoubleCuts(Run& run) {
  Cuts cuts(run);
  ForEachRound(run, [&](const Scenario& scenario, unsigned int round, int turn) {
    cuts.Doubles(scenario, round, turn);
  });
}

}  // namespace vmr::crash
