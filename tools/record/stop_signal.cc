#include "tools/record/stop_signal.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace vmr::tool {
namespace {

volatile sig_atomic_t requested = 0;
int wake_pipe[2] = {-1, -1};

void NoteStop(int) {
  const int error = errno;
  requested = 1;
  // A full pipe is readable already, which is all that is wanted.
  if (write(wake_pipe[1], "", 1) < 0) errno = error;
  errno = error;
}

}  // namespace

StopSignal::StopSignal() {
  // Without the pipe the flag still works; a wait then ends with its next event.
  if (wake_pipe[0] < 0 && pipe2(wake_pipe, O_CLOEXEC | O_NONBLOCK) != 0) wake_pipe[0] = -1;
  struct sigaction action {};
  action.sa_handler = NoteStop;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

bool StopSignal::Requested() const { return requested != 0; }

int StopSignal::Fd() const { return wake_pipe[0]; }

}  // namespace vmr::tool
