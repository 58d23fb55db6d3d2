// max_rss DATA_KIB PROGRAM ARGUMENT...: runs the program, its standard output thrown away, and
// prints the most memory that it had at once, in KiB. It gets DATA_KIB at most for what it
// allocates, which is the same in every run where what of libraries is in memory is not; 0: as
// much as it wants. A program of its own and a small one: what starts another counts towards
// that one's memory.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

extern char** environ;

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  rlimit own{};
  if (getrlimit(RLIMIT_DATA, &own) != 0) return 2;
  rlimit given = own;
  if (const long kib = std::strtol(argv[1], nullptr, 10); kib > 0)
    given.rlim_cur = static_cast<rlim_t>(kib) * 1024;
  posix_spawn_file_actions_t actions;
  pid_t process = 0;
  if (posix_spawn_file_actions_init(&actions) != 0 ||
      posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0) != 0 ||
      setrlimit(RLIMIT_DATA, &given) != 0 ||
      posix_spawn(&process, argv[2], &actions, nullptr, argv + 2, environ) != 0 ||
      setrlimit(RLIMIT_DATA, &own) != 0)
    return 2;
  int status = 0;
  rusage usage{};
  if (wait4(process, &status, 0, &usage) != process || !WIFEXITED(status)) return 2;
  std::printf("%ld\n", usage.ru_maxrss);
  return WEXITSTATUS(status);
}
