#include "tools/lake/parquet_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/lake/ending.h"
#include "tools/read/columns.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr const char* kScript = "write_parquet.mjs";
constexpr const char* kWhatToDo =
    "`scripts/setup --lake` in the source tree installs what it needs, and `npm ci` beside an "
    "installed one";
constexpr int kLongestAnswer_ms = 600000;
constexpr std::size_t kMostAnswerBytes = 1024 * 1024;

// ---- Finding it ------------------------------------------------------------------

std::string InQuotes(const std::string& path) {
  std::string quoted = "'";
  for (const char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// Installed beside the program, or in a folder above it as in the tree that it was built in.
fs::path FindScript() {
  std::error_code error;
  fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
  fs::path installed = folder.parent_path() / "share/vmr/lake" / kScript;
  if (fs::exists(installed, error)) return installed;
  for (; folder.has_relative_path(); folder = folder.parent_path())
    if (fs::exists(folder / "tools/lake" / kScript, error)) return folder / "tools/lake" / kScript;
  return {};
}

// Empty: there is none.
std::string WriterCommand() {
  const char* const asked = std::getenv("VMR_LAKE_WRITER");
  if (asked != nullptr && *asked != 0) return asked;
  const fs::path script = FindScript();
  return script.empty() ? "" : "exec node " + InQuotes(script);
}

// ---- In the new process ----------------------------------------------------------

// What is its own is in order; only calls that may stand behind a fork.
[[noreturn]] void BecomeWriter(int in, int out, const char* folder, const char* command,
                               pid_t parent) {
  constexpr int kCannotBeRun = 127;
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) signal(number, SIG_DFL);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const bool ready = getppid() == parent && dup2(in, STDIN_FILENO) >= 0 &&
                     dup2(out, STDOUT_FILENO) >= 0 && chdir(folder) == 0;
  if (ready) execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
  _exit(kCannotBeRun);
}

// ---- The protocol ----------------------------------------------------------------

const char* NameOf(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return "boolean";
    case ColumnType::kInteger:
      return "integer";
    case ColumnType::kLongInteger:
      return "long";
    case ColumnType::kDegrees:
      return "degrees";
    case ColumnType::kTimestamp:
      return "timestamp";
    case ColumnType::kWord:
      return "word";
    default:
      return "text";
  }
}

std::string CommandLine(const ParquetWriter::Work& work) {
  const Json constants = {{"unit", work.unit}, {"recording", work.recording}};
  Json columns = Json::array();
  for (const Column& column : LakeColumns(work.table))
    if (!constants.contains(column.name))
      columns.push_back({{"name", column.name}, {"type", NameOf(column.type)}});
  const Json metadata = {{"kind", work.table},
                         {"schema_version", std::to_string(kSchemaVersion)},
                         {"tool_version", VMR_VERSION}};
  const Json command = {{"rows", work.rows},
                        {"parquet", work.parquet},
                        {"metadata", metadata},
                        {"constants", constants},
                        {"columns", columns}};
  return command.dump() + "\n";
}

std::string TextIn(const Json& answer, const char* name) {
  const auto found = answer.find(name);
  return found != answer.end() && found->is_string() ? found->get<std::string>() : "no reason told";
}

bool IsTrue(const Json& answer, const char* name) {
  const auto found = answer.is_object() ? answer.find(name) : answer.end();
  return found != answer.end() && found->is_boolean() && found->get<bool>();
}

// It begins and ends as such files do; the end is written last.
bool IsWhole(const std::string& path) {
  constexpr std::string_view kMagic = "PAR1";
  std::ifstream file(path, std::ios::binary);
  std::array<char, kMagic.size()> first{}, last{};
  file.read(first.data(), first.size());
  file.seekg(-static_cast<std::streamoff>(last.size()), std::ios::end);
  file.read(last.data(), last.size());
  return file && std::equal(first.begin(), first.end(), kMagic.begin()) && first == last;
}

}  // namespace

ParquetWriter::~ParquetWriter() { End(); }

bool ParquetWriter::Write(const Work& work) {
  if (process_ < 0 && !Start()) return false;
  std::string line;
  return Send(CommandLine(work)) && Receive(line) && IsDone(line, work.count) &&
         (IsWhole(folder_ + "/" + work.parquet) ||
          Fail("the file it made is no whole Parquet file"));
}

bool ParquetWriter::Start() {
  if (hopeless_) return false;
  hopeless_ = true;  // unless it answers
  const std::string command = WriterCommand();
  if (command.empty())
    return Fail(
        fmt::format("{} is neither installed nor in a source tree; {}", kScript, kWhatToDo));
  std::string line;
  if (!Spawn(command) || !Receive(line) || !IsReady(line)) return false;
  hopeless_ = false;
  return true;
}

