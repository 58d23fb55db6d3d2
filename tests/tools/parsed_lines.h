// Whether two parsers made the same of a line.
#ifndef VMR_TESTS_TOOLS_PARSED_LINES_H_
#define VMR_TESTS_TOOLS_PARSED_LINES_H_

#include "tools/events/event_parser.h"

namespace vmr::test {

inline bool SameFix(const GpsStatusItem& a, const GpsStatusItem& b) {
  return a.latitude_degrees == b.latitude_degrees && a.latitude_minutes == b.latitude_minutes &&
         a.latitude_fraction == b.latitude_fraction && a.latitude_is_north == b.latitude_is_north &&
         a.longitude_degrees == b.longitude_degrees && a.longitude_minutes == b.longitude_minutes &&
         a.longitude_fraction == b.longitude_fraction && a.longitude_is_east == b.longitude_is_east;
}

inline bool SameGpsReport(const tool::GpsReport& a, const tool::GpsReport& b) {
  return a.has_fix == b.has_fix && a.speed_mph == b.speed_mph &&
         a.position.has_value() == b.position.has_value() &&
         (!a.position || SameFix(*a.position, *b.position));
}

// Events are compared by their kind alone: what they do cannot be compared.
inline bool SameReport(const tool::Report& a, const tool::Report& b) {
  if (a.stamp.tick != b.stamp.tick || a.stamp.time_us != b.stamp.time_us || a.remark != b.remark ||
      a.content.index() != b.content.index())
    return false;
  const auto* gps = std::get_if<tool::GpsReport>(&a.content);
  if (gps != nullptr) return SameGpsReport(*gps, std::get<tool::GpsReport>(b.content));
  return std::get<tool::Event>(a.content).kind == std::get<tool::Event>(b.content).kind;
}

inline bool SameLine(const tool::ParsedLine& a, const tool::ParsedLine& b) {
  if (a.index() != b.index()) return false;
  if (const auto* unusable = std::get_if<tool::UnusableLine>(&a))
    return unusable->reason == std::get<tool::UnusableLine>(b).reason;
  const auto* report = std::get_if<tool::Report>(&a);
  return report == nullptr || SameReport(*report, std::get<tool::Report>(b));
}

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_PARSED_LINES_H_
