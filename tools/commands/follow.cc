// `vmr follow`: prints what a recorder writes, as it comes.
#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "records/decoder.h"
#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/read/follow_cursor.h"
#include "tools/read/follow_source.h"
#include "tools/read/json_line.h"
#include "tools/read/opened_recording.h"
#include "tools/read/state_words.h"
#include "tools/record/stop_signal.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::Record;
using records::TimeQuality;
using Look = FollowSource::Look;

constexpr const char* kHelp = "Prints what a recorder writes to STORE, as it comes";

constexpr const char* kFooter =
    R"(STORE is the base path of a store or either of its two files; it may yet have to come.
Prints what is recorded from now on, a line for each record, about a second after it
was recorded, until SIGINT or SIGTERM. What a full state repeats is one line of text;
as JSON (jsonl) every record has its line, the same as of vmr export.

With --cursor-file the next run goes on exactly behind the last record that this one
printed: nothing twice, nothing lost, even if this one is killed. For that, standard
output must be the same file (>> FILE); lines that go to a pipe and were printed right
before a kill, less than a second, come again. A cursor of another recording is
refused. What was written over before it could be printed is a line of kind "gap".

Examples:
  vmr follow trips/car7
  vmr follow trips/car7 --from-start --kind input,bookmark
  vmr follow trips/car7 --format jsonl --cursor-file car7.cursor >> car7.jsonl

Exit codes: 0 ended by SIGINT or SIGTERM, 1 STORE or the cursor could not be used,
2 wrong usage, 3 the same as 0, but something of the recording was lost.)";

constexpr int kPause_ms = 500;

struct FollowOptions {
  ReadingOptions reading;
  std::string store;
  std::string cursor_file;
  bool from_start = false;
  std::string format;
};

// ---- Output ----------------------------------------------------------------------

// Standard output in whole lines. Lines that a run before has printed there, and did not come
// to note, are not printed again.
//
// Nobody may be reading them: a write that waits ends with the stop signal.
class FollowOutput {
 public:
  explicit FollowOutput(const StopSignal& stop) : stop_(stop) {}

  // To be called before the first line.
  void GoOnBehind(const OutputLength& length) {
    const auto now = Length();
    if (!now || now->device != length.device || now->inode != length.inode) return;
    ReadBehind(length.bytes);
  }
  void Line(std::string_view line) {
    const std::size_t common = std::min(line.size(), printed_.size());
    if (common > 0 && printed_.compare(0, common, line.substr(0, common)) == 0) {
      printed_.erase(0, common);
      line.remove_prefix(common);
    } else if (!printed_.empty()) {
      // Somebody else's lines.
      if (printed_.back() != '\n') Put("\n");
      printed_.clear();
    }
    Put(line);
  }
  // False when not all of it could be written: whoever reads has seen enough, it is to end,
  // or it has failed, and that was said.
  bool Flush() {
    while (!buffer_.empty() && !has_ended_) WriteSome();
    buffer_.clear();
    return !has_ended_;
  }
  bool HasEnded() const { return has_ended_; }
  bool HasFailed() const { return has_failed_; }
  int Finish(int exit_code) {
    Flush();
    return has_failed_ ? kExitFailure : exit_code;
  }
  // Nothing where it is no file.
  static std::optional<OutputLength> Length() {
    struct stat status {};
    if (fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return OutputLength{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size)};
  }

 private:
  void ReadBehind(std::uint64_t offset) {
    constexpr std::size_t kMostBytes = 64 * 1024 * 1024;
    const int fd = OpenFile("/proc/self/fd/1", O_RDONLY);
    if (!IsOpenDescriptor(fd)) return;
    char bytes[64 * 1024];
    const auto from = static_cast<off_t>(offset);
    for (ssize_t count = SeekFile(fd, from, SEEK_SET) == from ? 1 : 0;
         count > 0 && printed_.size() < kMostBytes;) {
      count = ReadFile(fd, bytes, sizeof(bytes));
      if (count > 0) printed_.append(bytes, static_cast<std::size_t>(count));
    }
    static_cast<void>(CloseFile(fd));  // nothing was written
  }

