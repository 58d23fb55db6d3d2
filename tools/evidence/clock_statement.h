// What a recording tells of the clock that its times are of.
#ifndef VMR_TOOLS_EVIDENCE_CLOCK_STATEMENT_H_
#define VMR_TOOLS_EVIDENCE_CLOCK_STATEMENT_H_

#include <array>
#include <string>
#include <vector>

#include "tools/read/reading.h"

namespace vmr::tool {

// What is in the range is handed to Inside(), all of the recording to All().
class ClockStatement {
 public:
  records::Sink& Inside() { return inside_; }
  records::Sink& All() { return all_; }

  // Lines, each ended, in local times of the zone in use. `clock_us`: what the clock of this
  // machine showed at packaging; `is_given`: it was said to be so and not read. `what`: what All()
  // is of, "the recording".
  std::string Text(std::int64_t clock_us, bool is_given, const char* what) const;

 private:
  struct Inner final : records::Sink {
    void OnRecord(const records::Record& record) override;
    void OnClockStep(const records::ClockStep& step) override { steps.push_back(step); }
    std::array<unsigned long, 4> by_quality{};  // of records, see TimeQuality
    std::vector<records::ClockStep> steps;
  };
  struct Newest final : records::Sink {
    void OnRecord(const records::Record& record) override;
    void OnClockStep(const records::ClockStep& /*step*/) override { ++steps; }
    // The one that is last in the recording, and the one that is last in time.
    records::Time last, latest;
    unsigned int last_tick = kNoTick, latest_tick = kNoTick;
    unsigned long steps = 0;
  };

  std::string StepLines(const char* what) const;
  std::string OffsetLines(std::int64_t clock_us, bool is_given, const char* what) const;

  Inner inside_;
  Newest all_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_CLOCK_STATEMENT_H_
