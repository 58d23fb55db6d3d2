#include "tests/processes/recorder_process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstring>
#include <type_traits>

#include "backends/data_store_normal.h"
#include "host/file_ops.h"
#include "tests/processes/numbered_packets.h"

namespace vmr::processes {
namespace {

enum ExitCode { kCannotOpen = 10, kRefused, kPipeBroken };

// The kill takes the copy command along, as a loss of power would.
[[noreturn]] void KillOwnGroup() {
  kill(0, SIGKILL);
  for (;;) pause();
}

// The real operations, until the one at which the process ends.
class OperationsUntilKilled final : public FileOps {
 public:
  explicit OperationsUntilKilled(const KillPlan& plan) : plan_(plan) {}

  int Open(const char* path, int flags, mode_t mode) override {
    return At([&] { return real_.Open(path, flags, mode); });
  }
  ssize_t Read(int fd, void* buffer, std::size_t count) override {
    return At([&] { return real_.Read(fd, buffer, count); });
  }
  ssize_t Write(int fd, const void* data, std::size_t count) override {
    return At([&] { return real_.Write(fd, data, count); });
  }
  off_t Lseek(int fd, off_t offset, int whence) override {
    return At([&] { return real_.Lseek(fd, offset, whence); });
  }
  int Fsync(int fd) override {
    return At([&] { return real_.Fsync(fd); });
  }
  int Close(int fd) override {
    return At([&] { return real_.Close(fd); });
  }
  int Stat(const char* path, struct stat* status) override {
    return At([&] { return real_.Stat(path, status); });
  }
  int Chmod(const char* path, mode_t mode) override {
    return At([&] { return real_.Chmod(path, mode); });
  }
  int Rename(const char* from, const char* to) override {
    return At([&] { return real_.Rename(from, to); });
  }
  int Unlink(const char* path) override {
    return At([&] { return real_.Unlink(path); });
  }
  int Remove(const char* path) override {
    return At([&] { return real_.Remove(path); });
  }
  int System(const char* command) override {
    return At([&] { return real_.System(command); });
  }
  int Usleep(unsigned int microseconds) override {
    return At([&] { return real_.Usleep(microseconds); });
  }

 private:
  template <typename Call>
  std::invoke_result_t<Call> At(const Call& call) {
    const bool here = count_++ == plan_.count;
    if (here && plan_.when == KillAt::kBeforeOperation) KillOwnGroup();
    const auto result = call();
    if (here && plan_.when == KillAt::kAfterOperation) KillOwnGroup();
    return result;
  }

  FileOps& real_ = FileOps::Current();
  const KillPlan plan_;
  long count_ = 0;
};

void Acknowledge(int pipe, std::uint32_t number) {
  if (write(pipe, &number, sizeof(number)) != sizeof(number)) _exit(kPipeBroken);
}

[[noreturn]] void Record(const std::string& base, std::uint32_t next, int pipe,
                         const KillPlan& plan) {
  OperationsUntilKilled operations(plan);
  FileOps::Use(&operations);
  DataStoreNormal store(base);
  if (store.Open() == 0) _exit(kCannotOpen);
  Acknowledge(pipe, next - 1);  // it is open, with all that came before
  for (std::uint32_t number = next;; ++number) {
    const Bytes packet = NumberedPacket(number);
    if (store.WriteData(packet.data(), static_cast<int>(packet.size()), number) != 1)
      _exit(kRefused);
    Acknowledge(pipe, number);
  }
}

void Sleep(long microseconds) {
  timespec left{microseconds / 1000000, microseconds % 1000000 * 1000};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

// Reads acknowledgements and kills when it is time. The pipe ends when nobody is
// left who could touch the files.
class Watch {
 public:
  Watch(pid_t process, int pipe, const KillPlan& plan) : process_(process), pipe_(pipe) {
    if (plan.when == KillAt::kMicroseconds) {
      Sleep(plan.count);
      Kill();
    }
    const bool counts = plan.when == KillAt::kAcknowledgements;
    for (long seen = 0; ReadOne(); ++seen)
      if (counts && seen == plan.count) Kill();
  }

  Killed Result() const { return result_; }

 private:
  void Kill() const { kill(-process_, SIGKILL); }

  bool ReadOne() {
    std::uint32_t number = 0;
    ssize_t count;
    do {
      count = read(pipe_, &number, sizeof(number));
    } while (count < 0 && errno == EINTR);
    if (count != sizeof(number)) return false;
    result_.opened = true;
    result_.acknowledged = number;
    return true;
  }

  const pid_t process_;
  const int pipe_;
  Killed result_;
};

// How it ended, "" when it was killed.
std::string WaitFor(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0)
    if (errno != EINTR) return std::strerror(errno);
  if (WIFEXITED(status))
    return "the recorder ended by itself with " + std::to_string(WEXITSTATUS(status));
  if (WTERMSIG(status) == SIGKILL) return "";
  return "the recorder ended by signal " + std::to_string(WTERMSIG(status));
}

}  // namespace

std::string Describe(const KillPlan& plan) {
  static const char* const kTexts[] = {"before file operation ", "after file operation ",
                                       "at acknowledgement ", "after microseconds: "};
  return kTexts[static_cast<int>(plan.when)] + std::to_string(plan.count);
}

Killed RecordUntilKilled(const std::string& base, std::uint32_t next, const KillPlan& plan) {
  Killed failed;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    failed.wrong = std::strerror(errno);
    return failed;
  }
  const pid_t process = fork();
  if (process == 0) {
    setpgid(0, 0);
    close(ends[0]);
    fcntl(ends[1], F_SETFD, 0);  // the copy command has it too: the pipe ends with the last
    Record(base, next, ends[1], plan);
  }
  close(ends[1]);
  if (process < 0) {
    failed.wrong = std::strerror(errno);
    close(ends[0]);
    return failed;
  }
  setpgid(process, process);  // whoever comes first
  Killed result = Watch(process, ends[0], plan).Result();
  close(ends[0]);
  result.wrong = WaitFor(process);
  return result;
}

}  // namespace vmr::processes
