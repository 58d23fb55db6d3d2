#include "tests/tools/program.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace vmr::test {
namespace {

// Stores are large; memory is where they cost least, if there is enough.
std::string RoomyFolder() {
  constexpr unsigned long kNeededBytes = 1UL << 30;
  struct statvfs space {};
  const bool roomy = statvfs("/dev/shm", &space) == 0 && access("/dev/shm", W_OK) == 0 &&
                     space.f_bavail * space.f_frsize >= kNeededBytes;
  if (roomy) return "/dev/shm";
  const char* const temporary = getenv("TMPDIR");
  return temporary != nullptr ? temporary : "/tmp";
}

// The next program that this process becomes has none. A user who is not root may
// not give up what he has not.
void GiveUpPrivilegesOverFiles() {
  constexpr unsigned long kPrivileges[] = {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH};
  for (const unsigned long privilege : kPrivileges)
    static_cast<void>(prctl(PR_CAPBSET_DROP, privilege, 0UL, 0UL, 0UL));
}

[[noreturn]] void BecomeProgram(const std::string& folder, const Arguments& arguments, int input) {
  std::vector<char*> argv = {const_cast<char*>("vmr")};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  constexpr int kOutput = O_WRONLY | O_CREAT | O_TRUNC;
  setenv("TZ", "UTC", 1);
  setenv("VMR_LOG", "3", 1);  // errors only: a new store is announced as a warning
  if (chdir(folder.c_str()) == 0 && dup2(input, 0) == 0 &&
      dup2(open("out", kOutput, 0600), 1) == 1 && dup2(open("err", kOutput, 0600), 2) == 2)
    execv(VMR_PROGRAM, argv.data());
  _exit(127);
}

}  // namespace

RunningProgram::RunningProgram(const std::string& folder, const Arguments& arguments,
                               Privileges privileges)
    : folder_(folder) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  signal(SIGPIPE, SIG_IGN);
  WriteFile(folder_ + "/err", "");
  process_ = fork();
  if (process_ == 0) {
    signal(SIGPIPE, SIG_DFL);
    if (privileges == Privileges::kNoneOverFiles) GiveUpPrivilegesOverFiles();
    BecomeProgram(folder, arguments, ends[0]);
  }
  close(ends[0]);
  input_ = ends[1];
}

RunningProgram::~RunningProgram() {
  if (input_ >= 0) close(input_);
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
}

void RunningProgram::Write(const std::string& text) const {
  // A program that refuses its command line does not read.
  static_cast<void>(!write(input_, text.data(), text.size()));
}

void RunningProgram::Signal(int signal) const { kill(process_, signal); }

bool RunningProgram::WaitForMessage(const std::string& text) const {
  using namespace std::chrono;
  for (const auto end = steady_clock::now() + seconds(120); steady_clock::now() < end;) {
    if (ReadFile(folder_ + "/err").find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(milliseconds(10));
  }
  return false;
}

Finished RunningProgram::Finish() {
  close(input_);
  input_ = -1;
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(folder_ + "/out"),
          ReadFile(folder_ + "/err")};
}

std::string ReadFile(const std::string& path) {
  // In large pieces: a ring's file has 128 MiB.
  std::string text;
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return text;
  for (std::size_t used = 0;;) {
    struct stat status {};
    const bool known = fstat(fd, &status) == 0 && static_cast<std::size_t>(status.st_size) > used;
    text.resize(known ? static_cast<std::size_t>(status.st_size) + 1 : used + 4096);
    const ssize_t count = read(fd, text.data() + used, text.size() - used);
    used += count > 0 ? static_cast<std::size_t>(count) : 0;
    text.resize(used);
    if (count <= 0) break;
  }
  close(fd);
  return text;
}

void WriteFile(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

ProgramTest::ProgramTest() : folder(RoomyFolder() + "/vmr_test_XXXXXX") {
  if (mkdtemp(folder.data()) == nullptr) ADD_FAILURE() << "no folder " << folder;
}

ProgramTest::~ProgramTest() {
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  EXPECT_FALSE(error) << error.message();
}

Finished ProgramTest::Run(const Arguments& arguments, const std::string& input) const {
  RunningProgram program(folder, arguments);
  program.Write(input);
  return program.Finish();
}

Finished ProgramTest::RunUnprivileged(const Arguments& arguments) const {
  return RunningProgram(folder, arguments, Privileges::kNoneOverFiles).Finish();
}

Finished ProgramTest::Replay(const std::string& lines) const {
  WriteFile(Path("input"), lines);
  Finished finished = Run({"record", "s", "--replay", "--input", "input"});
  EXPECT_EQ(finished.exit_code, 0) << finished.err;
  return finished;
}

std::string ProgramTest::View(const Arguments& more) const {
  Arguments arguments = {"view", "--listing", "s"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const Finished finished = Run(arguments);
  EXPECT_EQ(finished.exit_code, 0) << finished.err;
  return finished.out;
}

std::vector<std::string> ProgramTest::Items() const {
  std::vector<std::string> items;
  bool configuration = false;
  for (const std::string& item : ItemsOf(View())) {
    const auto begins = [&item](const char* text) { return item.rfind(text, 0) == 0; };
    configuration = configuration || begins("[Tag=RadarDesc");
    if (!configuration && !begins("[Tag=time")) items.push_back(item);
    if (begins("[Tag=end")) configuration = false;
  }
  return items;
}

std::vector<std::string> ItemsOf(const std::string& listing) {
  std::vector<std::string> items;
  std::size_t end = 0;
  for (std::size_t at = 0; (at = listing.find("[Tag=", end)) != listing.npos;) {
    end = listing.find(']', at);
    if (end == listing.npos) break;
    items.push_back(listing.substr(at, end + 1 - at));
  }
  return items;
}

}  // namespace vmr::test
