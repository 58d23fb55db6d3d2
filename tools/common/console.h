// What the program says on standard error.
#ifndef VMR_TOOLS_COMMON_CONSOLE_H_
#define VMR_TOOLS_COMMON_CONSOLE_H_

#include <string>
#include <string_view>
#include <vector>

namespace vmr::tool {

// Exit codes of the program.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitPartial = 3;  // something of what was asked for is not there
inline constexpr int kExitDamaged = 4;  // a store is damaged, but nothing of it is lost

// What somebody else has written, fit for a terminal: a control character, which
// could move its cursor or change its title, becomes "\x1B" or the like.
std::string Printable(std::string_view text);

// "vmr: text". Any thread may call it; a progress bar gives way to it.
void Say(std::string_view text);

// Keeps what is said, as long as it lives, and keeps the same from being said twice.
class HeardMessages {
 public:
  HeardMessages();
  ~HeardMessages();
  HeardMessages(const HeardMessages&) = delete;
  HeardMessages& operator=(const HeardMessages&) = delete;

  const std::vector<std::string>& All() const { return all_; }

 private:
  friend void Say(std::string_view text);
  std::vector<std::string> all_;
};

// Writes out what was printed on standard output. False, and errno or 0 where nothing
// tells, when not all of it could be.
bool FlushOutput();
// The same at a command's end: `exit_code`, or kExitFailure after saying that not all
// could be written.
int FinishOutput(int exit_code);

// A line that is written over by the next: only where standard error is a
// terminal, else nothing. An empty text removes it.
void ShowTransient(std::string_view text);
bool ShowsTransient();

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_CONSOLE_H_
