#include "tools/ring/report.h"

#include <fmt/format.h>
#include <time.h>

#include <algorithm>

#include "backends/cluster_format.h"
#include "tools/common/console.h"
#include "tools/common/iso_time.h"
#include "tools/common/time_point.h"

namespace vmr::tool {
namespace {

using nlohmann::ordered_json;

std::string Joined(const std::set<std::string>& names) {
  return fmt::format("{}", fmt::join(names, ", "));
}

const char* WhatTheOtherHas(const Finding& finding) {
  if (finding.kind->form == FindingForm::kFile) return "the recording";
  return finding.Clusters() == 1 ? "a good copy" : "good copies";
}

struct CopyCounts {
  int good = 0;
  int never_written = 0;
  int damaged = 0;
};

CopyCounts CountCopies(const RingSurvey& survey, int file) {
  CopyCounts counts;
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    const CopyState state = survey.At(cluster).Copy(file).state;
    if (state == CopyState::kGood)
      ++counts.good;
    else if (state == CopyState::kNeverWritten)
      ++counts.never_written;
    else
      ++counts.damaged;
  }
  return counts;
}

struct Totals {
  int clusters = 0;
  unsigned long packets = 0;
  unsigned long items = 0;
  TagSet tags;

  void Add(const ClusterContent& content) {
    ++clusters;
    packets += content.packets;
    items += content.items;
    tags |= content.tags;
  }
};

Totals AddUp(const RingSurvey& survey) {
  Totals totals;
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    if (!survey.At(cluster).HoldsData()) continue;
    totals.Add(survey.At(cluster).Best().content);
  }
  return totals;
}

}  // namespace

