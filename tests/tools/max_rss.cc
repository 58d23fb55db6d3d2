// max_rss PROGRAM ARGUMENT...: runs the program, its standard output thrown away, and prints
// the most memory that it had at once, in KiB. A program of its own and a small one: what
// starts another counts towards that one's memory.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdio>

extern char** environ;

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  posix_spawn_file_actions_t actions;
  pid_t process = 0;
  if (posix_spawn_file_actions_init(&actions) != 0 ||
      posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0) != 0 ||
      posix_spawn(&process, argv[1], &actions, nullptr, argv + 1, environ) != 0)
    return 2;
  int status = 0;
  rusage usage{};
  if (wait4(process, &status, 0, &usage) != process || !WIFEXITED(status)) return 2;
  std::printf("%ld\n", usage.ru_maxrss);
  return WEXITSTATUS(status);
}