  void Put(std::string_view text) {
    constexpr std::size_t kEnough = 64 * 1024;
    buffer_.append(text);
    if (buffer_.size() >= kEnough) Flush();
  }
  // No more than a pipe that takes anything takes at once.
  void WriteSome() {
    pollfd ready[] = {{STDOUT_FILENO, POLLOUT, 0}, {stop_.Fd(), POLLIN, 0}};
    if (poll(ready, 2, -1) < 0) return;
    if (ready[0].revents == 0) {
      has_ended_ = ready[1].revents != 0;
      return;
    }
    const std::size_t some = std::min<std::size_t>(buffer_.size(), PIPE_BUF);
    const ssize_t written = WriteFile(STDOUT_FILENO, buffer_.data(), some);
    if (written >= 0) {
      buffer_.erase(0, static_cast<std::size_t>(written));
    } else if (errno != EAGAIN) {
      has_ended_ = true;
      has_failed_ = errno != EPIPE;
      if (has_failed_) Say(fmt::format("standard output: {}", TextOfErrno()));
    }
  }

  const StopSignal& stop_;
  std::string buffer_;
  std::string printed_;  // behind what was noted
  bool has_ended_ = false;
  bool has_failed_ = false;
};

// ---- Records ---------------------------------------------------------------------

class FollowSink final : public records::Sink {
 public:
  FollowSink(const FollowOptions& options, FollowOutput& out) : options_(options), out_(out) {}

  void OnRecord(const Record& record) override {
    if (record.crc_right) Note(record);
    if (is_muted || (!Kinds().empty() && Kinds().count(record.kind->id) == 0)) return;
    IsJson() ? PutJson(record) : PutText(record);
  }
  void OnGap(const records::Gap& found) override {
    if (is_muted) return;
    records::Gap gap = found;
    if (gap.from_tick == kNoTick) gap.from_tick = tick;
    if (gap.reason != records::GapReason::kOverwritten) ++gaps;
    if (IsJson()) return PutJson(gap);
    const auto end = [](unsigned int at) {
      return at == kNoTick ? std::string("unknown") : std::to_string(at);
    };
    PutLine(fmt::format("---- gap: {}; from tick {} to {} ----", TextOf(gap.reason),
                        end(gap.from_tick), end(gap.to_tick)));
  }
  void OnClockStep(const records::ClockStep& step) override {
    if (is_muted) return;
    if (IsJson()) return PutJson(step);
    PutLine(fmt::format("---- the unit's clock was set: from {} to {} ----",
                        LocalTimeText(step.expected_us), LocalTimeText(step.told_us)));
  }
  void OnNewRun(int run, unsigned int first) override {
    tick = first;
    if (!is_muted && !IsJson()) PutLine(fmt::format("---- ticks begin anew: run {} ----", run));
  }

  bool is_muted = false;
  unsigned long gaps = 0;
  unsigned int tick = kNoTick;  // the last one told
  std::string mac, serial_number;

 private:
  const std::set<KindId>& Kinds() const { return options_.reading.kinds; }
  bool IsJson() const { return options_.format == "jsonl"; }

  static std::string Hex(std::string_view bytes) {
    std::string digits;
    for (const char byte : bytes) digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    return digits;
  }

  // Whose recording it is, and how far it has come.
  void Note(const Record& record) {
    if (record.packet_tick != kNoTick) tick = record.packet_tick;
    if (record.kind->id == KindId::kMac) mac = Hex(ValueOf(record, 0).text);
    if (record.kind->id == KindId::kSerialNumber) serial_number = Hex(ValueOf(record, 0).text);
    if (record.kind->id == KindId::kTimeZone && options_.reading.time_zone == kRecordedZone &&
        !UseTimeZone(std::string(ValueOf(record, 0).text)))
      UseTimeZone("UTC");
  }

  template <typename Found>
  void PutJson(const Found& found) {
    line_.clear();
    AppendJsonLine(found, line_);
    out_.Line({line_.data(), line_.size()});
  }
  void PutLine(const std::string& text) { out_.Line(text + "\n"); }

  void PutText(const Record& record) {
    const bool is_full_state = record.repeats && record.kind->id == KindId::kConfigurationEnd;
    if (record.repeats && !is_full_state && Kinds().empty()) return;
    const std::string tick_text = record.tick == kNoTick ? "-" : std::to_string(record.tick);
    const std::string time = record.time.quality == TimeQuality::kUnknown
                                 ? "(time unknown)"
                                 : LocalTimeText(record.time.us);
    const char* const mark = record.time.quality == TimeQuality::kEstimated ? "~" : " ";
    PutLine(fmt::format("{:>10} {}{}  {}{}", tick_text, mark, time,
                        is_full_state ? "(full state)" : RecordWords(record),
                        record.crc_right ? "" : "  [wrong CRC]"));
  }

  const FollowOptions& options_;
  FollowOutput& out_;
  LineBuffer line_;
};

// ---- Following -------------------------------------------------------------------

