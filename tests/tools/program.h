// Runs the real program in a fresh folder.
#ifndef VMR_TESTS_TOOLS_PROGRAM_H_
#define VMR_TESTS_TOOLS_PROGRAM_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace vmr::test {

struct Finished {
  int exit_code = -1;  // -1: ended by a signal
  std::string out;
  std::string err;
};

using Arguments = std::vector<std::string>;

enum class Privileges {
  kAsTheTest,
  kNoneOverFiles,  // the modes of files count, for root too
};

// A program under way: its standard input is a pipe, its output goes to files
// of the folder it runs in.
class RunningProgram {
 public:
  RunningProgram(const std::string& folder, const Arguments& arguments,
                 Privileges privileges = Privileges::kAsTheTest);
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  void Write(const std::string& text) const;
  void Signal(int signal) const;
  pid_t Process() const { return process_; }
  // Waits until the program has said `text` on standard error; false after two
  // minutes.
  bool WaitForMessage(const std::string& text) const;
  // Ends its standard input and waits for it.
  Finished Finish();

 private:
  std::string folder_;
  pid_t process_ = -1;
  int input_ = -1;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);

// Every test has a folder of its own with room for a few stores, deleted
// afterwards.
class ProgramTest : public testing::Test {
 protected:
  ProgramTest();
  ~ProgramTest() override;

  std::string Path(const std::string& name) const { return folder + "/" + name; }
  Finished Run(const Arguments& arguments, const std::string& input = "") const;
  Finished RunUnprivileged(const Arguments& arguments) const;
  // Records lines with --replay into the store "s"; it has to succeed.
  Finished Replay(const std::string& lines) const;
  // All items of a listing of the store "s", without times and without the
  // configuration that every run begins with.
  std::vector<std::string> Items() const;
  std::string View(const Arguments& more = {}) const;

  std::string folder;
};

// The items "[Tag=...]" of a listing, in order.
std::vector<std::string> ItemsOf(const std::string& listing);

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_PROGRAM_H_
