#include "tools/ring/flat_check.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

#include "backends/file_io.h"
#include "records/decoder.h"
#include "records/flat_source.h"
#include "store/packet_format.h"
#include "tools/common/console.h"
#include "tools/common/flat_file.h"
#include "tools/common/iso_time.h"
#include "tools/common/time_point.h"
#include "tools/ring/findings.h"
#include "tools/ring/report.h"

namespace vmr::tool {
namespace {

using nlohmann::ordered_json;
using records::GapReason;
using records::Time;
using records::TimeQuality;

constexpr FlatFindingKind kNoMagic = {"no_magic", Severity::kLost,
                                      "does not begin as a flat file; no reader opens it"};
constexpr FlatFindingKind kNoDictionary = {"no_dictionary", Severity::kDamaged,
                                           "no dictionary where one belongs"};
constexpr FlatFindingKind kForeignDictionary = {"foreign_dictionary", Severity::kDamaged,
                                                "the dictionary is none that this version writes"};
constexpr FlatFindingKind kWrongCrc = {"wrong_crc", Severity::kLost, "a packet with a wrong CRC"};
constexpr FlatFindingKind kNoPackets = {"no_packets", Severity::kLost, "bytes that are no packet"};
constexpr FlatFindingKind kCutShort = {"cut_short", Severity::kLost,
                                       "the file ends within a packet"};
constexpr FlatFindingKind kLostBefore = {"lost_before", Severity::kLost,
                                         "something was lost before this was copied out"};
// The CRC of their packet may be wrong, too: what cannot be decoded is unknown.
constexpr FlatFindingKind kUndecodableItems = {"undecodable_items", Severity::kLost,
                                               "items that no reader decodes"};
constexpr FlatFindingKind kTicksGoBack = {"ticks_go_back", Severity::kDamaged, "ticks go back"};
constexpr FlatFindingKind kBehindTheEnd = {
    "behind_the_end", Severity::kDamaged,
    "packets behind the end of the stream, which no reader reaches"};

const FlatFindingKind& KindOfGap(GapReason reason) {
  if (reason == GapReason::kWrongCrc) return kWrongCrc;
  if (reason == GapReason::kUnknownItems) return kUndecodableItems;
  if (reason == GapReason::kMarked) return kLostBefore;
  return reason == GapReason::kCutShort ? kCutShort : kNoPackets;
}

// The first bytes of the file, as many as there are; all of it is read. False, and errno.
bool ReadThrough(const std::string& path, std::vector<unsigned char>& beginning,
                 std::int64_t& bytes) {
  constexpr std::size_t kAtOnceBytes = 256 * 1024;
  const int fd = OpenFile(path, O_RDONLY | O_NONBLOCK);
  if (!IsOpenDescriptor(fd)) return false;
  std::vector<unsigned char> buffer(kAtOnceBytes);
  ssize_t count = 0;
  bytes = 0;
  while ((count = ReadFile(fd, buffer.data(), buffer.size())) > 0) {
    if (bytes == 0) beginning.assign(buffer.data(), buffer.data() + count);
    bytes += count;
  }
  const int error = errno;
  static_cast<void>(CloseFile(fd));  // nothing was written
  errno = error;
  return count == 0;
}

bool HasMagic(const std::vector<unsigned char>& beginning) {
  return beginning.size() >= sizeof(kFlatFileMagic) &&
         std::memcmp(beginning.data(), kFlatFileMagic, sizeof(kFlatFileMagic)) == 0;
}

std::string TickText(unsigned int tick, const Time& time) {
  return time.quality == TimeQuality::kUnknown
             ? fmt::format("{}", tick)
             : fmt::format("{} ({})", tick, LocalTimeText(time.us));
}

std::string SpanText(const FlatFinding& finding) {
  const bool from = finding.from_tick != kNoTick, to = finding.to_tick != kNoTick;
  if (from && to)
    return fmt::format("; between ticks {} and {}", TickText(finding.from_tick, finding.from),
                       TickText(finding.to_tick, finding.to));
  if (from) return fmt::format("; after tick {}", TickText(finding.from_tick, finding.from));
  return to ? fmt::format("; before tick {}", TickText(finding.to_tick, finding.to)) : "";
}

ordered_json TickJson(unsigned int tick) {
  return tick == kNoTick ? ordered_json() : ordered_json(tick);
}

ordered_json TimeJson(const Time& time) {
  return time.quality == TimeQuality::kUnknown ? ordered_json() : ordered_json(UtcText(time.us));
}

}  // namespace

void FlatCheck::Add(const FlatFindingKind& kind, std::int64_t offset, std::size_t bytes) {
  FlatFinding finding{};
  finding.kind = &kind;
  finding.offset = offset;
  finding.bytes = static_cast<std::int64_t>(bytes);
  finding.from_tick = finding.to_tick = kNoTick;
  findings_.push_back(finding);
}

// ---- Reading -----------------------------------------------------------------------

bool FlatCheck::Read() {
  std::vector<unsigned char> beginning;
  if (!ReadThrough(path_, beginning, bytes_)) return false;
  if (!HasMagic(beginning)) {
    Add(kNoMagic, 0, sizeof(kFlatFileMagic));
    return true;
  }
  CheckDictionary(beginning);
  Decode();
  return true;
}

// It has no CRC, and every file in the field has the same one.
void FlatCheck::CheckDictionary(const std::vector<unsigned char>& beginning) {
  constexpr std::size_t kAt = sizeof(kFlatFileMagic);
  const std::vector<unsigned char> own = OwnDictionary();
  const auto have = static_cast<std::ptrdiff_t>(std::min(own.size(), beginning.size() - kAt));
  const auto at = beginning.begin() + static_cast<std::ptrdiff_t>(kAt);
  if (have > 0 && std::equal(own.begin(), own.begin() + have, at)) return;  // or cut short
  const bool any = have > 0 && *at == HEADER_DICTIONARY;
  Add(any ? kForeignDictionary : kNoDictionary, kAt, any ? own.size() : 0);
}

void FlatCheck::Decode() {
  records::FlatProblem problem{};
  const auto source = records::FlatSource::Open(path_, problem);
  if (source != nullptr) records::Decoder(*source, *this).Run();
}

void FlatCheck::OnRecord(const records::Record& record) {
  ++records_;
  kinds_.insert(record.kind->name);
  if (record.kind->id == records::KindId::kLog && record.packet_tick == first_tick_)
    TakeLabel(record);
  last_place_ = record.place;
  if (record.packet_tick == kNoTick) return;
  if (first_tick_ == kNoTick) {
    first_tick_ = record.packet_tick;
    first_time_ = record.time;
    if (record.kind->id == records::KindId::kLog) TakeLabel(record);
  }
  if (has_ended_ && record.packet_tick != end_tick_) {
    Add(kBehindTheEnd, record.place.offset, 0);
    findings_.back().from_tick = end_tick_;
    findings_.back().to_tick = record.packet_tick;
    has_ended_ = false;  // told once
  }
  if (record.kind->id == records::KindId::kEndOfStream) {
    has_ended_ = true;
    end_tick_ = record.packet_tick;
  }
  last_tick_ = record.packet_tick;
  last_time_ = record.time;
}

// "Range 1000 to 2000", as an extraction writes at its beginning.
void FlatCheck::TakeLabel(const records::Record& record) {
  const std::string text(records::ValueOf(record, 0).text);
  Range range{};
  int length = 0;
  if (std::sscanf(text.c_str(), "Range %u to %u%n", &range.first, &range.last, &length) == 2 &&
      static_cast<std::size_t>(length) == text.size())
    range_ = range;
}

void FlatCheck::OnGap(const records::Gap& gap) {
  findings_.push_back({&KindOfGap(gap.reason), gap.place.offset, gap.bytes, gap.from_tick,
                       gap.to_tick, gap.from, gap.to});
}

void FlatCheck::OnNewRun(int /*run*/, unsigned int tick) {
  Add(kTicksGoBack, last_place_.offset, 0);
  findings_.back().from_tick = last_tick_;
  findings_.back().from = last_time_;
  findings_.back().to_tick = tick;
}

// ---- What is said ------------------------------------------------------------------

Severity FlatCheck::Gravest() const {
  Severity gravest = Severity::kNormal;
  for (const FlatFinding& finding : findings_) gravest = std::max(gravest, finding.kind->severity);
  return gravest;
}

int FlatCheck::ExitCode() const {
  if (Gravest() == Severity::kLost) return kExitPartial;
  return Gravest() == Severity::kDamaged ? kExitDamaged : kExitSuccess;
}

const char* FlatCheck::Verdict() const {
  if (Gravest() == Severity::kLost) return "something is lost";
  return Gravest() == Severity::kDamaged ? "damaged, nothing is lost" : "sound";
}

std::string FlatCheck::Describe(const FlatFinding& finding) const {
  const std::string bytes = finding.bytes > 0 ? fmt::format(", {} bytes", finding.bytes) : "";
  return fmt::format("{} offset {}: {}{}{}", Printable(path_), finding.offset, finding.kind->phrase,
                     bytes, SpanText(finding));
}

std::string FlatCheck::Text() const {
  constexpr int kMostAlike = 20;
  std::string text = fmt::format("{}: {} bytes, {} records", Printable(path_), bytes_, records_);
  if (first_tick_ != kNoTick)
    text += fmt::format(", ticks {} to {}", TickText(first_tick_, first_time_),
                        TickText(last_tick_, last_time_));
  text += '\n';
  if (range_)
    text += fmt::format("{}: extracted as ticks {} to {}\n", Printable(path_), range_->first,
                        range_->last);
  std::map<const FlatFindingKind*, int> told;
  for (const FlatFinding& finding : findings_)
    if (++told[finding.kind] <= kMostAlike)
      text += fmt::format("{}: {}\n", SeverityText(finding.kind->severity), Describe(finding));
  for (const auto& [kind, count] : told)
    if (count > kMostAlike)
      text += fmt::format("{}: {} more places: {}\n", SeverityText(kind->severity),
                          count - kMostAlike, kind->phrase);
  return text + Verdict() + "\n";
}

ordered_json FlatCheck::FindingJson(const FlatFinding& finding) const {
  ordered_json json;
  json["kind"] = finding.kind->name;
  json["severity"] = SeverityText(finding.kind->severity);
  json["offset"] = finding.offset;
  json["bytes"] = finding.bytes > 0 ? ordered_json(finding.bytes) : ordered_json();
  json["first_tick"] = TickJson(finding.from_tick);
  json["last_tick"] = TickJson(finding.to_tick);
  json["first_time"] = TimeJson(finding.from);
  json["last_time"] = TimeJson(finding.to);
  json["text"] = Describe(finding);
  return json;
}

ordered_json FlatCheck::Json() const {
  ordered_json json;
  json["file"] = path_;
  json["verdict"] = Gravest() == Severity::kNormal ? "sound" : SeverityText(Gravest());
  ordered_json recording;
  recording["bytes"] = bytes_;
  recording["records"] = records_;
  recording["record_kinds"] = kinds_;
  recording["first_tick"] = TickJson(first_tick_);
  recording["last_tick"] = TickJson(last_tick_);
  recording["first_time"] = TimeJson(first_time_);
  recording["last_time"] = TimeJson(last_time_);
  recording["extracted_from"] = range_ ? ordered_json(range_->first) : ordered_json();
  recording["extracted_to"] = range_ ? ordered_json(range_->last) : ordered_json();
  json["recording"] = recording;
  json["findings"] = ordered_json::array();
  for (const FlatFinding& finding : findings_) json["findings"].push_back(FindingJson(finding));
  return json;
}

}  // namespace vmr::tool
