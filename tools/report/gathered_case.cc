#include "tools/report/gathered_case.h"

#include <fmt/format.h>

#include <utility>

#include "tools/common/console.h"
#include "tools/read/phrase.h"
#include "tools/report/case_axis.h"
#include "tools/report/case_zone.h"
#include "tools/report/gather.h"
#include "tools/report/sources.h"

namespace vmr::tool {

int GatheredCase::Read(Reading& reading) {
  UseZoneOf(reading);
  const SourceFiles files(reading.recording.files);
  ReadOutcome outcome;
  recordings_.push_back(GatherRecording(reading, outcome));
  CaseRecording& recording = recordings_.back();
  recording.sources = files.Digest();
  if (const std::string& called = reading.recording.called; !called.empty())
    for (CaseSource& source : recording.sources) source.path = called;
  const bool is_whole = SourceFiles::PutDamage(reading.recording, recording);
  if (!is_whole)
    Say(fmt::format("{}: not all that was recorded is surely there; the page says why",
                    reading.recording.name));
  if (!reading.recording.remark.empty())
    recording.findings.push_back({"note", EscapedText(reading.recording.remark), std::nullopt});
  for (const CaseSource& source : recording.sources)
    if (!source.problem.empty() && source.is_there)
      recording.findings.push_back(
          {"note", fmt::format("{}: {}", source.path, source.problem), std::nullopt});
  return outcome.complete && is_whole ? kExitSuccess : kExitPartial;
}

CaseFile GatheredCase::Finish() {
  CaseFile file = PutOnOneAxis(std::move(recordings_));
  SetZone(zone_, zone_is_recorded_, file);
  return file;
}

// All local times of a page are of one zone, the first that is told.
void GatheredCase::UseZoneOf(const Reading& reading) {
  if (zone_.empty()) zone_ = reading.zone;
  if (!zone_.empty() && zone_ != reading.zone) UseTimeZone(zone_);
}

}  // namespace vmr::tool
