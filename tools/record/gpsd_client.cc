#include "tools/record/gpsd_client.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>
#include <thread>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/record/line_reader.h"

namespace vmr::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstDelay(500);
constexpr milliseconds kLongestDelay(30000);
constexpr milliseconds kTimeToEnd(1000);
constexpr int kWait_ms = 250;  // for a report, before looking whether to end
constexpr std::size_t kLongestRelease = 64;

// From then on the server reports, each report a line of JSON.
constexpr std::string_view kWatch = "?WATCH={\"enable\":true,\"json\":true};\n";

// A socket connected to the first of the host's addresses that answers. -1, and `reason`.
int ConnectTo(const GpsdAddress& address, std::string& reason) {
  addrinfo wanted{};
  wanted.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &wanted, &found);
  if (error != 0) {
    reason = error == EAI_SYSTEM ? TextOfErrno() : gai_strerror(error);
    return -1;
  }
  int fd = -1;
  for (const addrinfo* at = found; at != nullptr && fd < 0; at = at->ai_next) {
    fd = socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC, at->ai_protocol);
    if (fd >= 0 && connect(fd, at->ai_addr, at->ai_addrlen) == 0) break;
    reason = TextOfErrno();
    if (fd >= 0) static_cast<void>(close(fd));  // nothing was sent
    fd = -1;
  }
  freeaddrinfo(found);
  return fd;
}

// A server that hangs up is told by the next read.
void AskForReports(int fd) {
  static_cast<void>(send(fd, kWatch.data(), kWatch.size(), MSG_NOSIGNAL));
}

bool HasReport(int fd) {
  pollfd server = {fd, POLLIN, 0};
  return poll(&server, 1, kWait_ms) > 0;
}

}  // namespace

std::optional<GpsdAddress> ParseGpsdAddress(const std::string& text) {
  GpsdAddress address;
  std::string host = text;
  const std::size_t bracket = text.rfind(']');
  const std::size_t colon = text.rfind(':');
  if (colon != text.npos && (bracket == text.npos || colon > bracket)) {
    address.port = text.substr(colon + 1);
    host = text.substr(0, colon);
  }
  const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
  if (bracketed) host = host.substr(1, host.size() - 2);
  if (!host.empty()) address.host = host;
  const bool stray = !bracketed && host.find_first_of("[]: \t") != host.npos;
  if (stray || !ParsePort(address.port)) return std::nullopt;
  return address;
}

// What a line of the server tells about the connection.
struct GpsdLine {
  bool greeting = true;  // every server says it to every client
  std::string release;   // of gpsd, when the line names it
};

GpsdLine KindOf(const std::string& line) {
  static const std::set<std::string> kGreetings = {"VERSION", "DEVICES", "WATCH"};
  const auto report = nlohmann::json::parse(line, nullptr, false);
  if (!report.is_object()) return {};
  const auto text = [&report](const char* name) {
    const auto found = report.find(name);
    return found != report.end() && found->is_string() ? found->get<std::string>() : std::string();
  };
  const std::string report_class = text("class");
  const bool greeting = report_class.empty() || kGreetings.count(report_class) > 0;
  const std::string release = report_class == "VERSION" ? text("release") : "";
  return {greeting, Printable(release.substr(0, kLongestRelease))};
}

// Shared with the thread, which may outlive the client.
struct GpsdClient::State {
  GpsdAddress address;
  int write_end = -1;
  std::mutex mutex;
  std::condition_variable changed;
  bool stop = false;   // guarded by mutex
  bool ended = false;  // guarded by mutex
  milliseconds delay = kFirstDelay;

  ~State() {
    if (write_end >= 0) static_cast<void>(close(write_end));  // a pipe loses nothing by it
  }
  bool Stopping() {
    const std::lock_guard<std::mutex> lock(mutex);
    return stop;
  }
  // True when the client is to end.
  bool WaitBeforeRetry() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait_for(lock, delay, [this] { return stop; });
    delay = std::min(delay * 2, kLongestDelay);
    return stop;
  }
  void Complain(const std::string& reason) const {
    Say(fmt::format("gpsd {}: {}; trying again in {:.1f} s", address.Text(), reason,
                    static_cast<double>(delay.count()) / 1000));
  }
  void Run();
  void RunConnection();
  bool PassReports(LineReader& reports);
  bool PassOn(std::string_view report);
  void Note(const std::string& line);
};

void GpsdClient::State::Run() {
  do {
    RunConnection();
  } while (!WaitBeforeRetry());
  const std::lock_guard<std::mutex> lock(mutex);
  ended = true;
  changed.notify_all();
}

void GpsdClient::State::RunConnection() {
  std::string reason;
  const int fd = ConnectTo(address, reason);
  if (fd < 0) return Complain(fmt::format("cannot connect ({})", reason));
  LineReader reports(fd);
  AskForReports(fd);
  if (!PassReports(reports) && !Stopping()) Complain("the connection ended");
}

// Until the connection or the client ends. False when it was the connection.
bool GpsdClient::State::PassReports(LineReader& reports) {
  while (!Stopping()) {
    if (!HasReport(reports.Fd())) continue;
    // Of half a line at the end nothing is passed on.
    if (!reports.Read() || reports.AtEnd()) return false;
    std::string_view report;
    for (auto next = reports.Next(report); next != LineReader::Result::kNone;
         next = reports.Next(report)) {
      if (next == LineReader::Result::kTooLong)
        Say(fmt::format("gpsd {}: a line of more than {} bytes is left out", address.Text(),
                        kMaxLineBytes));
      else if (!PassOn(report))
        return true;
    }
  }
  return true;
}

// False when nobody takes it any more.
bool GpsdClient::State::PassOn(std::string_view report) {
  std::string line(report);
  line.erase(line.find_last_not_of("\r\n") + 1);
  if (line.empty()) return true;
  Note(line);
  line += '\n';
  return WriteWhole(write_end, line.data(), line.size());
}

// A server that greets and hangs up is not well. One that reports is.
void GpsdClient::State::Note(const std::string& line) {
  const GpsdLine kind = KindOf(line);
  if (!kind.greeting) delay = kFirstDelay;
  if (!kind.release.empty())
    Say(fmt::format("gpsd {}: connected to gpsd {}", address.Text(), kind.release));
}

GpsdClient::GpsdClient(const GpsdAddress& address) : state_(std::make_shared<State>()) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  read_end_ = ends[0];
  state_->address = address;
  state_->write_end = ends[1];
  std::thread([state = state_] { state->Run(); }).detach();
}

GpsdClient::~GpsdClient() {
  std::unique_lock<std::mutex> lock(state_->mutex);
  state_->stop = true;
  state_->changed.notify_all();
  state_->changed.wait_for(lock, kTimeToEnd, [this] { return state_->ended; });
}

}  // namespace vmr::tool
