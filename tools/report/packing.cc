#include "tools/report/packing.h"

#include <nettle/base64.h>
#include <zlib.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "store/bytes.h"

namespace vmr::tool {
namespace {

using Json = nlohmann::ordered_json;

// Numbers as differences to the one before, small ones in few bytes: a difference's sign goes
// to its lowest bit, and seven bits to a byte, least first, the eighth set but in the last.
class Columns {
 public:
  // What the header says of the column.
  template <typename Elements, typename Get>
  Json Add(const Elements& elements, const Get& get) {
    const std::size_t at = bytes_.size();
    std::int64_t before = 0;
    for (const auto& element : elements) {
      const auto number = static_cast<std::int64_t>(get(element));
      Put(number - before);
      before = number;
    }
    return {{"at", at}, {"bytes", bytes_.size() - at}, {"count", elements.size()}};
  }
  const std::string& Bytes() const { return bytes_; }

 private:
  void Put(std::int64_t difference) {
    std::uint64_t left = static_cast<std::uint64_t>(difference) << 1;
    if (difference < 0) left = ~left;
    constexpr std::uint64_t kMore = 0x80;
    for (; left >= kMore; left >>= 7) bytes_ += static_cast<char>((left & 0x7F) | kMore);
    bytes_ += static_cast<char>(left);
  }

