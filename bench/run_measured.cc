// Runs a command and says what it took, without what a larger program that started it
// would add: a child begins with the memory of its parent counted as its own.
//
//   run_measured OUT COMMAND [ARGUMENT...]
//
// Appends a line of JSON to the file OUT: exit code, seconds by the clock, of the
// processor in user and system mode, most memory in KiB. Ends with the command's code.
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace {

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

double Now_s() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fputs("usage: run_measured OUT COMMAND [ARGUMENT...]\n", stderr);
    return 2;
  }
  const double start = Now_s();
  const pid_t child = fork();
  if (child == 0) {
    execvp(argv[2], argv + 2);
    std::perror(argv[2]);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return std::perror("wait4"), 1;
  const double wall_s = Now_s() - start;
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::FILE* const out = std::fopen(argv[1], "a");
  if (out == nullptr) return std::perror(argv[1]), 1;
  std::fprintf(out,
               "{\"code\": %d, \"wall_s\": %.6f, \"user_s\": %.6f, \"system_s\": %.6f, "
               "\"most_kib\": %ld}\n",
               code, wall_s, Seconds(usage.ru_utime), Seconds(usage.ru_stime), usage.ru_maxrss);
  return std::fclose(out) == 0 ? code : 1;
}
