// Shows on a terminal how far a recording has come.
#ifndef VMR_TOOLS_RECORD_INPUT_PROGRESS_H_
#define VMR_TOOLS_RECORD_INPUT_PROGRESS_H_

#include <cstdint>
#include <string>

#include "tools/common/progress.h"
#include "tools/record/input.h"

namespace vmr::tool {

// A bar while the sizes of all inputs are known, else a count of lines.
class InputProgress {
 public:
  // Both must outlive it.
  InputProgress(const Inputs& inputs, const LineCounts& counts);

  // The recording is at `tick` now.
  void Update(unsigned int tick);

 private:
  std::string Text() const;

  const Inputs& inputs_;
  const LineCounts& counts_;
  const std::uint64_t total_bytes_;  // 0: not known
  unsigned int tick_ = 0;
  ProgressLine line_;
};

// "[#####.....]  50%" of a bar with `width` cells; `done` up to `total`, not 0.
std::string ProgressBar(std::uint64_t done, std::uint64_t total, unsigned int width);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_INPUT_PROGRESS_H_
