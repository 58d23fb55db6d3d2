#include "tools/report/case_axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

namespace vmr::tool {
namespace {

// Everything that lies on it.
template <typename Visit>
void ForEachX(CaseRecording& recording, const Visit& visit) {
  const auto if_known = [&visit](std::optional<AxisX>& x) {
    if (x) visit(*x);
  };
  for (CaseStretch& stretch : recording.stretches) visit(stretch.first), visit(stretch.last);
  for (CaseFact& fact : recording.facts)
    for (CaseText& text : fact.values) if_known(text.x);
  for (CaseGap& gap : recording.gaps) if_known(gap.from), if_known(gap.to);
  for (CaseClockStep& step : recording.steps) visit(step.x);
  for (CaseNewRun& run : recording.new_runs) visit(run.x);
  for (WayPoint& point : recording.way) visit(point.x);
  for (CaseSeries& series : recording.series)
    for (LinePoint& point : series.line) visit(point.x);
  for (CaseLane& lane : recording.lanes)
    for (LinePoint& point : lane.line) visit(point.x);
  for (CaseEvent& event : recording.events.all) visit(event.x);
  for (CaseFinding& finding : recording.findings) if_known(finding.x);
  if (recording.part) visit(recording.part->from), visit(recording.part->to);
}

// What is told of the time in front of it lies at its beginning.
void KeepBehind(AxisX begin, CaseRecording& recording) {
  const std::vector<CaseGap> gaps = recording.gaps;  // but for a gap that reaches into it
  const std::optional<CasePart> part = recording.part;
  ForEachX(recording, [begin](AxisX& x) { x = std::max(x, begin); });
  recording.gaps = gaps;
  recording.part = part;
}

// Between two stretches that their ticks join; moved.
struct Pause {
  AxisX from, to;  // the first place of it, and the first behind it
};
std::vector<Pause> PausesOf(const AxisLayout& layout, const std::vector<CaseStretch>& stretches) {
  std::vector<Pause> pauses;
  for (std::size_t i = 1; i < stretches.size(); ++i) {
    const CaseStretch &before = stretches[i - 1], &behind = stretches[i];
    const Pause pause{layout.Moved(before.last) + 1, layout.Moved(behind.first)};
    const bool joined = before.run == behind.run && before.last + 1 == behind.first;
    if (joined && pause.from < pause.to) pauses.push_back(pause);
  }
  return pauses;
}

// What held when the unit went off is what its next ticks begin with, as everywhere.
void Interrupt(const std::vector<Pause>& pauses, Line& line) {
  if (pauses.empty() || line.empty()) return;
  Line interrupted;
  auto next = line.begin();
  std::optional<LinePoint> in_force;
  for (const Pause& pause : pauses) {
    for (; next != line.end() && next->x < pause.to; ++next) {
      if (next->Holds()) in_force = *next;
      interrupted.push_back(*next);
    }
    if (!in_force || !in_force->IsKnown()) continue;
    interrupted.push_back({pause.from, 0, LinePoint::kUnknown});
    const bool is_told = next != line.end() && next->x == pause.to && next->Holds();
    if (!is_told) interrupted.push_back({pause.to, in_force->value, in_force->flags});
  }
  interrupted.insert(interrupted.end(), next, line.end());
  line = std::move(interrupted);
}

// Nobody knows the way that was taken then.
void Interrupt(const std::vector<Pause>& pauses, std::vector<WayPoint>& way) {
  auto next = way.begin();
  for (const Pause& pause : pauses) {
    next = std::find_if(next, way.end(), [&pause](const WayPoint& point) {
      return point.x >= pause.to && (point.flags & WayPoint::kWrongCrc) == 0;
    });
    if (next != way.end()) next->flags |= WayPoint::kBegins;
  }
}

void MoveBy(AxisX by, CaseRecording& recording) {
  ForEachX(recording, [by](AxisX& x) { x += by; });
}

// Of a part that was asked for it may be in a gap in front of what is recorded.
AxisX BeginOf(const CaseRecording& recording) {
  if (recording.stretches.empty()) return recording.part ? recording.part->from : 0;
  const AxisX first = recording.stretches.front().first;
  return recording.part ? std::min(recording.part->from, first) : first;
}

// The last part of a path, where no other recording has the same.
void ShortenNames(std::vector<CaseRecording>& recordings) {
  const auto short_name = [](const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos || slash + 1 == path.size() ? path : path.substr(slash + 1);
  };
  std::vector<std::string> names;
  names.reserve(recordings.size());
  for (const CaseRecording& recording : recordings) names.push_back(short_name(recording.name));
  for (std::size_t i = 0; i < names.size(); ++i)
    if (std::count(names.begin(), names.end(), names[i]) == 1) recordings[i].name = names[i];
  // One that was given twice.
  for (std::size_t i = 0; i < recordings.size(); ++i) {
    const auto before =
        std::count_if(recordings.begin(), recordings.begin() + static_cast<std::ptrdiff_t>(i),
                      [&](const CaseRecording& other) { return other.name == recordings[i].name; });
    if (before > 0) recordings[i].name += fmt::format(" ({})", before + 1);
  }
}

}  // namespace

bool CaseRecording::HasTime() const {
  return std::any_of(stretches.begin(), stretches.end(), [](const CaseStretch& stretch) {
    return stretch.time.quality != records::TimeQuality::kUnknown;
  });
}

bool CaseRecording::IsDisplaced() const {
  return std::all_of(stretches.begin(), stretches.end(),
                     [](const CaseStretch& stretch) { return stretch.displaced; });
}

void LayOut(const AxisLayout& layout, CaseRecording& recording) {
  for (CaseStretch& stretch : recording.stretches)
    stretch.displaced = layout.IsDisplaced(stretch.first);
  const std::vector<Pause> pauses = PausesOf(layout, recording.stretches);
  ForEachX(recording, [&layout](AxisX& x) { x = layout.Moved(x); });
  for (CaseSeries& series : recording.series) Interrupt(pauses, series.line);
  for (CaseLane& lane : recording.lanes) Interrupt(pauses, lane.line);
  Interrupt(pauses, recording.way);
  recording.on_utc = layout.HasTime();
}

CaseFile PutOnOneAxis(std::vector<CaseRecording> recordings) {
  CaseFile file;
  std::optional<AxisX> axis;
  for (const CaseRecording& recording : recordings)
    if (recording.on_utc && !recording.stretches.empty())
      axis = std::min(axis.value_or(BeginOf(recording)), BeginOf(recording));
  file.has_time = axis.has_value();
  file.axis_us = axis.value_or(0) * records::kTick_us;
  for (CaseRecording& recording : recordings) {
    const AxisX begin = BeginOf(recording);
    if (!recording.stretches.empty()) KeepBehind(recording.stretches.front().first, recording);
    MoveBy(recording.on_utc && axis ? -*axis : -begin, recording);
  }
  ShortenNames(recordings);
  file.recordings = std::move(recordings);
  return file;
}

}  // namespace vmr::tool