  std::string bytes_;
};

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

Json TickJson(unsigned int tick) { return tick == kNoTick ? Json() : Json(tick); }

Json ZoneJson(const CaseZone& zone) {
  Json offsets = Json::array();
  for (const CaseZone::Offset& offset : zone.offsets)
    offsets.push_back({{"from_us", offset.from_us},
                       {"minutes", offset.minutes},
                       {"abbreviation", offset.abbreviation}});
  return {{"name", zone.name},
          {"recorded", zone.recorded},
          {"asked", zone.asked},
          {"unknown", zone.unknown},
          {"offsets", offsets}};
}

Json SourcesJson(const CaseRecording& recording) {
  Json all = Json::array();
  for (const CaseSource& source : recording.sources)
    all.push_back({{"path", source.path},
                   {"bytes", source.bytes},
                   {"sha256", OrNull(source.sha256)},
                   {"problem", source.problem},
                   {"damage", source.damage}});
  return all;
}

Json FactsJson(const CaseRecording& recording) {
  Json all = Json::array();
  for (const CaseFact& fact : recording.facts) {
    Json values = Json::array();
    for (const CaseText& text : fact.values)
      values.push_back({{"text", text.text}, {"x", OrNull(text.x)}, {"tick", TickJson(text.tick)}});
    all.push_back({{"name", fact.name},
                   {"values", values},
                   {"left_out", fact.left_out},
                   {"untold", fact.untold}});
  }
  return all;
}

void AddSettings(const CaseRecording& recording, Json& all) {
  Json& versions = all["versions"] = Json::array();
  for (const CaseVersion& version : recording.versions)
    versions.push_back({{"component", version.component}, {"text", version.text}});
  Json& policies = all["policies"] = Json::array();
  for (const CasePolicy& policy : recording.policies)
    policies.push_back({{"name", policy.name}, {"number", policy.number}, {"value", policy.value}});
  all["policy_sha256"] = OrNull(recording.policy_sha256);
  all["policies_complete"] = recording.policies_complete;
  all["no_policy"] = recording.no_policy;
}

Json StretchesJson(const CaseRecording& recording) {
  Json all = Json::array();
  for (const CaseStretch& stretch : recording.stretches) {
    const bool is_known = stretch.time.quality != records::TimeQuality::kUnknown;
    all.push_back({{"x", stretch.first},
                   {"to", stretch.last},
                   {"us", is_known ? Json(stretch.time.us) : Json()},
                   {"quality", TextOf(stretch.time.quality)},
                   {"run", stretch.run},
                   {"tick", stretch.tick},
                   {"displaced", stretch.displaced}});
  }
  return all;
}

Json TotalsJson(const CaseTotals& totals) {
  return {{"recorded_halves", totals.recorded_halves},
          {"lost_halves", totals.lost_halves},
          {"lost_unknown", totals.lost_unknown},
          {"records", totals.records},
          {"wrong_crc", totals.wrong_crc},
          {"wrong_crc_packets", totals.wrong_crc_packets},
          {"unverified", totals.unverified},
          {"runs", totals.runs},
          {"starts", totals.starts},
          {"overwritten", totals.overwritten}};
}

void AddBreaks(const CaseRecording& recording, Json& all) {
  Json& gaps = all["gaps"] = Json::array();
  for (const CaseGap& gap : recording.gaps)
    gaps.push_back({{"reason", TextOf(gap.reason)},
                    {"words", gap.words},
                    {"from", OrNull(gap.from)},
                    {"to", OrNull(gap.to)},
                    {"from_tick", TickJson(gap.from_tick)},
                    {"to_tick", TickJson(gap.to_tick)},
                    {"clusters", gap.clusters},
                    {"bytes", gap.bytes}});
  Json& steps = all["steps"] = Json::array();
  for (const CaseClockStep& step : recording.steps)
    steps.push_back({{"x", step.x},
                     {"tick", step.tick},
                     {"expected_us", step.expected_us},
                     {"told_us", step.told_us},
                     {"words", step.words}});
  Json& runs = all["new_runs"] = Json::array();
  for (const CaseNewRun& run : recording.new_runs)
    runs.push_back({{"x", run.x}, {"run", run.run}, {"tick", run.tick}});
}

Json WayJson(const CaseRecording& recording, Columns& columns) {
  const std::vector<WayPoint>& way = recording.way;
  return {
      {"x", columns.Add(way, [](const WayPoint& point) { return point.x; })},
      {"latitude", columns.Add(way, [](const WayPoint& point) { return point.latitude_tts; })},
      {"longitude", columns.Add(way, [](const WayPoint& point) { return point.longitude_tts; })},
      {"flags", columns.Add(way, [](const WayPoint& point) { return point.flags; })},
      {"speed", columns.Add(way, [](const WayPoint& point) { return point.speed_mm_per_s; })},
      {"thinned", recording.way_thinned}};
}

// `value` is what the column of values is called.
void AddLine(const Line& line, const char* value, Columns& columns, Json& all) {
  all["x"] = columns.Add(line, [](const LinePoint& point) { return point.x; });
  all[value] = columns.Add(line, [](const LinePoint& point) { return point.value; });
  all["flags"] = columns.Add(line, [](const LinePoint& point) { return point.flags; });
}

Json SeriesJson(const CaseRecording& recording, Columns& columns) {
  Json all = Json::array();
  for (const CaseSeries& series : recording.series) {
    Json one = {{"id", series.id},     {"family", series.family},
                {"name", series.name}, {"unit", series.unit},
                {"scale", 1},          {"decimals", 0}};
    Json& words = one["words"] = Json::array();
    for (const CaseWord& word : series.words)
      words.push_back({{"number", word.number}, {"text", word.text}});
    AddLine(series.line, "value", columns, one);
    one["thinned"] = series.thinned;
    all.push_back(std::move(one));
  }
  return all;
}

Json LanesJson(const CaseRecording& recording, Columns& columns) {
  Json all = Json::array();
  for (const CaseLane& lane : recording.lanes) {
    Json one = {{"id", lane.id},       {"group", lane.group},
                {"name", lane.name},   {"role", lane.role.empty() ? Json() : Json(lane.role)},
                {"words", lane.words}, {"on", lane.on}};
    AddLine(lane.line, "word", columns, one);
    all.push_back(std::move(one));
  }
  return all;
}

Json EventsJson(const CaseEvents& events, Columns& columns) {
  const std::vector<CaseEvent>& all = events.all;
  return {{"kinds", events.kinds},
          {"texts", events.texts},
          {"x", columns.Add(all, [](const CaseEvent& event) { return event.x; })},
          {"kind", columns.Add(all, [](const CaseEvent& event) { return event.kind; })},
          {"text", columns.Add(all, [](const CaseEvent& event) { return event.text; })},
          {"tick", columns.Add(all, [](const CaseEvent& event) { return event.tick; })},
          {"run", columns.Add(all, [](const CaseEvent& event) { return event.run; })},
          {"flags", columns.Add(all, [](const CaseEvent& event) { return event.flags; })}};
}

Json FindingsJson(const CaseRecording& recording) {
  Json all = Json::array();
  for (const CaseFinding& finding : recording.findings)
    all.push_back(
        {{"severity", finding.severity}, {"words", finding.words}, {"x", OrNull(finding.x)}});
  return all;
}

Json RecordingJson(const CaseRecording& recording, Columns& columns) {
  Json all;
  all["name"] = recording.name;
  all["sources"] = SourcesJson(recording);
  all["kind"] = recording.is_store ? "store" : "file";
  all["zone"] = recording.recorded_zone;
  all["nothing"] = recording.nothing;
  all["part"] = Json();
  if (recording.part) all["part"] = {{"from", recording.part->from}, {"to", recording.part->to}};
  all["facts"] = FactsJson(recording);
  AddSettings(recording, all);
  all["stretches"] = StretchesJson(recording);
  all["totals"] = TotalsJson(recording.totals);
  AddBreaks(recording, all);
  all["track"] = WayJson(recording, columns);
  all["series"] = SeriesJson(recording, columns);
  all["lanes"] = LanesJson(recording, columns);
  all["events"] = EventsJson(recording.events, columns);
  all["findings"] = FindingsJson(recording);
  return all;
}

Json HeaderOf(const CaseFile& file, const PageHeading& heading, Columns& columns) {
  Json header;
  header["format"] = 1;
  header["tool"] = "vmr " VMR_VERSION;
  header["made_us"] = heading.made_us;
  header["title"] = TitleOf(file, heading);
  header["range"] = Json();
  if (heading.from || heading.to)
    header["range"] = {{"from", OrNull(heading.from)}, {"to", OrNull(heading.to)}};
  header["video"] = Json();
  if (!heading.video.empty()) header["video"] = {{"name", heading.video}};
  header["axis_us"] = file.axis_us;
  header["has_time"] = file.has_time;
  header["zone"] = ZoneJson(file.zone);
  Json& recordings = header["recordings"] = Json::array();
  for (const CaseRecording& recording : file.recordings)
    recordings.push_back(RecordingJson(recording, columns));
  return header;
}

}  // namespace

std::string PackCase(const CaseFile& file, const PageHeading& heading) {
  Columns columns;
  const std::string header = HeaderOf(file, heading, columns).dump();
  unsigned char size[4];
  PutLe32(size, static_cast<std::uint32_t>(header.size()));
  return std::string(reinterpret_cast<const char*>(size), sizeof size) + header + columns.Bytes();
}

std::optional<std::string> DeflatedBase64(std::string_view bytes) {
  uLongf size = compressBound(bytes.size());
  std::vector<Bytef> deflated(size);
  const auto* const from = reinterpret_cast<const Bytef*>(bytes.data());
  if (compress2(deflated.data(), &size, from, bytes.size(), Z_BEST_COMPRESSION) != Z_OK)
    return std::nullopt;
  std::string text(BASE64_ENCODE_RAW_LENGTH(size), '\0');
  base64_encode_raw(text.data(), size, deflated.data());
  return text;
}

}  // namespace vmr::tool
