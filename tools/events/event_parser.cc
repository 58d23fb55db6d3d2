#include "tools/events/event_parser.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <utility>

#include "tools/events/json_fields.h"

namespace vmr::tool {
namespace {

using nlohmann::json;

Stamp ParseStamp(const JsonFields& fields) {
  Stamp stamp;
  if (fields.Has("tick")) stamp.tick = fields.Number<unsigned int>("tick");
  if (fields.Has("time")) stamp.time_us = fields.Time("time");
  return stamp;
}

ParsedLine ParseGpsd(const json& object) {
  static const Schema& schema = InputSchema().Definition("tpv");
  const JsonFields fields(object, schema);
  if (fields.Text("class") != "TPV") return IgnoredLine{};
  Report report{ParseStamp(fields), ParseTpv(fields), {}};
  if (std::string why = WhyNoSpeed(fields); !why.empty()) report.remark = why + "; ignored";
  return report;
}

ParsedLine ParseEvent(const json& object) {
  static const Schema& events = InputSchema().Definition("event");
  const JsonFields fields(object, *events.AlternativeFor(object));
  const EventKind* const kind = FindEventKind(fields.Text("event"));
  const Stamp stamp = ParseStamp(JsonFields(object, events));
  return Report{stamp, Event{kind->parse(fields), kind}, {}};
}

ParsedLine ParseObject(const json& object, LineSource source) {
  if (!object.is_object()) return UnusableLine{"not a JSON object"};
  const bool gpsd = object.contains("class");
  if (!gpsd && source == LineSource::kGpsd)
    return UnusableLine{"\"class\" is missing, as it is in no report of gpsd"};
  if (!gpsd && !object.contains("event"))
    return UnusableLine{"neither \"event\" nor \"class\" is there"};
  if (std::string why = InputSchema().Root().WhyNot(object); !why.empty())
    return UnusableLine{std::move(why)};
  return gpsd ? ParseGpsd(object) : ParseEvent(object);
}

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t\r\n") == text.npos; }

}  // namespace

ParsedLine ParseLine(std::string_view text, LineSource source) {
  if (IsBlank(text)) return BlankLine{};
  // The parser would take a NUL byte for the end of the text.
  if (const std::size_t nul = text.find('\0'); nul != text.npos)
    return UnusableLine{fmt::format("not valid JSON at column {}", nul + 1)};
  try {
    return ParseObject(json::parse(text), source);
  } catch (const json::parse_error& error) {
    return UnusableLine{fmt::format("not valid JSON at column {}", error.byte)};
  } catch (const json::exception&) {
    return UnusableLine{"not valid JSON: a number is out of range"};
  }
}

}  // namespace vmr::tool
