#include "tools/events/gpsd_line.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <utility>

#include "tools/common/iso_time.h"
#include "tools/events/schema.h"

namespace vmr::tool {
namespace {

using simdjson::dom::element;

// The two parsers read printable ASCII alike. What only one of them takes, or takes for
// something else, stands in other bytes: escapes, what is no UTF-8, NUL, a byte order mark.
//
// No test for what is odd ends the loop, and all are of one byte's width: that is a loop
// that compilers make a vector of.
bool IsPlain(std::string_view text) {
  constexpr unsigned char kFirst = ' ';
  constexpr unsigned char kCount = '~' - ' ';
  unsigned char odd = 0;
  for (const char c : text) {
    const auto above_first = static_cast<unsigned char>(c - kFirst);
    odd |= static_cast<unsigned char>((above_first > kCount) | (c == '\\'));
  }
  return odd == 0;
}

// The line without its line end, of which gpsd writes two bytes.
std::string_view WithoutReturn(std::string_view text) {
  if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
  return text;
}

// The fields of a report that say something here; `tick` is in none that gpsd writes.
struct Fields {
  enum Name { kClass, kMode, kTime, kLatitude, kLongitude, kSpeed, kTick, kCount };
  static constexpr std::string_view kNames[kCount] = {"class", "mode",  "time", "lat",
                                                      "lon",   "speed", "tick"};
  static constexpr std::size_t kShortest = 3, kLongest = 5;  // of the names
  std::array<std::optional<element>, kCount> values;

  const std::optional<element>& operator[](Name name) const { return values[name]; }
};

// False when one is there twice: of those the last counts.
bool Collect(const simdjson::dom::object& object, Fields& fields) {
  for (const auto field : object) {
    if (field.key.size() < Fields::kShortest || field.key.size() > Fields::kLongest) continue;
    const auto* const name = std::find(Fields::kNames, std::end(Fields::kNames), field.key);
    if (name == std::end(Fields::kNames)) continue;
    std::optional<element>& value = fields.values[static_cast<std::size_t>(name - Fields::kNames)];
    if (value) return false;
    value = field.value;
  }
  return true;
}

// What the schema says of a report's values, looked up once.
struct Limits {
  const Schema& tpv = InputSchema().Definition("tpv");
  const Schema& mode = *tpv.Property("mode");
  const Schema& latitude = *tpv.Then()->Property("lat");
  const Schema& longitude = *tpv.Then()->Property("lon");
  const Schema& speed = InputSchema().Definition("gpsSpeed");
};

// A number within its limits. False for another value; one that is not there is none.
bool TakeNumber(const std::optional<element>& value, const Schema& schema,
                std::optional<double>& number) {
  if (!value) return true;
  double taken = 0;
  if (value->get(taken) != simdjson::SUCCESS || !schema.TakesNumber(taken)) return false;
  number = taken;
  return true;
}

bool TakeMode(const std::optional<element>& value, const Schema& schema, int& mode) {
  std::int64_t taken = 0;
  if (!value || value->get(taken) != simdjson::SUCCESS) return false;
  if (!schema.TakesNumber(static_cast<double>(taken))) return false;
  mode = static_cast<int>(taken);
  return true;
}

bool TakeTime(const std::optional<element>& value, std::optional<std::int64_t>& time_us) {
  if (!value) return true;
  std::string_view text;
  if (value->get(text) != simdjson::SUCCESS) return false;
  time_us = ParseIsoTime(text);
  return time_us.has_value();
}

std::optional<ParsedLine> TakeTpv(const Fields& fields) {
  static const Limits kLimits;
  Stamp stamp;
  TpvFields tpv;
  if (fields[Fields::kTick] || !TakeMode(fields[Fields::kMode], kLimits.mode, tpv.mode) ||
      !TakeTime(fields[Fields::kTime], stamp.time_us) ||
      !TakeNumber(fields[Fields::kSpeed], kLimits.speed, tpv.speed))
    return std::nullopt;
  // Without a fix the axes are not looked at, whatever they hold.
  if (HasFix(tpv.mode) &&
      (!TakeNumber(fields[Fields::kLatitude], kLimits.latitude, tpv.latitude) ||
       !TakeNumber(fields[Fields::kLongitude], kLimits.longitude, tpv.longitude)))
    return std::nullopt;
  return Report{stamp, MakeGpsReport(tpv), {}};
}

std::optional<ParsedLine> TakeReport(const simdjson::dom::object& object) {
  Fields fields;
  std::string_view report_class;
  if (!Collect(object, fields) || !fields[Fields::kClass] ||
      fields[Fields::kClass]->get(report_class) != simdjson::SUCCESS)
    return std::nullopt;
  return report_class == "TPV" ? TakeTpv(fields) : ParsedLine(IgnoredLine{});
}

}  // namespace

// The parser reads whole vectors: behind the line there must be bytes, whatever they are.
struct GpsdLineParser::Room {
  simdjson::dom::parser parser{kMostBytes};
  std::array<char, kMostBytes + simdjson::SIMDJSON_PADDING> line{};
};

GpsdLineParser::GpsdLineParser() = default;
GpsdLineParser::~GpsdLineParser() = default;

std::optional<ParsedLine> GpsdLineParser::Parse(std::string_view text) {
  text = WithoutReturn(text);
  if (text.empty() || text.front() != '{' || text.size() > kMostBytes || !IsPlain(text))
    return std::nullopt;
  if (room_ == nullptr) room_ = std::make_unique<Room>();
  std::copy(text.begin(), text.end(), room_->line.begin());
  simdjson::dom::object object;
  if (room_->parser.parse(room_->line.data(), text.size(), false).get(object) != simdjson::SUCCESS)
    return std::nullopt;
  return TakeReport(object);
}

ParsedLine LineParser::Parse(std::string_view text, LineSource source) {
  if (std::optional<ParsedLine> taken = gpsd_.Parse(text)) return std::move(*taken);
  return ParseLine(text, source);
}

}  // namespace vmr::tool
