// The way and what happened on it as GeoJSON (RFC 7946).
#include <errno.h>
#include <fmt/format.h>

#include <cstdlib>
#include <optional>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/exporter.h"
#include "tools/read/json_line.h"
#include "tools/read/kept_points.h"
#include "tools/read/track.h"
#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::TimeQuality;

constexpr std::int64_t kHalfCircleTTs = 180 * 600000;

// Where the way crosses 180 degrees: nothing of the recording but a place.
TrackPoint CutAt(std::int64_t longitude_tts, std::int64_t latitude_tts) {
  TrackPoint point;
  point.longitude_tts = static_cast<std::int32_t>(longitude_tts);
  point.latitude_tts = static_cast<std::int32_t>(latitude_tts);
  return point;
}

// The shorter way from one to the other crosses 180 degrees.
bool CrossesDateLine(const TrackPoint& from, const TrackPoint& to) {
  return std::abs(std::int64_t{from.longitude_tts} - to.longitude_tts) > kHalfCircleTTs;
}

// Where that way leaves one side and where it enters the other: a line lies on one of them.
struct DateLineCut {
  TrackPoint leaves;
  TrackPoint enters;
};
DateLineCut CutBetween(const TrackPoint& from, const TrackPoint& to) {
  const std::int64_t edge = from.longitude_tts > 0 ? kHalfCircleTTs : -kHalfCircleTTs;
  const std::int64_t to_edge = edge - from.longitude_tts;
  const std::int64_t all = std::int64_t{to.longitude_tts} + 2 * edge - from.longitude_tts;
  const std::int64_t rise = std::int64_t{to.latitude_tts} - from.latitude_tts;
  const std::int64_t latitude = from.latitude_tts + (all == 0 ? 0 : rise * to_edge / all);
  return {CutAt(edge, latitude), CutAt(-edge, latitude)};
}

// ---- Text ------------------------------------------------------------------------

void AppendPlace(const TrackPoint& point, LineBuffer& line) {
  line.push_back('[');
  AppendDegrees(point.longitude_tts, line);
  line.push_back(',');
  AppendDegrees(point.latitude_tts, line);
  line.push_back(']');
}

void AppendTime(const records::Time& time, LineBuffer& line) {
  if (time.quality == TimeQuality::kUnknown) return Append("null", line);
  line.push_back('"');
  AppendUtc(time.us, line);
  line.push_back('"');
}

void AppendTick(unsigned int tick, LineBuffer& line) {
  if (tick == kNoTick) return Append("null", line);
  AppendNumber(tick, line);
}

// Metres per second, to the millimetre.
void AppendSpeed(const std::optional<std::int64_t>& mm_per_s, LineBuffer& line) {
  if (!mm_per_s) return Append("null", line);
  fmt::format_to(std::back_inserter(line), "{}.{:03}", *mm_per_s / 1000, *mm_per_s % 1000);
}

// ---- Features --------------------------------------------------------------------

// Features, one a line, with commas between them.
class Features {
 public:
  explicit Features(TextOutput& out) : out_(out) {}

  LineBuffer& Begin() {
    line_.clear();
    if (has_any_) Append(",\n", line_);
    has_any_ = true;
    Append("{\"type\":\"Feature\",\"properties\":{", line_);
    return line_;
  }
  void BeginGeometry() { Append("},\"geometry\":", line_); }
  // Between two values: hands on what a long feature has until now.
  void PassOn() {
    if (line_.size() < kEnough) return;
    out_.Write({line_.data(), line_.size()});
    line_.clear();
  }
  void End() {
    line_.push_back('}');
    out_.Write({line_.data(), line_.size()});
  }

 private:
  static constexpr std::size_t kEnough = 16 * 1024;

  TextOutput& out_;
  LineBuffer line_;
  bool has_any_ = false;
};

// Pieces of the way as lines. A piece may be all that a ring holds, and what stands first in
// its feature is known at its end: the points are kept until then, and gone through for each
// of its arrays.
class TrackFeatures final : public TrackSink {
 public:
  TrackFeatures(const std::string& recording, Features& features) : features_(features) {
    AppendJsonText(recording, recording_);
  }