bool ParquetWriter::Spawn(const std::string& command) {
  int to[2], from[2];  // a socket, as writing to it raises no signal
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, to) != 0) return Fail(TextOfErrno());
  if (pipe2(from, O_CLOEXEC) != 0) {
    const int error = errno;
    for (const int fd : to) static_cast<void>(CloseFile(fd));
    return Fail(TextOfErrno(error));
  }
  // One worker is enough: the tables come one by one.
  setenv("UV_THREADPOOL_SIZE", "1", 0);
  const pid_t parent = getpid();
  received_.clear();
  process_ = fork();
  if (process_ == 0) BecomeWriter(to[1], from[1], folder_.c_str(), command.c_str(), parent);
  const int error = errno;
  static_cast<void>(CloseFile(to[1]));
  static_cast<void>(CloseFile(from[1]));
  to_ = to[0];
  from_ = from[0];
  return process_ > 0 || Fail(TextOfErrno(error));
}

// Its input's end ends it; one that does not listen is ended by force.
void ParquetWriter::End() {
  for (int* const fd : {&to_, &from_})
    if (*fd >= 0) static_cast<void>(CloseFile(std::exchange(*fd, -1)));
  const pid_t process = std::exchange(process_, -1);
  if (process <= 0) return;
  constexpr int kLooks = 100;
  constexpr unsigned int kBetweenLooks_us = 10000;
  for (int look = 0; look < kLooks; ++look) {
    if (waitpid(process, nullptr, WNOHANG) != 0) return;
    usleep(kBetweenLooks_us);
  }
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
}

bool ParquetWriter::Send(const std::string& line) {
  for (std::size_t at = 0; at < line.size();) {
    const ssize_t sent = send(to_, line.data() + at, line.size() - at, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR && !PutOffEnding::IsDue()) continue;
    if (sent < 0) return Fail(fmt::format("it takes no more work: {}", TextOfErrno()));
    at += static_cast<std::size_t>(sent);
  }
  return true;
}

bool ParquetWriter::Receive(std::string& line) {
  constexpr std::size_t kChunk = 4096;
  for (std::size_t end; (end = received_.find('\n')) == received_.npos;) {
    pollfd waits{from_, POLLIN, 0};
    const int there = poll(&waits, 1, kLongestAnswer_ms);
    if (there < 0 && errno == EINTR && !PutOffEnding::IsDue()) continue;
    if (there == 0) return Fail("it does not answer");
    char chunk[kChunk];
    const ssize_t count = there < 0 ? -1 : read(from_, chunk, kChunk);
    if (count < 0 && there >= 0 && errno == EINTR && !PutOffEnding::IsDue()) continue;
    if (count <= 0)
      return Fail(hopeless_ ? fmt::format("it cannot be started; {}", kWhatToDo)
                            : "it ended in the middle of its work; what it says stands above");
    received_.append(chunk, static_cast<std::size_t>(count));
    if (received_.size() > kMostAnswerBytes) return Fail("its answer has no end");
  }
  const std::size_t end = received_.find('\n');
  line = received_.substr(0, end);
  received_.erase(0, end + 1);
  return true;
}

bool ParquetWriter::IsReady(const std::string& line) {
  const Json answer = Json::parse(line, nullptr, false);
  if (IsTrue(answer, "ready")) return true;
  if (!answer.is_object())
    return Fail("it answers what is no JSON: " + Printable(line.substr(0, 80)));
  return Fail(fmt::format("{}; {}", Printable(TextIn(answer, "error")), kWhatToDo));
}

bool ParquetWriter::IsDone(const std::string& line, std::uint64_t count) {
  const Json answer = Json::parse(line, nullptr, false);
  if (!answer.is_object())
    return Fail("it answers what is no JSON: " + Printable(line.substr(0, 80)));
  if (!IsTrue(answer, "ok")) return Fail(Printable(TextIn(answer, "error")));
  const auto rows = answer.find("rows");
  if (rows != answer.end() && rows->is_number_unsigned() && *rows == count) return true;
  return Fail(fmt::format("it says that it wrote another number of rows than {}", count));
}

// Whatever it answers from now on is of no use.
bool ParquetWriter::Fail(const std::string& what) {
  error_ = "the writer of Parquet files: " + what;
  if (!PutOffEnding::IsDue()) Say(error_);
  End();
  return false;
}

}  // namespace vmr::tool
