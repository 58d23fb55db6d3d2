// vmr_kill_recorders [--kills N] [--seed N] [--dir DIR] [--counts FILE]
// vmr_kill_recorders --replay SEED/GROUP/KILL [--dir DIR]
//
// Kills processes that record into rings in real files, and checks after each kill
// that every acknowledged packet is read back. Prints one line of counts as JSON;
// exit code 1 when a check failed, with the command that goes through the kills of
// that ring up to the one that failed and leaves the ring's files in DIR. What is
// a race with the recorder may end otherwise then.
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <string>

#include "backends/data_store_normal.h"
#include "host/default/host_control.h"
#include "tests/crash/state_check.h"
#include "tests/processes/numbered_packets.h"
#include "tests/processes/real_ring.h"
#include "tests/processes/recorder_process.h"
#include "tests/support/temp_dir.h"

namespace vmr::processes {
namespace {

struct Options {
  std::string program;
  std::string dir = ".";
  std::string counts;
  unsigned int seed = std::random_device()();
  int kills = 200;
  long seconds = 0;   // go on for so long
  std::string group;  // of a replay
  int last_kill = -1;
};

// One ring that lives through many kills, and its share of all of them.
struct Group {
  const char* name;
  bool created;  // by the recorder: removed whenever it has come to recording
  RingStart start;
  int percent;
};
constexpr Group kGroups[] = {
    {"creation", true, {-1, false}, 12},
    {"first-cluster", false, {-1, false}, 20},
    {"wrap", false, {kRingClusters - 30, false}, 34},
    {"second-lap", false, {20000, true}, 34},
};

bool Exists(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

bool IsComplete(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && status.st_size == kRingFileBytes;
}

bool IsInMemory(const std::string& folder) {
  struct statfs system {};
  if (statfs(folder.c_str(), &system) != 0) return true;
  return system.f_type == TMPFS_MAGIC || static_cast<unsigned long>(system.f_type) == RAMFS_MAGIC;
}

class Draw {
 public:
  Draw(unsigned int seed, int group, int kill) {
    std::seed_seq mixed{seed, static_cast<unsigned>(group), static_cast<unsigned>(kill)};
    random_.seed(mixed);
  }
  long Below(long end) { return static_cast<long>(random_() % static_cast<unsigned long>(end)); }

 private:
  std::mt19937 random_;
};

// Making a file is some 32,770 operations. Half of the kills come where a file has
// just been begun or is about to get its name.
KillPlan DrawCreationKill(Draw& draw, int missing_files) {
  constexpr long kFileOperations = kRingClusters + 10;
  if (draw.Below(4) == 0) return {KillAt::kMicroseconds, draw.Below(1000000)};
  const KillAt when = draw.Below(2) == 0 ? KillAt::kBeforeOperation : KillAt::kAfterOperation;
  if (draw.Below(3) == 0) return {when, draw.Below(missing_files * kFileOperations)};
  return {when, draw.Below(missing_files + 1) * kFileOperations + draw.Below(40)};
}

// An opening is about a hundred operations, a packet three.
KillPlan DrawKill(Draw& draw) {
  const KillAt when = draw.Below(2) == 0 ? KillAt::kBeforeOperation : KillAt::kAfterOperation;
  switch (draw.Below(5)) {
    case 0:
      return {KillAt::kMicroseconds, draw.Below(20000)};
    case 1:
    case 2:
      return {KillAt::kAcknowledgements, draw.Below(40)};
    case 3:
      return {when, draw.Below(100)};
    default:
      return {when, 100 + draw.Below(120)};
  }
}

class Ring {
 public:
  Ring(const Group& group, const std::string& base, std::map<std::string, long>& counts)
      : group_(group), base_(base), counts_(counts) {}

  std::string Lay() {
    RemoveRing(base_);
    found_ = LastLaidNumber(group_.start);
    if (group_.created || LayRing(base_, group_.start)) return "";
    return std::string("no ring can be laid: ") + std::strerror(errno);
  }

  KillPlan Plan(Draw& draw) const {
    const int missing = !IsComplete(RingPath(base_, 1)) + !IsComplete(RingPath(base_, 2));
    return missing > 0 ? DrawCreationKill(draw, missing) : DrawKill(draw);
  }
  // One recorder's life, and what is left of it. "" when that is as it must be.
  std::string Kill(const KillPlan& plan, Draw& draw, bool everything);

 private:
  std::string Check(bool read_only, bool everything, std::uint32_t* found);
  std::string ReadBack(DataStoreNormal& store, bool everything, std::uint32_t* found);
  void Count(const Killed& killed, bool was_complete);
  std::string SettleShortCopy();
  bool BothComplete() const {
    return IsComplete(RingPath(base_, 1)) && IsComplete(RingPath(base_, 2));
  }

  const Group& group_;
  const std::string base_;
  std::map<std::string, long>& counts_;
  std::uint32_t found_ = 0;  // the newest packet there is
};

void Ring::Count(const Killed& killed, bool was_complete) {
  ++counts_["kills"];
  if (killed.opened)
    ++counts_["killed_recording"];
  else
    ++counts_[was_complete ? "killed_opening" : "killed_creating"];
}

std::string Ring::Kill(const KillPlan& plan, Draw& draw, bool everything) {
  const bool was_complete = BothComplete();
  const Killed killed = RecordUntilKilled(base_, found_ + 1, plan);
  if (!killed.wrong.empty()) return killed.wrong;
  Count(killed, was_complete);
  const std::uint32_t acknowledged = killed.opened ? killed.acknowledged : found_;
  counts_["acknowledged"] += acknowledged - found_;

  // Opened for reading alone, the ring stays as the kill left it for the next recorder.
  const bool read_only = group_.created || draw.Below(2) == 0;
  std::uint32_t found = 0;
  std::string wrong = Check(read_only, everything, &found);
  const std::string numbers =
      "acknowledged up to " + std::to_string(acknowledged) + ", found " + std::to_string(found);
  if (wrong.empty() && (found < acknowledged || found > acknowledged + (killed.opened ? 1 : 0)))
    wrong = found < acknowledged ? "packets are lost" : "packets that nobody handed over";
  if (!wrong.empty()) return wrong + " (" + numbers + ")";
  ++counts_[found == acknowledged ? "found_n" : "found_n_plus_1"];
  found_ = found;
  if (group_.created && killed.opened) {
    ++counts_["rings_created"];
    return Lay();
  }
  return "";
}

std::string Ring::Check(bool read_only, bool everything, std::uint32_t* found) {
  if (Exists(RingPath(base_, 1) + ".CORRUPT")) return "the ring was set aside";
  if (group_.created && !Exists(RingPath(base_, 1)))
    return Exists(RingPath(base_, 2)) ? "file 2 is there before file 1" : "";
  DataStoreNormal store(base_);
  if ((read_only ? store.OpenReadOnly() : store.Open()) == 0) return "it cannot be opened";
  const std::string wrong = ReadBack(store, everything, found);
  if (!wrong.empty()) return wrong;
  return group_.created ? SettleShortCopy() : "";
}

// What stands in the ring from its oldest cluster on, or from some clusters before
// the current one.
std::string Ring::ReadBack(DataStoreNormal& store, bool everything, std::uint32_t* found) {
  constexpr int kWindowClusters = 40;
  const int oldest = static_cast<int>(store.InitialReadLocation() / kImageBytes);
  const int current = store.CurrentCluster();
  int from = (current - kWindowClusters + kRingClusters) % kRingClusters;
  const int span = (current - oldest + kRingClusters) % kRingClusters;
  if (everything || span <= kWindowClusters) from = oldest;
  crash::Bytes stream;
  if (!crash::ReadStream(store, from, &stream)) return "it cannot be read back";
  const Numbers numbers = ReadNumbers(stream);
  *found = numbers.last;
  if (!numbers.wrong.empty()) return numbers.wrong;
  if (store.GetCurrentSystemTick() != numbers.last)
    return "the last tick is " + std::to_string(store.GetCurrentSystemTick());
  // No recorder here goes so far that it writes over a whole ring's start.
  const RingStart& start = group_.start;
  const std::uint32_t first = std::max(LaidNumber(start, oldest), 1U);
  if (from == oldest && numbers.last != 0 && numbers.first != first)
    return "the oldest packet is " + std::to_string(numbers.first) + " and not " +
           std::to_string(first);
  counts_["rings_read_in_full"] += from == oldest ? 1 : 0;
  return "";
}

// A copy that was cut short keeps the ring from being opened until someone removes
// it; that is documented. The other file has everything.
std::string Ring::SettleShortCopy() {
  const std::string second = RingPath(base_, 2);
  if (!Exists(second) || IsComplete(second)) return "";
  ++counts_["copies_cut_short"];
  return unlink(second.c_str()) == 0 ? "" : std::strerror(errno);
}

class Run {
 public:
  explicit Run(const Options& options) : options_(options) {
    for (const char* const name :
         {"acknowledged", "copies_cut_short", "found_n", "found_n_plus_1", "killed_creating",
          "killed_opening", "killed_recording", "kills", "undocumented_losses"})
      counts_[name] = 0;
  }

  bool All(unsigned int seed, const std::string& folder) {
    for (int group = 0; group < static_cast<int>(std::size(kGroups)); ++group) {
      if (!options_.group.empty() && options_.group != kGroups[group].name) continue;
      if (!One(seed, group, folder + "/ring")) return false;
    }
    return true;
  }

  // The exit code.
  int Finish(bool succeeded, bool on_disk);
  bool HasTimeLeft() const {
    return std::chrono::steady_clock::now() - start_ < std::chrono::seconds(options_.seconds);
  }

 private:
  bool One(unsigned int seed, int number, const std::string& base);
  bool Fail(const std::string& id, const std::string& wrong);

  const Options& options_;
  std::map<std::string, long> counts_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

bool Run::Fail(const std::string& id, const std::string& wrong) {
  ++counts_["undocumented_losses"];
  std::printf("FAIL %s: %s\n  up to there: %s --replay %s --kills %d\n", id.c_str(), wrong.c_str(),
              options_.program.c_str(), id.c_str(), options_.kills);
  return false;
}

bool Run::One(unsigned int seed, int number, const std::string& base) {
  constexpr int kKillsBetweenFullReadings = 8;
  const Group& group = kGroups[number];
  const int kills = (options_.kills * group.percent + 99) / 100;
  const int end = options_.last_kill >= 0 ? options_.last_kill + 1 : kills;
  Ring ring(group, base, counts_);
  const std::string prefix = std::to_string(seed) + "/" + group.name + "/";
  if (const std::string wrong = ring.Lay(); !wrong.empty()) return Fail(prefix + "0", wrong);
  for (int kill = 0; kill < end; ++kill) {
    Draw draw(seed, number, kill);
    const KillPlan plan = ring.Plan(draw);
    const bool everything = kill % kKillsBetweenFullReadings == 0 || kill + 1 == end;
    const std::string wrong = ring.Kill(plan, draw, everything);
    if (!wrong.empty()) return Fail(prefix + std::to_string(kill), Describe(plan) + ": " + wrong);
  }
  return true;
}

int Run::Finish(bool succeeded, bool on_disk) {
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start_;
  // Recorders that were all killed before they recorded would show nothing.
  if (options_.group.empty() && counts_["acknowledged"] < counts_["kills"]) {
    std::printf("FAIL only %ld packets acknowledged\n", counts_["acknowledged"]);
    succeeded = false;
  }
  counts_["kills_on_disk"] = on_disk ? counts_["kills"] : 0;
  std::string line = "{\"kind\":\"kills\"";
  for (const auto& [name, count] : counts_) line += ",\"" + name + "\":" + std::to_string(count);
  char seconds[64];
  std::snprintf(seconds, sizeof(seconds), ",\"seconds\":%.1f}", took.count());
  line += seconds;
  std::printf("%s\n", line.c_str());
  if (!on_disk) std::printf("the files were in memory: these kills prove nothing about a disk\n");
  if (!options_.counts.empty()) std::ofstream(options_.counts, std::ios::app) << line << "\n";
  return succeeded ? 0 : 1;
}

int Usage() {
  std::fprintf(stderr,
               "usage: vmr_kill_recorders [--kills N] [--seed N] [--dir DIR] [--counts FILE]\n"
               "       vmr_kill_recorders --replay SEED/GROUP/KILL [--kills N] [--dir DIR]\n");
  return 2;
}

bool ParseReplay(const std::string& id, Options* options) {
  const std::size_t group = id.find('/');
  const std::size_t kill = id.rfind('/');
  if (group == id.npos || kill == group) return false;
  options->seed = static_cast<unsigned int>(std::strtoul(id.c_str(), nullptr, 10));
  options->group = id.substr(group + 1, kill - group - 1);
  options->last_kill = static_cast<int>(std::strtol(id.c_str() + kill + 1, nullptr, 10));
  return std::any_of(std::begin(kGroups), std::end(kGroups),
                     [&](const Group& known) { return options->group == known.name; });
}

bool Parse(int argc, char** argv, Options* options) {
  options->program = argv[0];
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    if (i + 1 == argc) return false;
    const char* const value = argv[i + 1];
    if (name == "--kills")
      options->kills = static_cast<int>(std::strtol(value, nullptr, 10));
    else if (name == "--seed")
      options->seed = static_cast<unsigned int>(std::strtoul(value, nullptr, 10));
    else if (name == "--dir")
      options->dir = value;
    else if (name == "--counts")
      options->counts = value;
    else if (name != "--replay" || !ParseReplay(value, options))
      return false;
  }
  if (const char* const longer = std::getenv("VMR_LONG"))
    options->seconds = std::strtol(longer, nullptr, 10);
  return options->kills > 0;
}

}  // namespace

int Main(int argc, char** argv) {
  Options options;
  if (!Parse(argc, argv, &options)) return Usage();
  if (std::getenv("VMR_LOG") == nullptr) host::SetLogLevel(0);
  std::printf("seed %u\n", options.seed);
  std::fflush(stdout);
  Run run(options);
  if (!options.group.empty())
    return run.Finish(run.All(options.seed, options.dir), !IsInMemory(options.dir));
  const test::TempDir folder(options.dir);
  unsigned int seed = options.seed;
  bool succeeded = true;
  do {
    succeeded = run.All(seed++, folder.Path("."));
  } while (succeeded && run.HasTimeLeft());
  return run.Finish(succeeded, !IsInMemory(options.dir));
}

}  // namespace vmr::processes

int main(int argc, char** argv) { return vmr::processes::Main(argc, argv); }
