// The way as GPX 1.1, with speeds as its TrackPointExtension (version 2) has them.
#include <fmt/format.h>

#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/exporter.h"
#include "tools/read/track.h"
#include "tools/read/value_text.h"

namespace vmr::tool {
namespace {

constexpr const char* kHead =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<gpx version="1.1" creator="vmr )" VMR_VERSION
    R"(" xmlns="http://www.topografix.com/GPX/1/1" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:gpxtpx="http://www.garmin.com/xmlschemas/TrackPointExtension/v2" xsi:schemaLocation="http://www.topografix.com/GPX/1/1 http://www.topografix.com/GPX/1/1/gpx.xsd http://www.garmin.com/xmlschemas/TrackPointExtension/v2 https://www8.garmin.com/xmlschemas/TrackPointExtensionv2.xsd">
)";

// Metres per second, to the millimetre.
void AppendSpeed(std::int64_t mm_per_s, LineBuffer& line) {
  fmt::format_to(std::back_inserter(line), "{}.{:03}", mm_per_s / 1000, mm_per_s % 1000);
}

// The format has no 180 degrees east: they are those west.
std::int64_t LongitudeOf(const TrackPoint& point) {
  constexpr std::int32_t kHalfCircleTTs = 180 * 600000;
  return point.longitude_tts == kHalfCircleTTs ? -kHalfCircleTTs : point.longitude_tts;
}

// What a reader must know of a point; empty: nothing.
std::string CommentOn(const TrackPoint& point) {
  std::string comment;
  const auto add = [&comment](const char* what) {
    comment += (comment.empty() ? "" : ", ") + std::string(what);
  };
  if (!point.crc_right) add("packet CRC wrong");
  if (!point.verified) add("unverified");
  if (point.time.quality == records::TimeQuality::kEstimated) add("time estimated");
  return comment;
}

// The pieces of one recording, as segments of a track.
class GpxTrack final : public TrackSink {
 public:
  GpxTrack(std::string name, TextOutput& out) : name_(std::move(name)), out_(out) {}

  void OnPoint(const TrackPoint& point) override {
    // A segment is a way: none leads from a place that may lie in another hemisphere.
    if (point.verified != is_verified_) OnPieceEnd();
    is_verified_ = point.verified;
    line_.clear();
    if (!in_track_) BeginTrack();
    if (!in_segment_) Append("<trkseg>\n", line_);
    in_segment_ = true;
    Put(point);
    Hand();
  }
  void OnPieceEnd() override {
    if (in_segment_) out_.Write("</trkseg>\n");
    in_segment_ = false;
  }
  void Finish() {
    if (in_track_) out_.Write("</trk>\n");
  }

 private:
  void BeginTrack() {
    in_track_ = true;
    Append("<trk><name>", line_);
    AppendXml(name_, line_);
    Append("</name>\n", line_);
  }
  void Put(const TrackPoint& point) {
    Append("<trkpt lat=\"", line_);
    AppendDegrees(point.latitude_tts, line_);
    Append("\" lon=\"", line_);
    AppendDegrees(LongitudeOf(point), line_);
    Append("\"><time>", line_);
    AppendUtc(point.time.us, line_);
    Append("</time>", line_);
    const std::string comment = CommentOn(point);
    if (!comment.empty()) Append("<cmt>" + comment + "</cmt>", line_);
    if (point.speed_mm_per_s) PutSpeed(*point.speed_mm_per_s);
    Append("</trkpt>\n", line_);
  }
  void PutSpeed(std::int64_t mm_per_s) {
    Append("<extensions><gpxtpx:TrackPointExtension><gpxtpx:speed>", line_);
    AppendSpeed(mm_per_s, line_);
    Append("</gpxtpx:speed></gpxtpx:TrackPointExtension></extensions>", line_);
  }
  void Hand() { out_.Write({line_.data(), line_.size()}); }

  const std::string name_;
  TextOutput& out_;
  LineBuffer line_;
  bool in_track_ = false;
  bool in_segment_ = false;
  bool is_verified_ = true;  // the last point
};

class GpxExporter final : public Exporter {
 public:
  explicit GpxExporter(const ExportOptions& options) : options_(options) {}

  bool Open() override { return OpenOutput(options_, out_); }

  int Read(Reading& reading) override {
    const std::string& name = reading.recording.name;
    if (!has_begun_) Begin(reading.count == 1 ? name : fmt::format("{} recordings", reading.count));
    GpxTrack sink(name, out_);
    Track track(reading.range, true, sink);
    const bool complete = ReadThroughRange(reading, track).complete;
    track.Finish();
    sink.Finish();
    SayLeftOut(reading, track.WithoutPosition(), "where they lie is unknown");
    SayLeftOut(reading, track.WithoutTime(), "their time is unknown");
    const bool has_all = track.WithoutPosition() == 0 && track.WithoutTime() == 0;
    return complete && has_all ? kExitSuccess : kExitPartial;
  }

  int Finish(int exit_code) override {
    if (has_begun_) out_.Write("</gpx>\n");
    return out_.Finish(exit_code);
  }

 private:
  // The time is that of the file, not of what it holds.
  void Begin(const std::string& name) {
    has_begun_ = true;
    LineBuffer line;
    Append(kHead, line);
    Append("<metadata><name>", line);
    AppendXml(name, line);
    Append("</name><time>", line);
    AppendUtc(options_.made_us ? *options_.made_us : Now_us(), line);
    Append("</time></metadata>\n", line);
    out_.Write({line.data(), line.size()});
  }

  const ExportOptions& options_;
  TextOutput out_;
  bool has_begun_ = false;
};

}  // namespace

bool OpenOutput(const ExportOptions& options, TextOutput& out) {
  if (!options.open_file) return out.Open(options.reading.out, options.reading.force);
  const int fd = options.open_file("");
  if (fd >= 0) out.OpenAt(fd, options.reading.out);
  return fd >= 0;
}

void SayLeftOut(const Reading& reading, unsigned long positions, const char* why) {
  if (positions == 0) return;
  Say(fmt::format("{}: {} position{} left out: {}", reading.recording.name, positions,
                  positions == 1 ? " was" : "s were", why));
}

std::unique_ptr<Exporter> MakeGpxExporter(const ExportOptions& options) {
  return std::make_unique<GpxExporter>(options);
}

}  // namespace vmr::tool