std::string UtcText(std::int64_t time_us) {
  const auto seconds = static_cast<time_t>(time_us / kMicrosecondsPerSecond);
  struct tm utc {};
  if (gmtime_r(&seconds, &utc) == nullptr) return "";
  char text[64];
  return {text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

std::string ClusterText(int first, int last) {
  return first == last ? fmt::format("cluster {}", first)
                       : fmt::format("clusters {} to {}", first, last);
}

bool FindingLimit::Tells(const Finding& finding) {
  const auto same = [&finding](const Group& group) {
    return group.kind == finding.kind && group.file == finding.file;
  };
  auto group = std::find_if(groups_.begin(), groups_.end(), same);
  if (group == groups_.end()) group = groups_.insert(group, {finding.kind, finding.file});
  if (group->told < kMostAlike) return ++group->told, true;
  ++group->untold;
  group->untold_clusters += finding.Clusters();
  return false;
}

std::string FindingLimit::Rest(const RingSurvey& survey) const {
  std::string text;
  for (const Group& group : groups_) {
    if (group.untold == 0) continue;
    text +=
        fmt::format("{}: {}{} more places, {} clusters: {}\n", SeverityText(group.kind->severity),
                    group.file > 0 ? Printable(survey.File(group.file).Path()) + " " : "",
                    group.untold, group.untold_clusters, group.kind->phrase);
  }
  return text;
}

int RingReport::ExitCode() const {
  const Severity gravest = Gravest(findings_);
  if (gravest == Severity::kLost) return kExitPartial;
  return gravest == Severity::kDamaged ? kExitDamaged : kExitSuccess;
}

// ---- For people -------------------------------------------------------------------

std::string RingReport::Text() const {
  std::string text = RecordingLine();
  for (const int file : kFileNumbers) text += FileLine(file);
  FindingLimit limit;
  for (const Finding& finding : findings_)
    if (limit.Tells(finding))
      text += fmt::format("{}: {}\n", SeverityText(finding.Grade()), Describe(finding));
  return text + limit.Rest(survey_) + Verdict();
}

std::string RingReport::TextOfFilesAlone() const {
  std::string text;
  for (const int file : kFileNumbers) {
    if (!survey_.File(file).IsOpen()) {
      text += fmt::format("file {}: cannot be read\n", file);
      continue;
    }
    const int damaged = CountCopies(survey_, file).damaged;
    text += fmt::format("file {}: {} damaged cluster{}\n", file, damaged, damaged == 1 ? "" : "s");
  }
  return text + Verdict();
}

std::string RingReport::RecordingLine() const {
  const Totals totals = AddUp(survey_);
  if (survey_.IsOfTwoRecordings()) return FileRecordingLine(1) + FileRecordingLine(2);
  if (survey_.Empty()) return fmt::format("{}: nothing is recorded\n", Printable(name_));
  return fmt::format("{}: {} packets with {} items in {} clusters, ticks {} to {}\n",
                     Printable(name_), totals.packets, totals.items, totals.clusters,
                     TickText(survey_.At(survey_.Oldest()).FirstTick()),
                     TickText(survey_.At(survey_.Newest()).LastTick()));
}

// Of one file alone. Times are not told: it takes both files to know where it begins.
std::string RingReport::FileRecordingLine(int file) const {
  Totals totals;
  unsigned int first = kNoTick, last = 0;
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    const CopyFacts& copy = survey_.At(cluster).Copy(file);
    if (copy.state != CopyState::kGood) continue;
    totals.Add(copy.content);
    first = std::min(first, copy.FirstTick());
    if (copy.LastTick() != kNoTick) last = std::max(last, copy.LastTick());
  }
  return fmt::format("{}: {} packets with {} items in {} clusters, ticks {} to {}\n",
                     Printable(survey_.File(file).Path()), totals.packets, totals.items,
                     totals.clusters, first, last);
}

std::string RingReport::FileLine(int file) const {
  const ClusterFile& looked_at = survey_.File(file);
  if (!looked_at.IsOpen()) return "";
  const CopyCounts counts = CountCopies(survey_, file);
  return fmt::format("{}: {} clusters good, {} never written, {} damaged\n",
                     Printable(looked_at.Path()), counts.good, counts.never_written,
                     counts.damaged);
}

std::string RingReport::Verdict() const {
  switch (Gravest(findings_)) {
    case Severity::kNormal:
      return "sound\n";
    case Severity::kDamaged: {
      const bool open = std::any_of(findings_.begin(), findings_.end(), [](const Finding& finding) {
        return finding.last_packet_open;
      });
      return open ? "damaged, nothing is lost but perhaps the latest packet\n"
                  : "damaged, nothing is lost\n";
    }
    case Severity::kLost:
      break;
  }
  return survey_.IsOfTwoRecordings() ? "two recordings\n" : "something is lost\n";
}

std::string RingReport::TickText(unsigned int tick) const {
  const auto time_us = survey_.Clock().TimeAt(tick);
  return time_us ? fmt::format("{} ({})", tick, LocalTimeText(*time_us)) : fmt::format("{}", tick);
}

std::string RingReport::SpanText(const Finding& finding) const {
  const bool from = finding.first_tick != kNoTick;
  const bool to = finding.last_tick != kNoTick;
  if (from && to && finding.Is(finding_kind::kTicksGoBack))
    return fmt::format("; from tick {} to {}", TickText(finding.first_tick),
                       TickText(finding.last_tick));
  const char* const between = finding.Is(finding_kind::kLost) ? "between ticks" : "ticks";
  const char* const and_to = finding.Is(finding_kind::kLost) ? "and" : "to";
  if (from && to)
    return fmt::format("; {} {} {} {}", between, TickText(finding.first_tick), and_to,
                       TickText(finding.last_tick));
  if (from) return fmt::format("; after tick {}", TickText(finding.first_tick));
  return to ? fmt::format("; before tick {}", TickText(finding.last_tick)) : "";
}

// Not for a whole file, which would list nearly every kind that there is.
std::string RingReport::ItemsText(const Finding& finding) {
  if (finding.tags.none() || finding.kind->form == FindingForm::kFile) return "";
  return fmt::format("{}{}", finding.Is(finding_kind::kLost) ? "; still legible there: " : ": ",
                     Joined(KindNames(finding.tags)));
}

std::string RingReport::WhyNotOpened(const Finding& finding) const {
  return finding.Is(finding_kind::kNotOpened) ? ": " + survey_.File(finding.file).Reason() : "";
}

const char* RingReport::OpenPacketText(const Finding& finding) {
  if (finding.kind->form == FindingForm::kFile)
    return "; the latest packet may have been in it alone";
  if (finding.Is(finding_kind::kMisplaced)) return "; the latest packet stands there alone";
  return "; a power cut may have left it so, and then only a packet that was being written is "
         "missing";
}

std::string RingReport::Describe(const Finding& finding) const {
  const FindingKind& kind = *finding.kind;
  const auto path = [this](int number) { return Printable(survey_.File(number).Path()); };
  const std::string file = finding.file > 0 ? path(finding.file) + " " : "";
  const std::string clusters = ClusterText(finding.first_cluster, finding.last_cluster);
  if (kind.form == FindingForm::kPlace) return fmt::format("{}{} {}", file, kind.phrase, clusters);
  if (kind.form == FindingForm::kFiles)
    return fmt::format("{} and {} {}", path(1), path(2), kind.phrase);
  std::string text =
      kind.form == FindingForm::kFile
          ? fmt::format("{}{}{}; {}", file, kind.phrase, WhyNotOpened(finding), clusters)
          : fmt::format("{}{}: {}", file, clusters, kind.phrase);
  text += SpanText(finding) + ItemsText(finding);
  if (finding.good_file > 0)
    text += fmt::format("; {} has {}", path(finding.good_file), WhatTheOtherHas(finding));
  if (finding.Is(finding_kind::kMissingFile) && finding.file == 1)
    text += "; a recorder that starts now goes on at cluster 0";
  if (finding.preferred_file > 0)
    text += fmt::format("; a recorder goes on with {}, and `vmr recover` takes its copies",
                        path(finding.preferred_file));
  if (finding.last_packet_open) text += OpenPacketText(finding);
  if (!finding.search_path.empty() && kind.form == FindingForm::kCopies &&
      finding.Grade() != Severity::kNormal)
    text += fmt::format("; a recorder that starts reads cluster {}",
                        fmt::join(finding.search_path, ", "));
  return text;
}

// ---- For programs -----------------------------------------------------------------

ordered_json RingReport::Json() const {
  ordered_json json;
  const Severity gravest = Gravest(findings_);
  json["store"] = name_;
  json["verdict"] = survey_.IsOfTwoRecordings()    ? "two_recordings"
                    : gravest == Severity::kNormal ? "sound"
                                                   : SeverityText(gravest);
  json["recording"] = survey_.IsOfTwoRecordings() ? ordered_json() : RecordingJson();
  json["files"] = {FileJson(1), FileJson(2)};
  json["findings"] = ordered_json::array();
  for (const Finding& finding : findings_) json["findings"].push_back(FindingJson(finding));
  return json;
}

ordered_json RingReport::TickJson(unsigned int tick) const {
  return tick != kNoTick ? ordered_json(tick) : ordered_json();
}

ordered_json RingReport::TimeJson(unsigned int tick) const {
  const auto time_us = tick != kNoTick ? survey_.Clock().TimeAt(tick) : std::nullopt;
  return time_us ? ordered_json(UtcText(*time_us)) : ordered_json();
}

ordered_json RingReport::RecordingJson() const {
  const Totals totals = AddUp(survey_);
  const bool empty = survey_.Empty();
  const unsigned int first = empty ? kNoTick : survey_.At(survey_.Oldest()).FirstTick();
  const unsigned int last = empty ? kNoTick : survey_.At(survey_.Newest()).LastTick();
  ordered_json json;
  json["clusters"] = totals.clusters;
  json["packets"] = totals.packets;
  json["items"] = totals.items;
  json["item_kinds"] = KindNames(totals.tags);
  json["oldest_cluster"] = empty ? ordered_json() : ordered_json(survey_.Oldest());
  json["newest_cluster"] = empty ? ordered_json() : ordered_json(survey_.Newest());
  json["first_tick"] = TickJson(first);
  json["last_tick"] = TickJson(last);
  json["first_time"] = TimeJson(first);
  json["last_time"] = TimeJson(last);
  return json;
}

ordered_json RingReport::FileJson(int file) const {
  const ClusterFile& looked_at = survey_.File(file);
  const CopyCounts counts = CountCopies(survey_, file);
  ordered_json json;
  json["path"] = looked_at.Path();
  json["bytes"] = looked_at.IsOpen() ? ordered_json(looked_at.Bytes()) : ordered_json();
  json["good_clusters"] = counts.good;
  json["never_written_clusters"] = counts.never_written;
  json["damaged_clusters"] = counts.damaged;
  json["searchable"] = looked_at.Problem() == FileProblem::kNone && survey_.SearchOf(file).found;
  return json;
}

ordered_json RingReport::FindingJson(const Finding& finding) const {
  const auto path = [this](int file) {
    return file > 0 ? ordered_json(survey_.File(file).Path()) : ordered_json();
  };
  ordered_json json;
  json["kind"] = finding.kind->name;
  json["severity"] = SeverityText(finding.Grade());
  json["file"] = path(finding.file);
  json["first_cluster"] = finding.first_cluster;
  json["last_cluster"] = finding.last_cluster;
  json["first_tick"] = TickJson(finding.first_tick);
  json["last_tick"] = TickJson(finding.last_tick);
  json["first_time"] = TimeJson(finding.first_tick);
  json["last_time"] = TimeJson(finding.last_tick);
  json["item_kinds"] = KindNames(finding.tags);
  json["good_copy"] = path(finding.good_file);
  json["search_path"] = finding.search_path;
  json["last_packet_open"] = finding.last_packet_open;
  json["text"] = Describe(finding);
  return json;
}

}  // namespace vmr::tool
