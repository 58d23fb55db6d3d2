// Shows on a terminal how far some work has come.
#ifndef VMR_TOOLS_COMMON_PROGRESS_H_
#define VMR_TOOLS_COMMON_PROGRESS_H_

#include <chrono>
#include <functional>
#include <string>

namespace vmr::tool {

// Is told of some work step by step.
class Progress {
 public:
  virtual ~Progress() = default;
  virtual void Step() = 0;
};

// A line on standard error, drawn anew a few times a second while the work goes on and
// removed at the end. Nothing at all when standard error is no terminal.
class ProgressLine final : public Progress {
 public:
  // What the line says after so many steps. Asked only when it is drawn.
  using Text = std::function<std::string(unsigned long steps)>;

  explicit ProgressLine(Text text);
  ~ProgressLine() override;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Cheap enough for every tick of a replay.
  void Step() override;

 private:
  Text text_;
  const bool shown_;
  unsigned long steps_ = 0;
  std::chrono::steady_clock::time_point next_draw_{};
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_PROGRESS_H_
