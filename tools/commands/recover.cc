// `vmr recover`: makes a sound store of what is left of a damaged one.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backends/cluster_format.h"
#include "tools/commands/command.h"
#include "tools/common/console.h"
#include "tools/common/store_lock.h"
#include "tools/common/store_path.h"
#include "tools/ring/report.h"
#include "tools/ring/salvage.h"
#include "tools/ring/surveyed_store.h"
#include "tools/ring/writer.h"
#include "tools/ring/written_images.h"

namespace vmr::tool {
namespace {

constexpr const char* kHelp = "Makes a sound store OUT of what can still be read of STORE";

constexpr const char* kFooter =
    R"(STORE is the base path of a store, or either of its two files; OUT is the base
path of the new one, which gets OUT_1.mtd and OUT_2.mtd. The newest good copy of
each cluster goes there, in the order of ticks, from whichever file has it. Both
files appear when they are complete.

A file that a recorder set aside, STORE_1.mtd.CORRUPT, is read only when it is
given with --corrupt, since it may be of a recording whose ticks began anew, or
by itself as STORE. Two recordings in one store are not mixed: they are refused.

Examples:
  vmr recover trips/car7 saved/car7
  vmr recover trips/car7 saved/car7 --corrupt trips/car7_1.mtd.CORRUPT
  vmr check saved/car7

What is read is not changed, and may be recorded into meanwhile. It is printed
how many items of each kind were recovered and, as far as can be known, lost.

Exit codes: 0 success, 1 failure, OUT is as it was, 2 wrong usage, 3 OUT was
written and something is lost, 4 OUT was written, STORE is damaged but nothing
is lost.
Environment: VMR_LOG, what is logged; see vmr --help.)";

struct RecoverOptions {
  std::string store;
  std::string out;                   // base of the new store
  std::vector<std::string> corrupt;  // files set aside by recorders
  bool force = false;                // replace `out`
};

bool Refuse(const std::string& text) {
  Say(text);
  return false;
}

// Nothing that is read may be written.
bool MayBecome(const std::string& out, const StoreFiles& store,
               const std::vector<std::string>& corrupt) {
  for (const int number : kFileNumbers) {
    const std::string path = RingFileName(out, number);
    if (BelongsToRing(path, store.name))
      return Refuse(fmt::format("{}: belongs to the store {}; give another OUT", path, store.name));
    if (SameFile(path, store.path1) || SameFile(path, store.path2))
      return Refuse(fmt::format("{}: is read itself; give another OUT", path));
    for (const std::string& file : corrupt)
      if (SameFile(path, file))
        return Refuse(fmt::format("{}: is read itself; give another OUT", path));
  }
  return true;
}

// One recovery, from the surveys to the account.
class Recovery {
 public:
  Recovery(const StoreFiles& files, const RecoverOptions& options, RingSurvey& store)
      : files_(files), base_(files.name), options_(options), store_(store), salvage_(store) {}

  int Run() {
    for (const std::string& path : options_.corrupt)
      if (!salvage_.AddFile(path)) return kExitFailure;
    salvage_.Arrange();
    findings_ = FindAll(store_);
    if (salvage_.Clusters().empty() && Gravest(findings_) == Severity::kLost) {
      Say(fmt::format("{}: nothing in it can be read", base_));
      return kExitFailure;
    }
    if (!Write()) return kExitFailure;
    if (files_.in_use) SayWhatWasSetAside(base_, options_.corrupt, "");
    return Tell();
  }

 private:
  bool Write() {
    RingWriter out(options_.out, options_.force);
    if (!out.Open()) return false;
    WrittenImages written;
    BackgroundSync sync(out);
    for (const SalvagedCluster& cluster : salvage_.Clusters()) {
      unsigned char image[kClusterBytes];
      const CopyFacts* same = nullptr;
      const bool holds_packets = RingSalvage::MakeImage(cluster, image, recovered_, packets_, same);
      written.Add(image, same);
      if (holds_packets && cluster.source != nullptr) ++clusters_;
      if (!out.Add(image)) return false;
      if (out.Clusters() % BackgroundSync::kClusters == 0 && !sync.GoOn()) return false;
    }
    if (!out.Fill() || !sync.Begin()) return false;
    const bool is_sound = IsSoundRing(out, written);
    if (!sync.Wait() || !out.Complete()) return false;
    if (!is_sound)
      return Refuse(fmt::format("{}: what was written does not read back", options_.out));
    return out.Publish();
  }