class Follower {
 public:
  explicit Follower(const FollowOptions& options)
      : options_(options), base_(RingBaseOf(options.store).value_or(options.store)) {}

  int Run() {
    if (!MayBeFollowed() || !LoadTheCursor()) return kExitFailure;
    if (options_.reading.time_zone == kRecordedZone) UseTimeZone("UTC");
    Begin();
    if (!WaitForStore() || (!stop_.Requested() && !GoToBeginning()))
      return out_.Finish(kExitFailure);
    while (!stop_.Requested() && !out_.HasEnded()) {
      if (!TakeNew()) return out_.Finish(kExitFailure);
      Pause();
    }
    return out_.Finish(lost_before_ + sink_->gaps > 0 ? kExitPartial : kExitSuccess);
  }

 private:
  bool Refuse(const std::string& why) const {
    Say(why);
    return false;
  }

  bool MayBeFollowed() const {
    std::error_code error;
    const bool is_file =
        std::filesystem::exists(options_.store, error) && !RingBaseOf(options_.store).has_value();
    if (is_file) return Refuse(fmt::format("{}: is no store; only those grow", options_.store));
    if (!options_.cursor_file.empty() && BelongsToRing(options_.cursor_file, base_))
      return Refuse(fmt::format("{}: is part of the store", options_.cursor_file));
    return true;
  }

  bool LoadTheCursor() {
    if (options_.cursor_file.empty()) return true;
    std::string error;
    cursor_ = LoadCursor(options_.cursor_file, error);
    return error.empty() || Refuse(error);
  }

  // A recording as if it was never looked at.
  void Begin() {
    if (sink_ != nullptr) lost_before_ += sink_->gaps + 1;
    source_ = std::make_unique<FollowSource>(RingFileName(base_, 1), RingFileName(base_, 2));
    sink_ = std::make_unique<FollowSink>(options_, out_);
    decoder_ = std::make_unique<records::Decoder>(*source_, *sink_);
  }

  void Pause() const {
    pollfd wake{stop_.Fd(), POLLIN, 0};
    static_cast<void>(poll(&wake, 1, kPause_ms));  // whatever ends it, the next look comes
  }

  // True when the store is there, or nobody waits for it any longer.
  bool WaitForStore() {
    constexpr int kMostWithoutEnd = 6;
    bool told = false;
    int without_end = 0;
    while (!stop_.Requested()) {
      const Look look = source_->LookAgain();
      if (look == Look::kGoesOn) {
        if (source_->SearchedAll()) Say(RemarkOnSearchedAll(base_));
        return true;
      }
      if (look == Look::kTwoRecordings || (look == Look::kNoEnd && ++without_end > kMostWithoutEnd))
        return Refuse(WhyNot(look));
      // All of a store that comes now is new.
      begins_at_start_ |= look == Look::kNotThere;
      if (look == Look::kNotThere && !std::exchange(told, true))
        Say(fmt::format("{}: is not there yet; waiting for it", base_));
      Pause();
    }
    return true;
  }

  std::string WhyNot(Look look) const {
    if (look == Look::kTwoRecordings)
      return fmt::format("{}: its files are of two recordings; look at each by itself", base_);
    return fmt::format(
        "{}: where the recording ends cannot be found; `vmr recover` saves what "
        "can be read",
        base_);
  }

  // Everything in front of what is to be printed is read, too: what is known of time and
  // place comes from there.
  bool GoToBeginning() {
    if (options_.reading.time_zone == kRecordedZone) UseTimeZone(ZoneToBeginWith());
    if (cursor_) return GoToCursor();
    if (!begins_at_start_) {
      source_->TakeAll();
      ReadMuted();
    }
    return Save();
  }

  // The first one told; the sink goes on with those that are told later.
  std::string ZoneToBeginWith() const {
    const std::string zone = RecordedZone(*source_);
    return !zone.empty() && UseTimeZone(zone) ? zone : "UTC";
  }

  void ReadMuted() {
    sink_->is_muted = true;
    decoder_->Run();
    sink_->is_muted = false;
  }

  bool GoToCursor() {
    switch (source_->Compare(cursor_->place)) {
      case Look::kGoesOn:
        if (cursor_->output) out_.GoOnBehind(*cursor_->output);
        if (cursor_->place.cluster < 0) return true;
        source_->StopAt(cursor_->place);
        ReadMuted();
        source_->StopAt(std::nullopt);
        if (source_->Reached() == cursor_->place) return true;
        return Refuse(fmt::format("{}: what stands in front of {} cannot be read", base_,
                                  options_.cursor_file));
      case Look::kOvertaken:
        if (!IsOfSameUnit()) return RefuseCursor();
        if (cursor_->output) out_.GoOnBehind(*cursor_->output);
        SayOvertaken();
        Begin();
        lost_before_ = 0;
        sink_->tick = cursor_->tick;
        source_->BeginBehindGap();
        return source_->LookAgain() == Look::kGoesOn || Refuse(WhyNot(Look::kNoEnd));
      default:
        return RefuseCursor();
    }
  }

