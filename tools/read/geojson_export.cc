// The way and what happened on it as GeoJSON (RFC 7946).
#include <fmt/format.h>

#include <cstdlib>
#include <vector>

#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/exporter.h"
#include "tools/read/json_line.h"
#include "tools/read/track.h"
#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

using records::KindId;
using records::TimeQuality;

constexpr std::int64_t kHalfCircleTTs = 180 * 600000;

// One of a line's places. Where a line is cut at 180 degrees `point` is none of the
// recording's: only its place counts.
struct Vertex {
  TrackPoint point;
  bool is_cut = false;
};
using Line = std::vector<Vertex>;

Vertex CutAt(std::int64_t longitude_tts, std::int64_t latitude_tts) {
  Vertex vertex;
  vertex.point.longitude_tts = static_cast<std::int32_t>(longitude_tts);
  vertex.point.latitude_tts = static_cast<std::int32_t>(latitude_tts);
  vertex.is_cut = true;
  return vertex;
}

// The shorter way from one to the other crosses 180 degrees.
bool CrossesDateLine(const TrackPoint& from, const TrackPoint& to) {
  return std::abs(std::int64_t{from.longitude_tts} - to.longitude_tts) > kHalfCircleTTs;
}

// Cuts where that way crosses: nothing lies on both sides of 180 degrees.
void Cut(const TrackPoint& from, const TrackPoint& to, std::vector<Line>& lines) {
  const std::int64_t edge = from.longitude_tts > 0 ? kHalfCircleTTs : -kHalfCircleTTs;
  const std::int64_t to_edge = edge - from.longitude_tts;
  const std::int64_t all = std::int64_t{to.longitude_tts} + 2 * edge - from.longitude_tts;
  const std::int64_t rise = std::int64_t{to.latitude_tts} - from.latitude_tts;
  const std::int64_t latitude = from.latitude_tts + (all == 0 ? 0 : rise * to_edge / all);
  lines.back().push_back(CutAt(edge, latitude));
  lines.push_back({CutAt(-edge, latitude)});
}

std::vector<Line> CutAtDateLine(const std::vector<TrackPoint>& points) {
  std::vector<Line> lines(1);
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (i > 0 && CrossesDateLine(points[i - 1], points[i])) Cut(points[i - 1], points[i], lines);
    lines.back().push_back({points[i]});
  }
  return lines;
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

template <typename Elements, typename Put>
void AppendArray(const Elements& elements, LineBuffer& line, const Put& put) {
  line.push_back('[');
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (i > 0) line.push_back(',');
    put(elements[i]);
  }
  line.push_back(']');
}

// An array of what `put` writes of each vertex; of several lines an array of those.
template <typename Put>
void AppendOfVertices(const std::vector<Line>& lines, LineBuffer& line, const Put& put) {
  const auto put_line = [&](const Line& vertices) { AppendArray(vertices, line, put); };
  if (lines.size() == 1) return put_line(lines.front());
  AppendArray(lines, line, put_line);
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
  void End() {
    line_.push_back('}');
    out_.Write({line_.data(), line_.size()});
  }

 private:
  TextOutput& out_;
  LineBuffer line_;
  bool has_any_ = false;
};

// Pieces of the way as lines.
class TrackFeatures final : public TrackSink {
 public:
  TrackFeatures(const std::string& recording, Features& features) : features_(features) {
    AppendJsonText(recording, recording_);
  }

  void OnPoint(const TrackPoint& point) override {
    // Verified or not holds for all of a feature.
    if (!points_.empty() && points_.back().verified != point.verified) OnPieceEnd();
    points_.push_back(point);
  }
  void OnPieceEnd() override {
    if (points_.empty()) return;
    const std::vector<Line> lines = CutAtDateLine(points_);
    LineBuffer& line = features_.Begin();
    AppendProperties(lines, line);
    features_.BeginGeometry();
    AppendGeometry(lines, line);
    features_.End();
    points_.clear();
  }

 private:
  bool HasEstimatedTimes() const {
    for (const TrackPoint& point : points_)
      if (point.time.quality == TimeQuality::kEstimated) return true;
    return false;
  }

  void AppendProperties(const std::vector<Line>& lines, LineBuffer& line) {
    Append("\"kind\":\"track\",\"recording\":", line);
    Append({recording_.data(), recording_.size()}, line);
    Append(",\"from_tick\":", line);
    AppendTick(points_.front().tick, line);
    Append(",\"to_tick\":", line);
    AppendTick(points_.back().tick, line);
    Append(",\"from_time\":", line);
    AppendTime(points_.front().time, line);
    Append(",\"to_time\":", line);
    AppendTime(points_.back().time, line);
    if (HasEstimatedTimes()) Append(",\"time_quality\":\"estimated\"", line);
    if (!points_.front().verified) Append(",\"position\":\"unverified\"", line);
    if (!points_.front().crc_right) Append(",\"packet_crc\":\"wrong\"", line);
    AppendSeries(lines, line);
  }

  // What belongs to each place of the geometry.
  void AppendSeries(const std::vector<Line>& lines, LineBuffer& line) {
    Append(",\"coordTimes\":", line);
    AppendOfVertices(lines, line, [&](const Vertex& at) { AppendTime(at.point.time, line); });
    Append(",\"ticks\":", line);
    AppendOfVertices(lines, line, [&](const Vertex& at) { AppendTick(at.point.tick, line); });
    Append(",\"speeds_m_per_s\":", line);
    AppendOfVertices(lines, line,
                     [&](const Vertex& at) { AppendSpeed(at.point.speed_mm_per_s, line); });
  }

  // A line has two places at least.
  void AppendGeometry(const std::vector<Line>& lines, LineBuffer& line) {
    const char* const type = lines.size() > 1     ? "MultiLineString"
                             : points_.size() > 1 ? "LineString"
                                                  : "Point";
    fmt::format_to(std::back_inserter(line), "{{\"type\":\"{}\",\"coordinates\":", type);
    if (points_.size() == 1)
      AppendPlace(points_.front(), line);
    else
      AppendOfVertices(lines, line, [&](const Vertex& at) { AppendPlace(at.point, line); });
    line.push_back('}');
  }

  Features& features_;
  LineBuffer recording_;
  std::vector<TrackPoint> points_;
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

  bool Open() override { return out_.Open(options_.reading.out, options_.reading.force); }

  int Read(Reading& reading) override {
    if (!has_begun_) out_.Write("{\"type\":\"FeatureCollection\",\"features\":[\n");
    has_begun_ = true;
    GeoSink sink(reading, features_);
    const bool complete = ReadThroughRange(reading, sink).complete;
    sink.Finish();
    SayLeftOut(reading, sink.WithoutPosition(), "where they lie is unknown");
    return complete && sink.WithoutPosition() == 0 ? kExitSuccess : kExitPartial;
  }

  int Finish(int exit_code) override {
    if (has_begun_) out_.Write("\n]}\n");
    return out_.Finish(exit_code);
  }

 private:
  const ExportOptions& options_;
  TextOutput out_;
  Features features_;
  bool has_begun_ = false;
};

}  // namespace

std::unique_ptr<Exporter> MakeGeoJsonExporter(const ExportOptions& options) {
  return std::make_unique<GeoJsonExporter>(options);
}

}  // namespace vmr::tool
