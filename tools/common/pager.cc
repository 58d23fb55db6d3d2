#include "tools/common/pager.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

namespace vmr::tool {
namespace {

bool IsInstalled(const std::string& program) {
  const char* const path = std::getenv("PATH");
  std::istringstream folders(path == nullptr ? "/usr/bin:/bin" : path);
  for (std::string folder; std::getline(folders, folder, ':');)
    if (access(folder.append("/").append(program).c_str(), X_OK) == 0) return true;
  return false;
}

// Empty: none.
std::string PagerCommand() {
  const char* const chosen = std::getenv("PAGER");
  if (chosen != nullptr) return std::string_view(chosen) == "cat" ? "" : chosen;
  return IsInstalled("less") ? "less -FRX" : "";
}

}  // namespace

bool WantsColours() {
  const char* const no_color = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || *no_color == '\0') &&
         terminal != nullptr && std::string_view(terminal) != "dumb";
}

Pager::Pager(bool wanted) {
  const std::string command = wanted && isatty(STDOUT_FILENO) == 1 ? PagerCommand() : "";
  int ends[2];
  if (command.empty() || pipe2(ends, O_CLOEXEC) != 0) return;
  process_ = fork();
  if (process_ == 0) {
    dup2(ends[0], STDIN_FILENO);
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  if (process_ > 0) {
    signal(SIGINT, SIG_IGN);  // the pager's to understand
    dup2(ends[1], STDOUT_FILENO);
    // What is to be said would be lost behind the pages.
    if (isatty(STDERR_FILENO) == 1) dup2(ends[1], STDERR_FILENO);
  }
  close(ends[0]);
  close(ends[1]);
}

Pager::~Pager() {
  if (process_ <= 0) return;
  close(STDOUT_FILENO);
  close(STDERR_FILENO);
  while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) continue;
}

}  // namespace vmr::tool