  // Lets the device write while the next clusters are made, and while they are read back.
  class BackgroundSync {
   public:
    static constexpr int kClusters = 4096;  // of which it begins another one

    explicit BackgroundSync(const RingWriter& out) : out_(out) {}
    // Begins one unless one still goes on. False once one has failed.
    bool GoOn() { return IsRunning() || Begin(); }
    // Of all that was written by now.
    bool Begin() {
      if (!Wait()) return false;
      running_ = std::async([this] { return out_.SyncSoFar(); });
      return true;
    }
    bool Wait() { return !running_.valid() || running_.get(); }

   private:
    bool IsRunning() const {
      return running_.valid() &&
             running_.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
    }

    const RingWriter& out_;
    std::future<bool> running_;  // where no thread is to be had, it runs in Wait
  };

  // Nobody should find out later that the copy is no better than the original.
  static bool IsSoundRing(const RingWriter& out, const WrittenImages& written) {
    RingSurvey made(out.TemporaryPath(1), out.TemporaryPath(2));
    made.Read(&written);
    return Gravest(FindAll(made)) != Severity::kLost && made.SearchOf(1).found &&
           made.SearchOf(2).found;
  }

  // ---- The account ----------------------------------------------------------------

  int Tell() {
    const RingReport report(base_, store_, findings_);
    fmt::print("{}: {} packets in {} clusters{}\n", options_.out, packets_, clusters_, SpanText());
    for (const SourceAccount& source : salvage_.Sources()) TellSource(source);
    if (salvage_.TooOld() > 0)
      fmt::print("the oldest {} clusters did not fit\n", salvage_.TooOld());
    for (const Finding& finding : findings_) TellFinding(report, finding);
    fmt::print("{}", limit_.Rest(store_));
    for (std::size_t i = 0; i < salvage_.AsideCount(); ++i) TellAside(i);
    TellKinds();
    return FinishOutput(ExitCode());
  }

  int ExitCode() const {
    if (lost_any_) return kExitPartial;
    return Gravest(findings_) == Severity::kNormal ? kExitSuccess : kExitDamaged;
  }

  std::string SpanText() const {
    if (salvage_.Clusters().empty()) return "";
    unsigned int last = 0;
    for (const SalvagedCluster& cluster : salvage_.Clusters())
      last = std::max(last, cluster.last_tick);
    return fmt::format(", ticks {} to {}", salvage_.Clusters().front().first_tick, last);
  }

  void TellSource(const SourceAccount& source) {
    fmt::print("{}: {} clusters taken, {} that the store has", source.path, source.taken,
               source.duplicates);
    if (source.overlapping > 0) {
      fmt::print(", {} left out, since the store has other packets of their ticks",
                 source.overlapping);
      lost_any_ = true;
    }
    fmt::print("\n");
  }

  void TellFinding(const RingReport& report, const Finding& finding) {
    if (finding.Grade() == Severity::kNormal) return;
    const bool regained =
        finding.Is(finding_kind::kLost) && finding.first_tick != kNoTick &&
        finding.last_tick != kNoTick &&
        salvage_.Regained(finding.first_tick, finding.last_tick) >= finding.Clusters();
    if (regained) {
      fmt::print("regained: {}\n", ClusterText(finding.first_cluster, finding.last_cluster));
      return;
    }
    if (finding.Grade() == Severity::kLost) CountLost(store_, finding);
    if (limit_.Tells(finding))
      fmt::print("{}: {}\n", SeverityText(finding.Grade()), report.Describe(finding));
  }

  // Only what it has lost by itself: a file that was set aside has no twin.
  void TellAside(std::size_t index) {
    RingSurvey& survey = salvage_.Aside(index);
    const std::string& path = survey.File(1).Path();
    const std::vector<Finding> findings = FindAll(survey);
    const RingReport report(path, survey, findings);
    for (const Finding& finding : findings) {
      if (finding.Grade() != Severity::kLost || StoreHas(finding)) continue;
      CountLost(survey, finding);
      fmt::print("lost: {}: {}\n", path, report.Describe(finding));
    }
  }

  // The store itself holds all clusters of the finding, so nothing is lost by it.
  bool StoreHas(const Finding& finding) const {
    for (int cluster = finding.first_cluster; cluster <= finding.last_cluster; ++cluster) {
      const ClusterFacts& facts = store_.At(cluster);
      if (!facts.HoldsData() || facts.FirstTick() < finding.first_tick ||
          facts.LastTick() > finding.last_tick)
        return false;
    }
    return finding.first_tick != kNoTick && finding.last_tick != kNoTick;
  }

