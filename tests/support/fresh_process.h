// Runs code in a copy of this process, so that what it changes for good
// (environment, time zone, settings read once) stays there. A copy knows what
// this process already did: look at read-once settings from a test
// environment's SetUp, before any test has run.
#ifndef VMR_TESTS_SUPPORT_FRESH_PROCESS_H_
#define VMR_TESTS_SUPPORT_FRESH_PROCESS_H_

#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace vmr::test {

// What `action` returns in the copy; "failed" when the copy ended badly.
template <typename Action>
std::string InFreshProcess(Action action) {
  int ends[2];
  if (pipe(ends) != 0) return "failed";
  const pid_t child = fork();
  if (child == 0) {
    const std::string answer = action();
    const bool sent =
        write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size());
    _exit(sent ? 0 : 1);
  }
  close(ends[1]);
  std::string answer;
  char buffer[256];
  for (ssize_t count; (count = read(ends[0], buffer, sizeof(buffer))) > 0;)
    answer.append(buffer, static_cast<std::size_t>(count));
  close(ends[0]);
  int status = -1;
  const bool ended = child > 0 && waitpid(child, &status, 0) == child;
  return ended && status == 0 ? answer : "failed";
}

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_FRESH_PROCESS_H_
