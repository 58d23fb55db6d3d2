// What is known of the vehicle as subtitles of a video: WebVTT and SRT.
#include <fmt/format.h>

#include <algorithm>

#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/common/ticks.h"
#include "tools/read/cue_text.h"
#include "tools/read/exporter.h"
#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

using records::Gap;
using records::Record;
using records::TimeQuality;

constexpr std::int64_t kTick_ms = records::kTick_us / 1000;
constexpr std::int64_t kSecond_ms = 1000;
// A unit that is on says everything once an hour.
constexpr unsigned int kLongestSilenceTicks = 2 * 7201;

// The two formats differ in little.
struct SubtitleFormat {
  const char* head;
  char point;  // in front of milliseconds
  bool has_numbers;
};
constexpr SubtitleFormat kVtt{"WEBVTT\n\n", '.', false};
constexpr SubtitleFormat kSrt{"", ',', true};

class CueFile {
 public:
  CueFile(const SubtitleFormat& format, TextOutput& out) : format_(format), out_(out) {}

  void Begin() { out_.Write(format_.head); }
  // Not before the video's beginning; nothing of a cue that would end there.
  void Put(std::int64_t from_ms, std::int64_t to_ms, const std::vector<std::string>& lines) {
    from_ms = std::max<std::int64_t>(from_ms, 0);
    if (to_ms <= from_ms || lines.empty()) return;
    LineBuffer cue;
    if (format_.has_numbers) fmt::format_to(std::back_inserter(cue), "{}\n", ++count_);
    AppendTime(from_ms, cue);
    Append(" --> ", cue);
    AppendTime(to_ms, cue);
    for (const std::string& line : lines) {
      cue.push_back('\n');
      AppendXml(line, cue);
    }
    Append("\n\n", cue);
    out_.Write({cue.data(), cue.size()});
  }

 private:
  void AppendTime(std::int64_t ms, LineBuffer& cue) const {
    fmt::format_to(std::back_inserter(cue), "{:02}:{:02}:{:02}{}{:03}", ms / 3600000,
                   ms / 60000 % 60, ms / 1000 % 60, format_.point, ms % 1000);
  }

  const SubtitleFormat& format_;
  TextOutput& out_;
  unsigned long count_ = 0;
};

// Follows a recording from its beginning, to know what is in force when the video begins.
// From then on the video's time goes on as ticks do, whatever becomes of the clock.
class Cues final : public records::Sink {
 public:
  Cues(const TimePoint& start, const Range& range, int offset_ms, CueFile& file)
      : start_(start), range_(range), offset_ms_(offset_ms), file_(file) {}

  void OnRecord(const Record& record) override {
    if (record.crc_right) Reach(record.tick, record.time);
    if (has_ended_) return;
    text_.Take(record);
    if (record.crc_right) last_tick_ = record.tick;
  }
  void OnGap(const Gap& gap) override;
  void OnClockStep(const records::ClockStep& step) override {
    Reach(step.tick, {step.told_us, TimeQuality::kStepped});
    text_.Add(fmt::format("clock set by {:+.1f} s", static_cast<double>(step.Microseconds()) /
                                                        double{kMicrosecondsPerSecond}));
  }
  void OnNewRun(int /*run*/, unsigned int /*tick*/) override {
    if (second_) begins_anew_ = !has_ended_;
    if (second_) End();
    Forget();
  }
  // The recording's end, or that of what was asked for.
  void End() {
    if (second_ && !has_ended_) PutSecond();
    has_ended_ = true;
  }

  bool HasBegun() const { return second_.has_value(); }
  // The video went on when ticks began anew: nothing tells how far.
  bool BeginsAnew() const { return begins_anew_; }
  // Of the first cue, behind the video's beginning.
  std::int64_t FirstSecond() const { return first_second_; }

 private:
  struct Anchor {
    unsigned int tick = 0;
    std::int64_t ms = 0;  // of the video
  };
  struct Clock {
    unsigned int tick = 0;
    std::int64_t us = 0;
    bool is_estimated = false;
  };

