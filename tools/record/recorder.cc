#include "tools/record/recorder.h"

#include <fmt/format.h>
#include <unistd.h>

#include "backends/cluster_format.h"
#include "host/default/host_control.h"
#include "tools/common/console.h"
#include "tools/common/ring_opening.h"
#include "tools/common/store_path.h"

namespace vmr::tool {
namespace {

// Between two ticks a store holds 16 x 255 item bytes and drops what comes on
// top. A tick may add a dump of the whole state, of 2100 bytes at most; a
// single report larger than this fits beside it too.
constexpr unsigned int kMostPendingBytes = 1000;
constexpr unsigned int kMostGpsReportBytes = 2 + (2 + 10) + (2 + 3);  // state, position, speed
constexpr unsigned int kMostShutdownBytes = 100;

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

unsigned int MostBytes(const Report& report) {
  const auto* event = std::get_if<Event>(&report.content);
  return event == nullptr ? kMostGpsReportBytes : event->kind->most_bytes;
}

}  // namespace

int WatchedStore::WriteData(const unsigned char* data, int length, unsigned int sysTick) {
  const int taken = DataStoreNormal::WriteData(data, length, sysTick);
  alarm_.Note(LastPacketStored(), GetCurrentSystemTick(), PacketsNotStored());
  return taken;
}

bool Recorder::Open(bool begin_anew) {
  if (!lock_.Before(base_)) return false;
  if (IsOfTwoRecordings(base_)) {
    SayTwoRecordings(base_, RingFileName(base_, 1), RingFileName(base_, 2));
    return false;
  }
  const bool keeps_history = !WouldBeginAnew(base_);
  if (!keeps_history && !begin_anew) return RefuseToBeginAnew();
  if (!begin_anew && WouldResumeAtTheBeginning(base_)) return RefuseToResumeAtTheBeginning();
  if (store_.Open() == 0) {
    Say(fmt::format("{}: the store could not be opened", base_));
    return false;
  }
  files_.Start();
  if (!lock_.After(base_)) return false;
  if (!keeps_history)
    Say(fmt::format("{0}: begins anew; `vmr check {0}` names what was set aside", base_));
  last_tick_ = store_.GetCurrentSystemTick();
  if (last_tick_ >= kLastInputTick) {
    Say(fmt::format("{}: its last tick is {}, there are none after {}", base_, last_tick_,
                    kLastInputTick));
    return false;
  }
  first_tick_ = last_tick_ + 1;
  return true;
}

bool Recorder::RefuseToBeginAnew() const {
  Say(
      fmt::format("{}: the recording's end is found in no file that is there; recording would set "
                  "what they hold aside, or remove it, and begin anew",
                  base_));
  const std::string first = RingFileName(base_, 1);
  const std::string aside = first + kSetAsideEnding;
  if (Exists(first) && Exists(aside))
    Say(fmt::format("{}: is of an earlier time, and would be replaced", aside));
  Say(
      fmt::format("{0}: mend it with `vmr scrub {0}`, or save what can be read with `vmr recover "
                  "{0} OUT`; --begin-anew records all the same",
                  base_));
  return false;
}

bool Recorder::RefuseToResumeAtTheBeginning() const {
  Say(
      fmt::format("{0}: {1} is missing; recording would go on at the beginning of {2}, over what "
                  "it holds; `vmr scrub {0}` builds {1} anew, --begin-anew records all the same",
                  base_, RingFileName(base_, 1), RingFileName(base_, 2)));
  return false;
}

void Recorder::StartAt(unsigned int first_tick) {
  first_tick_ = first_tick;
  store_.InitCurrentSystemTick(first_tick);
}

void Recorder::Begin(unsigned int first_tick) {
  if (last_tick_ != 0) {
    host::SetPriorShutdownTick(last_tick_);
    store_.ReportShutdownDataAtStartup();
  }
  StartAt(first_tick);
  ReportAll(configuration_, store_);
  // Too much for anything to be added: the first event or tick flushes it, by
  // then at the tick where the input starts.
  static_assert(kMostConfigurationBytes > kMostPendingBytes);
  pending_bytes_ = kMostConfigurationBytes;
}

void Recorder::Record(const Report& report, unsigned int tick) {
  MakeRoom(MostBytes(report));
  if (const auto* gps = std::get_if<GpsReport>(&report.content)) {
    gps_.Follow(store_, *gps, report.stamp, tick);
  } else {
    const Event& event = std::get<Event>(report.content);
    event.action(store_, tick);
    ++events_;
    if (event.kind->ends_packet) Flush();
  }
}

void Recorder::MakeRoom(unsigned int bytes) {
  if (pending_bytes_ + bytes > kMostPendingBytes) Flush();
  pending_bytes_ += bytes;
}

void Recorder::Flush() {
  store_.WriteBuffers();
  pending_bytes_ = 0;
}

void Recorder::TimerTick(unsigned int tick) {
  if (pending_bytes_ > kMostPendingBytes) Flush();
  store_.TimerTick(tick);
  files_.Tick();
  if (!store_.HasPendingItems()) pending_bytes_ = 0;
}

void Recorder::Close() {
  MakeRoom(kMostShutdownBytes);
  store_.ReportShutdownData();
  store_.Close();
}

}  // namespace vmr::tool
