// Shows on a terminal how far a recording has come.
#ifndef VMR_TOOLS_RECORD_PROGRESS_H_
#define VMR_TOOLS_RECORD_PROGRESS_H_

#include <chrono>
#include <cstdint>

#include "tools/record/input.h"

namespace vmr::tool {

// A bar while the sizes of all inputs are known, else a count of lines.
// Nothing at all when standard error is no terminal.
class Progress {
 public:
  Progress(const Inputs& inputs, const LineCounts& counts);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Cheap enough to be called for every tick; draws a few times a second.
  void Update(unsigned int tick);

 private:
  void Draw(unsigned int tick) const;

  const Inputs& inputs_;
  const LineCounts& counts_;
  const bool shown_;
  std::uint64_t total_bytes_ = 0;  // 0: not known
  unsigned int calls_ = 0;
  std::chrono::steady_clock::time_point next_draw_{};
};

// "[#####.....]  50%" of a bar with `width` cells; `done` up to `total`, not 0.
std::string ProgressBar(std::uint64_t done, std::uint64_t total, unsigned int width);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_PROGRESS_H_
