// A recording as lines for people: one per tick, and one for each thing that breaks the
// course of time.
#ifndef VMR_TOOLS_READ_TIMELINE_H_
#define VMR_TOOLS_READ_TIMELINE_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "records/record.h"
#include "tools/common/text_output.h"
#include "tools/read/phrase.h"

namespace vmr::tool {

struct TimelineOptions {
  bool unfolds_dumps = false;  // else a full state, or a configuration, is one short line
  bool chosen_kinds = false;   // what was chosen is shown, however dull
  bool colours = false;
  std::string zone;  // of the local times; empty: they are UTC because no zone is recorded
};

//         tick  time
//   ---- Wednesday 2019-06-19, UTC-05:00 (America/Chicago) ----
//         2106  16:51:29  position 41.79098 N 93.53040 W; emergency lights on
//   !     2108 ~16:51:30  siren on [wrong CRC]
//   ---- gap: 3 clusters lost; tick 2110 to 2510, 16:51:31 to 16:54:51, 3 min 20 s ----
//
// Two sinks: what is to be shown comes to this one, and whatever is decoded, shown or not, to
// Watcher() right behind it; names, units and what was told before are learned there.
//
// Owns     nothing; `out` must outlive it.
class Timeline final : public records::Sink {
 public:
  Timeline(const TimelineOptions& options, TextOutput& out) : options_(options), out_(out) {}

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override;
  void OnNewRun(int run, unsigned int tick) override;
  // To be called when all was decoded: writes the last line.
  void End();

  records::Sink& Watcher() { return watcher_; }

 private:
  // What was told of each thing since the last gap.
  class TellTale final : public records::Sink {
   public:
    enum class News : unsigned char { kFirst, kSame, kOther };
    News NewsOf(const records::Record& record) const;
    void OnRecord(const records::Record& record) override;
    void OnGap(const records::Gap& gap) override;
    void OnNewRun(int run, unsigned int tick) override;
    Phrases phrases;

   private:
    std::map<std::vector<std::int64_t>, std::string> told_;
  };
  // What one tick tells.
  struct Entry {
    unsigned int tick = kNoTick;
    records::Time time;
    bool crc_right = true;
    std::string phrase;
    TellTale::News news = TellTale::News::kFirst;
    bool foldable = false;  // part of what a full state or a configuration repeats
    bool worth_naming = false;
    std::string bytes;  // of a foldable one, for what only a start writes
  };

  void Flush();
  void PutEntries(std::size_t from, std::size_t to);
  std::string Folded(std::size_t from, std::size_t to) const;
  std::size_t StartItems(std::size_t at, std::size_t to) const;
  void PutTick(const Entry& entry, std::string_view text);
  void PutBreak(std::string_view text, std::string_view colour);
  void PutDay(const records::Time& time);
  std::string TickAndTime(unsigned int tick, const records::Time& time);

  TimelineOptions options_;
  TextOutput& out_;
  TellTale watcher_;
  std::vector<Entry> entries_;  // of one packet and its continuations
  unsigned int packet_tick_ = kNoTick;
  bool has_dump_ = false;   // among the entries
  bool has_setup_ = false;  // the same, the end of a configuration
  std::string day_;
  int offset_minutes_ = 0;
  bool has_header_ = false;
  bool told_unverified_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_TIMELINE_H_
