#include "tools/lake/ending.h"

#include <signal.h>

namespace vmr::tool {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile sig_atomic_t due = 0;

void Note(int signal_number) { due = signal_number; }

void Handle(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  for (const int number : kEndingSignals) {
    struct sigaction before {};
    const bool ignored = sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
    if (!ignored) sigaction(number, &action, nullptr);
  }
}

}  // namespace

PutOffEnding::PutOffEnding() {
  due = 0;
  Handle(Note);
  signal(SIGPIPE, SIG_IGN);
}

PutOffEnding::~PutOffEnding() {
  Handle(SIG_DFL);
  if (due != 0) raise(due);
}

bool PutOffEnding::IsDue() { return due != 0; }

}  // namespace vmr::tool
