// Shows what a command prints page by page, where somebody reads it on a terminal.
#ifndef VMR_TOOLS_COMMON_PAGER_H_
#define VMR_TOOLS_COMMON_PAGER_H_

#include <sys/types.h>

namespace vmr::tool {

// Standard output is a terminal that shows colours, and nobody asked for none (NO_COLOR).
// To be asked before a pager takes it over.
bool WantsColours();

// While it lives standard output goes to $PAGER, or to `less -FRX` where that is installed.
// Without either, and where standard output is no terminal, nothing happens at all.
//
// Threads  none.
// Errors   a pager that does not start shows nothing; its own message says why.
class Pager {
 public:
  explicit Pager(bool wanted);
  // Ends its input and waits until whoever reads has seen enough.
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

 private:
  pid_t process_ = -1;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_PAGER_H_