  void Reach(unsigned int tick, const records::Time& time);
  bool TakeAnchor(unsigned int tick, const records::Time& time);
  std::int64_t VideoTimeMs(unsigned int tick) const {
    return anchor_.ms + (std::int64_t{tick} - anchor_.tick) * kTick_ms;
  }
  bool IsBehindEnd(unsigned int tick, const records::Time& time) const {
    return SideOf({std::nullopt, range_.to}, tick, time) == Side::kBehind;
  }
  bool IsLongSilence(unsigned int tick) const {
    return last_tick_ != kNoTick && tick > last_tick_ && tick - last_tick_ > kLongestSilenceTicks;
  }
  bool IsRecordedUpTo(const records::Time& time) const;
  void EndAt(const TimePoint& to);
  void PutUnknown(std::int64_t to_second, const std::string& why);
  void PutUpTo(std::int64_t second);
  void SetClock(unsigned int tick, const records::Time& time) {
    if (time.quality == TimeQuality::kUnknown) return;
    clock_ = Clock{tick, time.us, time.quality == TimeQuality::kEstimated};
  }
  void Forget() {
    text_.Forget();
    clock_.reset();
    last_tick_ = kNoTick;
  }
  void PutSecond();
  std::string Heading() const;

  const TimePoint& start_;
  const Range& range_;
  const int offset_ms_;
  CueFile& file_;
  CueText text_;
  Anchor anchor_;
  std::optional<Clock> clock_;          // the last tick with a time
  std::optional<std::int64_t> second_;  // whose cue is next, counted from the start
  std::int64_t first_second_ = 0;
  unsigned int last_tick_ = kNoTick;  // nothing is missing behind it
  bool has_ended_ = false;
  bool begins_anew_ = false;
};

// Whether the recording leads to what is known to be in front of the start, without a gap, and
// without a clock that leapt over the start.
bool Cues::IsRecordedUpTo(const records::Time& time) const {
  if (start_.tick) return last_tick_ != kNoTick;
  return clock_.has_value() && time.quality != TimeQuality::kStepped;
}

// True from the first record at or behind the video's start on.
bool Cues::TakeAnchor(unsigned int tick, const records::Time& time) {
  if (second_) return true;
  if (start_.tick) {
    if (tick < *start_.tick) return false;
    anchor_ = {*start_.tick, 0};
  } else {
    if (time.quality == TimeQuality::kUnknown || time.us < start_.us) return false;
    anchor_ = {tick, (time.us - start_.us) / 1000};
  }
  // What happened before is no change.
  static_cast<void>(text_.TakeLines());
  first_second_ = IsRecordedUpTo(time) ? 0 : VideoTimeMs(tick) / kSecond_ms;
  second_ = first_second_;
  return true;
}

void Cues::Reach(unsigned int tick, const records::Time& time) {
  if (tick == kNoTick || has_ended_) return;
  if (TakeAnchor(tick, time)) {
    const std::int64_t second = VideoTimeMs(tick) / kSecond_ms;
    if (IsBehindEnd(tick, time)) return IsLongSilence(tick) ? End() : EndAt(*range_.to);
    if (IsLongSilence(tick) && second > *second_) {
      PutSecond();
      Forget();
      PutUnknown(second, "nothing is recorded");
    }
    // The first time that is told holds backwards, too, as far as ticks lead.
    if (!clock_ && time.quality != TimeQuality::kUnknown) clock_ = Clock{tick, time.us, true};
    PutUpTo(second);
  }
  SetClock(tick, time);
}

void Cues::EndAt(const TimePoint& to) {
  if (to.tick)
    PutUpTo(VideoTimeMs(*to.tick) / kSecond_ms);
  else if (clock_)
    PutUpTo((VideoTimeMs(clock_->tick) + (to.us - clock_->us) / 1000) / kSecond_ms);
  End();
}

void Cues::PutUpTo(std::int64_t second) {
  while (*second_ < second) PutSecond();
}

void Cues::PutSecond() {
  std::vector<std::string> lines = text_.TakeLines();
  lines.insert(lines.begin(), Heading());
  const std::int64_t from_ms = *second_ * kSecond_ms + offset_ms_;
  file_.Put(from_ms, from_ms + kSecond_ms, lines);
  ++*second_;
}

