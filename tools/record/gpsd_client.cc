#include "tools/record/gpsd_client.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>
#include <vector>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/numbers.h"
#include "tools/record/libgps.h"

namespace vmr::tool {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstDelay(500);
constexpr milliseconds kLongestDelay(30000);
constexpr milliseconds kTimeToEnd(1000);
constexpr int kWait_us = 250000;  // for a report, before looking whether to end
constexpr auto kHalfLinePause = std::chrono::milliseconds(50);
constexpr std::size_t kMessageBytes = 64 * 1024;
constexpr std::size_t kLongestRelease = 64;

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
  Libgps libgps;
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
  bool PassReports(gps_data_t& gps);
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
  auto gps = std::make_unique<gps_data_t>();  // too large for a thread's stack
  if (libgps.open(address.host.c_str(), address.port.c_str(), gps.get()) != 0)
    return Complain(fmt::format("cannot connect ({})", libgps.errstr(errno)));
  static_cast<void>(libgps.stream(gps.get(), WATCH_ENABLE | WATCH_JSON, nullptr));
  if (!PassReports(*gps) && !Stopping()) Complain("the connection ended");
  static_cast<void>(libgps.close(gps.get()));
}

// Until the connection or the client ends. False when it was the connection.
bool GpsdClient::State::PassReports(gps_data_t& gps) {
  std::vector<char> message(kMessageBytes);
  while (!Stopping()) {
    if (!libgps.waiting(&gps, kWait_us)) continue;
    message[0] = '\0';
    if (libgps.read(&gps, message.data(), static_cast<int>(message.size())) < 0) return false;
    std::string line(message.data());
    line.erase(line.find_last_not_of("\r\n") + 1);
    if (line.empty()) {
      // Half a line is waiting: gps_waiting says so at once, and ever again.
      std::this_thread::sleep_for(kHalfLinePause);
      continue;
    }
    Note(line);
    line += '\n';
    if (!WriteWhole(write_end, line.data(), line.size())) return true;
  }
  return true;
}

// A server that greets and hangs up is not well. One that reports is.
void GpsdClient::State::Note(const std::string& line) {
  const GpsdLine kind = KindOf(line);
  if (!kind.greeting) delay = kFirstDelay;
  if (!kind.release.empty())
    Say(fmt::format("gpsd {}: connected to gpsd {}", address.Text(), kind.release));
}

GpsdClient::GpsdClient(const GpsdAddress& address, const Libgps& libgps)
    : state_(std::make_shared<State>()) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  read_end_ = ends[0];
  state_->address = address;
  state_->libgps = libgps;
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