  void OnPoint(const TrackPoint& point) override {
    // Verified or not holds for all of a feature.
    if (points_.Count() > 0 && points_.Last().verified != point.verified) OnPieceEnd();
    has_cuts_ |= points_.Count() > 0 && CrossesDateLine(points_.Last(), point);
    has_estimated_times_ |= point.time.quality == TimeQuality::kEstimated;
    points_.Add(point);
  }
  void OnPieceEnd() override {
    if (points_.Count() == 0) return;
    LineBuffer& line = features_.Begin();
    AppendProperties(line);
    features_.BeginGeometry();
    AppendGeometry(line);
    features_.End();
    points_.Clear();
    has_cuts_ = has_estimated_times_ = false;
  }

  // 0, or the errno of what could not be read again: the text is not whole.
  int Error() const { return error_; }

 private:
  void AppendProperties(LineBuffer& line) {
    Append("\"kind\":\"track\",\"recording\":", line);
    Append({recording_.data(), recording_.size()}, line);
    Append(",\"from_tick\":", line);
    AppendTick(points_.First().tick, line);
    Append(",\"to_tick\":", line);
    AppendTick(points_.Last().tick, line);
    Append(",\"from_time\":", line);
    AppendTime(points_.First().time, line);
    Append(",\"to_time\":", line);
    AppendTime(points_.Last().time, line);
    if (has_estimated_times_) Append(",\"time_quality\":\"estimated\"", line);
    if (!points_.First().verified) Append(",\"position\":\"unverified\"", line);
    if (!points_.First().crc_right) Append(",\"packet_crc\":\"wrong\"", line);
    AppendSeries(line);
  }

  // What belongs to each place of the geometry.
  void AppendSeries(LineBuffer& line) {
    Append(",\"coordTimes\":", line);
    AppendOfPoints(line, [&](const TrackPoint& point) { AppendTime(point.time, line); });
    Append(",\"ticks\":", line);
    AppendOfPoints(line, [&](const TrackPoint& point) { AppendTick(point.tick, line); });
    Append(",\"speeds_m_per_s\":", line);
    AppendOfPoints(line, [&](const TrackPoint& point) { AppendSpeed(point.speed_mm_per_s, line); });
  }

  // A line has two places at least.
  void AppendGeometry(LineBuffer& line) {
    const char* const type = has_cuts_             ? "MultiLineString"
                             : points_.Count() > 1 ? "LineString"
                                                   : "Point";
    fmt::format_to(std::back_inserter(line), "{{\"type\":\"{}\",\"coordinates\":", type);
    if (points_.Count() == 1)
      AppendPlace(points_.First(), line);
    else
      AppendOfPoints(line, [&](const TrackPoint& point) { AppendPlace(point, line); });
    line.push_back('}');
  }

  // An array of what `put` writes of each point; where the way is cut, an array of those.
  template <typename Put>
  void AppendOfPoints(LineBuffer& line, const Put& put) {
    Append(has_cuts_ ? "[[" : "[", line);
    std::optional<TrackPoint> last;
    const bool whole = points_.ForEach([&](const TrackPoint& point) {
      if (last && CrossesDateLine(*last, point)) {
        const DateLineCut cut = CutBetween(*last, point);
        line.push_back(',');
        put(cut.leaves);
        Append("],[", line);
        put(cut.enters);
      }
      if (last) line.push_back(',');
      put(point);
      last = point;
      features_.PassOn();
    });
    if (!whole && error_ == 0) error_ = errno;
    Append(has_cuts_ ? "]]" : "]", line);
  }

  Features& features_;
  LineBuffer recording_;
  KeptPoints points_;
  bool has_cuts_ = false;
  bool has_estimated_times_ = false;
  int error_ = 0;
};

bool IsEvent(const records::Record& record) {
  const KindId kind = record.kind->id;
  return !record.repeats && (kind == KindId::kInput || kind == KindId::kButton ||
                             kind == KindId::kBookmark || kind == KindId::kLog);
}