  // Items in packets that are still sound within the damaged copies.
  void CountLost(RingSurvey& survey, const Finding& finding) {
    lost_any_ = true;
    if (!finding.Is(finding_kind::kLost)) return;
    for (int i = 0, cluster = finding.first_cluster; i < finding.Clusters();
         ++i, cluster = NextCluster(cluster)) {
      TagCounts counts[2] = {};
      for (const int file : kFileNumbers) CountLegible(survey, file, cluster, counts[file - 1]);
      for (std::size_t tag = 0; tag < lost_.size(); ++tag)
        lost_[tag] += std::max(counts[0][tag], counts[1][tag]);
    }
  }

  class Counter final : public ContentSink {
   public:
    explicit Counter(TagCounts& counts) : counts_(counts) {}
    void OnItem(const unsigned char* item, unsigned int /*tick*/) override { ++counts_[item[0]]; }

   private:
    TagCounts& counts_;
  };

  static void CountLegible(RingSurvey& survey, int file, int cluster, TagCounts& counts) {
    unsigned char image[kClusterBytes];
    const CopyState state = survey.File(file).Read(cluster, image);
    if (state != CopyState::kBadCrc && state != CopyState::kBadSize) return;
    Counter counter(counts);
    WalkCluster(image, state == CopyState::kBadCrc ? ClusterSize(image) : kClusterBytes, &counter);
  }

  void TellKinds() const {
    std::map<std::string, std::pair<unsigned long, unsigned long>> kinds;
    for (std::size_t tag = 0; tag < recovered_.size(); ++tag) {
      if (recovered_[tag] + lost_[tag] == 0) continue;
      auto& kind = kinds[KindName(static_cast<unsigned char>(tag))];
      kind.first += recovered_[tag];
      kind.second += lost_[tag];
    }
    if (kinds.empty()) return;
    fmt::print("{:<24}{:>12}{:>12}\n", "kind", "recovered", "lost");
    for (const auto& [name, counts] : kinds)
      fmt::print("{:<24}{:>12}{:>12}\n", name, counts.first, counts.second);
    if (lost_any_) fmt::print("lost: at least these, which the damaged clusters still show\n");
  }

  const StoreFiles& files_;
  const std::string& base_;
  const RecoverOptions& options_;
  RingSurvey& store_;
  RingSalvage salvage_;
  std::vector<Finding> findings_;
  FindingLimit limit_;
  TagCounts recovered_{};
  TagCounts lost_{};
  unsigned long packets_ = 0;
  int clusters_ = 0;
  bool lost_any_ = false;
};

// Writes both files of OUT or leaves what was there. Says on standard output what was
// recovered and what was lost.
int Recover(const RecoverOptions& options) {
  const auto files = FilesToSurvey(options.store);
  if (!files || !MayBecome(options.out, *files, options.corrupt)) return kExitFailure;
  StoreLock lock("give another OUT");
  if (!lock.Before(options.out)) return kExitFailure;
  RingSurvey survey(files->path1, files->path2);
  survey.Read();
  if (!CouldBeRead(survey) || !IsOneRecording(survey, files->name)) return kExitFailure;
  return Recovery(*files, options, survey).Run();
}

// ---- The command line ---------------------------------------------------------------

void CheckUsage(const RecoverOptions& options) {
  if (options.store.empty()) RefuseUsage("STORE is empty");
  if (options.out.empty()) RefuseUsage("OUT is empty");
  if (options.out.front() == '-')
    RefuseUsage("OUT must not begin with \"-\"; write ./" + options.out);
  if (const auto base = RingBaseOf(options.out))
    RefuseUsage(options.out + " is a file of a store; OUT would be " + *base);
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<RecoverOptions>();
  parser.add_option("STORE", options->store, "The recording")->required()->type_name("");
  parser.add_option("OUT", options->out, "The store to make")->required()->type_name("");
  parser.add_option("--corrupt", options->corrupt, "A file set aside; repeatable")
      ->type_name("FILE")
      ->allow_extra_args(false);
  parser.add_flag("--force", options->force, "Replace OUT if it exists");
  parser.final_callback([options] { CheckUsage(*options); });
  return [options] { return Recover(*options); };
}

}  // namespace

constexpr Command kRecoverCommand = {"recover", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