// One subtitle for all of a time of which nothing is known.
void Cues::PutUnknown(std::int64_t to_second, const std::string& why) {
  file_.Put(*second_ * kSecond_ms + offset_ms_, to_second * kSecond_ms + offset_ms_,
            {why, "nothing is known of this time"});
  second_ = std::max(*second_, to_second);
}

// The local time, "~" in front of an estimated one, or the tick where none is known.
std::string Cues::Heading() const {
  const std::int64_t ms = *second_ * kSecond_ms;
  if (clock_)
    return (clock_->is_estimated ? "~" : "") +
           LocalTimeText(clock_->us + (ms - VideoTimeMs(clock_->tick)) * 1000);
  return fmt::format("tick {}", anchor_.tick + (ms - anchor_.ms) / kTick_ms);
}

void Cues::OnGap(const Gap& gap) {
  if (has_ended_) return;
  Reach(gap.from_tick, gap.from);
  const std::string what = fmt::format("gap: {}", TextOf(gap.reason));
  const bool had_begun = second_.has_value();
  const bool has_end = gap.to_tick != kNoTick;
  if (had_begun && has_end && VideoTimeMs(gap.to_tick) / kSecond_ms > *second_) PutSecond();
  Forget();
  // The video may begin in the gap.
  if (!had_begun && has_end && TakeAnchor(gap.to_tick, gap.to)) second_ = 0;
  if (!second_) return;
  const std::int64_t to = has_end ? VideoTimeMs(gap.to_tick) / kSecond_ms : *second_;
  // A gap has been told as one; where newer packets stand the recording begins later.
  if (!had_begun) first_second_ = gap.reason == records::GapReason::kOverwritten ? to : 0;
  if (has_end) SetClock(gap.to_tick, gap.to);
  if (to <= *second_) return text_.Add(what);
  PutUnknown(to, what);
}

class SubtitleExporter final : public Exporter {
 public:
  SubtitleExporter(const ExportOptions& options, const SubtitleFormat& format)
      : options_(options), file_(format, out_) {}

  bool Open() override { return OpenOutput(options_, out_); }

  int Read(Reading& reading) override {
    const std::string& name = reading.recording.name;
    if (reading.count > 1) {
      if (reading.index == 0)
        Say(fmt::format("{} recordings: a video has subtitles of one; name it", reading.count));
      return kExitUsage;
    }
    std::string error;
    const std::optional<TimePoint> start = PointOf(*options_.video_start, DayEnd::kFirst, error);
    if (!start) {
      Say(error);
      return kExitUsage;
    }
    // What is lost before the video begins is not missed.
    reading.range.from = start;
    reading.range.from->is_loose = true;
    file_.Begin();
    Cues cues(*start, reading.range, options_.offset_ms, file_);
    const ReadOutcome outcome = ReadThroughRange(reading, cues);
    cues.End();
    const bool has_all = !outcome.outside && SayWhatIsMissing(name, cues);
    return has_all && outcome.complete ? kExitSuccess : kExitPartial;
  }

  int Finish(int exit_code) override { return out_.Finish(exit_code); }

 private:
  // False after saying something.
  static bool SayWhatIsMissing(const std::string& name, const Cues& cues) {
    if (!cues.HasBegun())
      Say(fmt::format("{}: ends before --video-start, or tells no time", name));
    else if (cues.BeginsAnew())
      Say(fmt::format("{}: its ticks begin anew while the video goes on: the subtitles end there",
                      name));
    else if (cues.FirstSecond() > 1)
      Say(fmt::format("{}: begins {} s behind --video-start", name, cues.FirstSecond()));
    else
      return true;
    return false;
  }

  const ExportOptions& options_;
  TextOutput out_;
  CueFile file_;
};

}  // namespace

std::unique_ptr<Exporter> MakeVttExporter(const ExportOptions& options) {
  return std::make_unique<SubtitleExporter>(options, kVtt);
}

std::unique_ptr<Exporter> MakeSrtExporter(const ExportOptions& options) {
  return std::make_unique<SubtitleExporter>(options, kSrt);
}

}  // namespace vmr::tool