// Events as points where the vehicle was last known to be.
class GeoSink final : public records::Sink {
 public:
  GeoSink(const Reading& reading, Features& features)
      : range_(reading.range),
        pieces_(reading.recording.name, features),
        track_(range_, false, pieces_),
        features_(features) {
    AppendJsonText(reading.recording.name, recording_);
  }

  void OnRecord(const records::Record& record) override {
    track_.OnRecord(record);
    if (IsEvent(record) && SideOf(range_, record.tick, record.time) == Side::kInside) Put(record);
  }
  void OnGap(const records::Gap& gap) override { track_.OnGap(gap); }
  void OnClockStep(const records::ClockStep& step) override { track_.OnClockStep(step); }
  void OnNewRun(int run, unsigned int tick) override { track_.OnNewRun(run, tick); }
  void Finish() { track_.Finish(); }
  unsigned long WithoutPosition() const { return track_.WithoutPosition(); }
  int Error() const { return pieces_.Error(); }

 private:
  void Put(const records::Record& record) {
    LineBuffer& line = features_.Begin();
    LineBuffer object;
    AppendJsonLine(record, object, {recording_.data(), recording_.size()});
    // Without its braces and the line feed.
    Append({object.data() + 1, object.size() - 3}, line);
    const std::optional<TrackPoint>& at = track_.Last();
    if (at) AppendAge(*at, record, line);
    features_.BeginGeometry();
    if (at) {
      Append("{\"type\":\"Point\",\"coordinates\":", line);
      AppendPlace(*at, line);
      line.push_back('}');
    } else {
      Append("null", line);
    }
    features_.End();
  }

  // Of the position: the event may be of an earlier tick than its packet.
  void AppendAge(const TrackPoint& at, const records::Record& record, LineBuffer& line) const {
    Append(",\"position_tick\":", line);
    AppendTick(at.tick, line);
    Append(",\"position_age_s\":", line);
    if (at.tick == kNoTick || record.tick == kNoTick)
      Append("null", line);
    else
      fmt::format_to(std::back_inserter(line), "{:.1f}",
                     (static_cast<double>(record.tick) - static_cast<double>(at.tick)) / 2);
    if (!at.verified) Append(",\"position\":\"unverified\"", line);
  }

  const Range& range_;
  TrackFeatures pieces_;
  Track track_;
  Features& features_;
  LineBuffer recording_;
};

class GeoJsonExporter final : public Exporter {
 public:
  explicit GeoJsonExporter(const ExportOptions& options) : options_(options), features_(out_) {}

  bool Open() override { return OpenOutput(options_, out_); }

  int Read(Reading& reading) override {
    if (!has_begun_) out_.Write("{\"type\":\"FeatureCollection\",\"features\":[\n");
    has_begun_ = true;
    GeoSink sink(reading, features_);
    const bool complete = ReadThroughRange(reading, sink).complete;
    sink.Finish();
    if (sink.Error() != 0) return FailOfPoints(sink.Error());
    SayLeftOut(reading, sink.WithoutPosition(), "where they lie is unknown");
    return complete && sink.WithoutPosition() == 0 ? kExitSuccess : kExitPartial;
  }

  int Finish(int exit_code) override {
    if (lacks_points_) return kExitFailure;  // what is not whole takes no file's name
    if (has_begun_) out_.Write("\n]}\n");
    return out_.Finish(exit_code);
  }

 private:
  int FailOfPoints(int error) {
    lacks_points_ = true;
    Say(fmt::format("temporary file: {}", TextOfErrno(error)));
    return kExitFailure;
  }

  const ExportOptions& options_;
  TextOutput out_;
  Features features_;
  bool has_begun_ = false;
  bool lacks_points_ = false;
};

}  // namespace

std::unique_ptr<Exporter> MakeGeoJsonExporter(const ExportOptions& options) {
  return std::make_unique<GeoJsonExporter>(options);
}

}  // namespace vmr::tool
