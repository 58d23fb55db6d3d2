// Says what is to be said about single lines of an input, but not without end.
#ifndef VMR_TOOLS_RECORD_LINE_REMARKS_H_
#define VMR_TOOLS_RECORD_LINE_REMARKS_H_

#include <array>
#include <chrono>
#include <string>

namespace vmr::tool {

// Of each kind ten lines a minute are told, the others only counted: a source that
// goes wrong must not drown what else there is to say.
//
// Threads  none.
class LineRemarks {
 public:
  using Clock = std::chrono::steady_clock;
  enum class Kind { kUnusable, kUsedInPart, kJump };

  explicit LineRemarks(std::string input) : input_(std::move(input)) {}

  void Tell(Kind kind, unsigned long line, const std::string& text, Clock::time_point now);
  // Some lines were only counted, and how many is still to be said.
  bool Withholds() const;
  // Says it when their minute is over.
  void Update(Clock::time_point now);
  // Says it now.
  void Conclude();

 private:
  static constexpr std::size_t kKinds = 3;
  struct Tally {
    unsigned long told = 0;
    unsigned long withheld = 0;
  };

  std::string input_;
  Clock::time_point minute_end_{};
  std::array<Tally, kKinds> tallies_{};
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_LINE_REMARKS_H_
