// What a recording is of, at a glance: which unit, from when to when, how much of what, and
// in which health.
#ifndef VMR_TOOLS_READ_OVERVIEW_H_
#define VMR_TOOLS_READ_OVERVIEW_H_

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "records/record.h"
#include "records/source.h"
#include "tools/read/opened_recording.h"

namespace vmr::tool {

// A moment of a recording.
struct Met {
  unsigned int tick = kNoTick;
  records::Time time;
};

// A text that the recording tells, and where it did so first.
struct ToldText {
  std::string text;  // as recorded, escaped nowhere
  Met at;
};

// Follows records and adds them up. Packets with a wrong CRC are counted and say nothing.
class Tally final : public records::Sink {
 public:
  using Counts = std::array<std::uint64_t, records::kKindCount>;
  // Different texts of one kind that are kept, the first ones.
  static constexpr std::size_t kMostTexts = 100;

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override;
  void OnNewRun(int run, unsigned int tick) override;

  Counts counts{};
  std::uint64_t records = 0;
  std::uint64_t wrong_crc = 0;
  Met first, last;           // with a tick
  std::uint64_t ticks = 0;   // from the first to the last one of each run
  std::uint64_t runs = 0;    // of ticks
  std::uint64_t starts = 0;  // of the unit, where it recorded one
  // Since the last gap:
  bool saw_settings = false;    // a whole configuration
  bool saw_full_state = false;  // which alone tells versions
  std::vector<records::Gap> gaps;
  std::vector<records::ClockStep> steps;
  // Identity, time zone and the like: the different texts, in the order of being told.
  std::map<records::KindId, std::vector<ToldText>> texts;
  // In force at the end: what the last configuration and all behind it tells.
  std::map<std::int64_t, std::string> versions;   // by component
  std::map<std::int64_t, std::int64_t> policies;  // by number

 private:
  void NoteText(const records::Record& record);
  void NoteStart(const records::Record& record);
  void NotePolicy(const records::Record& record);
  void ForgetSettings();

  std::map<std::int64_t, unsigned int> policy_ticks_;  // where they were told
  std::size_t start_bytes_ = 0;                        // of what a start writes, met so far
  std::int64_t start_offset_ = 0;
};

// SHA-256 of the settings: a line "NUMBER=VALUE" each, in the order of the numbers. Nothing
// when none is told.
std::optional<std::string> PolicyDigest(const std::map<std::int64_t, std::int64_t>& policies);

// What one of a store's two files is like.
struct FileHealth {
  std::string path;
  std::string problem;        // why it cannot be read at all; empty: it can
  std::uint64_t bad = 0;      // clusters that cannot be used
  std::uint64_t lacking = 0;  // clusters that the other file has, or has more of
  // Clusters that are sound in both files and not the same, and nothing tells which is right.
  std::uint64_t contradicted = 0;
  bool has_wrong_size = false;  // no recorder opens it; what is recorded may be whole all the same
  bool IsSound() const {
    return problem.empty() && bad == 0 && lacking == 0 && contradicted == 0 && !has_wrong_size;
  }
};

// Of two sound copies of a cluster, as `vmr check` says it, too.
inline constexpr const char* kConflictWords =
    "the files hold different packets, and nothing tells which are right";

// "1 cluster bad, 2 clusters older or shorter than in the other file"; "sound".
std::string HealthWords(const FileHealth& file);

struct Overview {
  Tally tally;               // of what was looked at
  bool complete = true;      // all of it was
  Met first, last;           // of the recording
  int clusters = 0;          // of a store, that hold the recording
  int clusters_looked = 0;   // at by the tally
  bool overwritten = false;  // newer packets stand in place of the beginning
  std::uint64_t lost = 0;    // clusters met that are bad in both files
  // Of the clusters that were chosen at equal distances, where not all were looked at.
  Tally::Counts sampled{};
  int clusters_sampled = 0;
  int files_looked = 0;           // clusters whose copies were compared
  std::vector<FileHealth> files;  // of a store
};

// The beginning and the end alone: identity as first told, and the span. Of a flat file all
// is read.
Overview LookAtEnds(const records::Source& source);
// Of a large store the ends and clusters in between at equal distances, unless `all`.
Overview LookOver(OpenedRecording& recording, bool all);
// Compares the two files of a store that was decoded already, cluster by cluster; of a flat
// file there is nothing.
std::vector<FileHealth> CompareFiles(const OpenedRecording& recording);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_OVERVIEW_H_