  bool RefuseCursor() const {
    return Refuse(
        fmt::format("{}: is of another recording than {}; remove it to begin anew, or "
                    "name another",
                    options_.cursor_file, base_));
  }

  // By all that the ring tells now.
  bool IsOfSameUnit() {
    ReadMuted();
    const auto differ = [](const std::string& a, const std::string& b) {
      return !a.empty() && !b.empty() && a != b;
    };
    return !differ(cursor_->mac, sink_->mac) &&
           !differ(cursor_->serial_number, sink_->serial_number);
  }

  void SayOvertaken() const {
    Say(fmt::format("{}: was overtaken: something was written over before it could be printed",
                    base_));
  }

  // Once it has lasted longer than a recorder's work on a cluster.
  void SayInVain(Look look) {
    constexpr int kPatience = 6;  // looks
    if (++looks_in_vain_ != kPatience) return;
    if (look == Look::kNotThere)
      Say(fmt::format("{}: is not there any more; waiting for it", base_));
    else
      Say(fmt::format("{}; waiting for it to change", WhyNot(look)));
  }

  // Prints what is new. False when it cannot go on.
  bool TakeNew() {
    if (is_first_) {
      is_first_ = false;  // WaitForStore has looked
    } else {
      const Look look = source_->LookAgain();
      if (look == Look::kTwoRecordings) return Refuse(WhyNot(look));
      if (look == Look::kOvertaken) {
        SayOvertaken();
        source_->BeginBehindGap();
        if (source_->LookAgain() != Look::kGoesOn) return true;
      } else if (look == Look::kOther) {
        Say(fmt::format("{}: was begun anew; following what is recorded now", base_));
        Begin();
        if (source_->LookAgain() != Look::kGoesOn) return true;
      } else if (look != Look::kGoesOn) {
        SayInVain(look);
        return true;  // maybe the next time
      }
      looks_in_vain_ = 0;
    }
    decoder_->Run();
    return out_.Flush() ? Save() : !out_.HasFailed();
  }

  // Behind the lines: a run that is killed between the two finds them in its output.
  bool Save() {
    if (options_.cursor_file.empty() || (is_saved_ && saved_ == source_->Reached())) return true;
    FollowCursor cursor;
    cursor.place = source_->Reached();
    cursor.tick = sink_->tick;
    cursor.mac = sink_->mac;
    cursor.serial_number = sink_->serial_number;
    cursor.output = FollowOutput::Length();
    std::string error;
    if (!SaveCursor(options_.cursor_file, cursor, error)) return Refuse(error);
    saved_ = cursor.place;
    is_saved_ = true;
    return true;
  }

  const FollowOptions& options_;
  const std::string base_;
  const StopSignal stop_;
  FollowOutput out_{stop_};
  std::optional<FollowCursor> cursor_;
  std::unique_ptr<FollowSource> source_;
  std::unique_ptr<FollowSink> sink_;
  std::unique_ptr<records::Decoder> decoder_;
  unsigned long lost_before_ = 0;  // of recordings that were begun anew
  bool begins_at_start_ = options_.from_start;
  bool is_first_ = true;
  int looks_in_vain_ = 0;
  RingPlace saved_;
  bool is_saved_ = false;
};

int Follow(const FollowOptions& options) { return Follower(options).Run(); }

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<FollowOptions>();
  parser.add_option("STORE", options->store, "The store that is recorded to")->required();
  parser.add_option("--cursor-file", options->cursor_file, "Go on where the run before ended")
      ->type_name("FILE");
  parser.add_flag("--from-start", options->from_start,
                  "Where there is no cursor yet, begin with the oldest record");
  AddTimeZone(parser, options->reading.time_zone);
  AddKinds(parser, options->reading);
  AddFormat(parser, {"text", "jsonl"}, options->format);
  parser.final_callback([options] {
    if (options->store.empty()) RefuseUsage("STORE is empty");
    CheckReadingUsage(options->reading);
  });
  return [options] { return Follow(*options); };
}

}  // namespace

constexpr Command kFollowCommand = {"follow", kHelp, kFooter, AddOptions};

}  // namespace vmr::tool
