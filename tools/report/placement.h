// Where on an axis of half seconds the things of a recording lie.
#ifndef VMR_TOOLS_REPORT_PLACEMENT_H_
#define VMR_TOOLS_REPORT_PLACEMENT_H_

#include <optional>
#include <variant>
#include <vector>

#include "records/record.h"
#include "tools/read/instant.h"
#include "tools/read/kept_record.h"
#include "tools/read/time_axis.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

struct Spot {
  AxisX x = 0;            // of its tick; without one that can be believed, of the place before
  bool has_tick = false;  // that can be believed
  // From here on what it says is known: behind a gap, and without a tick, the first place that
  // surely lies behind it. Nothing: there is none.
  std::optional<AxisX> holds_from;
};

struct GapSpot {
  std::optional<AxisX> from, to;  // as CaseGap's
  AxisX lost_from = 0;            // from here on nothing is known
};

// Takes what a decoder finds, with its place. In recorded order.
class PlacedSink {
 public:
  virtual ~PlacedSink() = default;
  virtual void OnRecord(const records::Record& record, const Spot& spot) = 0;
  virtual void OnGap(const records::Gap& gap, const GapSpot& spot) = 0;
  virtual void OnClockStep(const records::ClockStep& step, AxisX x) = 0;
  // `lost_from` is behind the run before, `x` where the new one begins.
  virtual void OnNewRun(int run, unsigned int tick, AxisX lost_from, AxisX x) = 0;
};

// Gives each thing its place on an axis that goes on as ticks do, and on which one run follows the
// other; where that is in UTC, `AxisLayout` knows when all was read. A tick told by a packet whose
// CRC is wrong is believed where it lies between those of the sound packets around it; therefore
// what comes behind such a packet, and a gap, is held back until the next sound tick is told.
//
// Owns     what it holds back. `sink` must outlive it.
class Placement final : public records::Sink {
 public:
  explicit Placement(PlacedSink& sink) : sink_(sink) {}

  void OnRecord(const records::Record& record) override;
  void OnGap(const records::Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override { step_ = step; }
  void OnNewRun(int run, unsigned int tick) override;
  // To be called behind the last record.
  void Finish() { Release(nullptr); }

  // Ascending; they do not overlap.
  std::vector<CaseStretch> Stretches() const;

 private:
  using Held = std::variant<KeptRecord, records::Gap>;
  struct SoundTick {
    AxisX x = 0;
    unsigned int tick = 0;
    // Of another tick near by.
    AxisX XOf(unsigned int other) const { return x + static_cast<std::int32_t>(other - tick); }
  };
  // Where a run begins: what its ticks are less on the axis.
  struct Run {
    AxisX begin = 0;
    std::uint64_t line_tick = 0;
  };

  AxisX XOf(const Instant& at) const;
  void BeginRun(int run, unsigned int tick);
  // Hands on what was held back; `next` is the sound tick behind it, or null.
  void Release(const SoundTick* next);
  void Release(const records::Record& record, const SoundTick* next, bool holds);
  void Release(const records::Gap& gap, const SoundTick* next);
  // Of a tick that may be wrong.
  std::optional<AxisX> Believed(unsigned int tick, const SoundTick* next) const;

  PlacedSink& sink_;
  TimeAxis axis_;
  TickLine line_;
  std::vector<Run> runs_;            // by number
  std::optional<SoundTick> last_;    // of the run at hand
  AxisX begin_ = 0;                  // of the run at hand
  std::optional<AxisX> behind_gap_;  // the first place behind the last gap of the run
  std::optional<records::ClockStep> step_;
  std::vector<Held> held_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_PLACEMENT_H_
