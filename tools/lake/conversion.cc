#include "tools/lake/conversion.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "backends/cluster_format.h"
#include "records/decoder.h"
#include "records/ring_source.h"
#include "records/two_sinks.h"
#include "tools/common/console.h"
#include "tools/common/file_digest.h"
#include "tools/common/progress.h"
#include "tools/lake/ending.h"
#include "tools/lake/names.h"
#include "tools/lake/row_files.h"
#include "tools/lake/summary.h"
#include "tools/read/columns.h"
#include "tools/read/opened_recording.h"

namespace vmr::tool {
namespace {

constexpr const char* kRowFile = "recording.rows";
constexpr const char* kOk = "ok";
constexpr const char* kDamaged = "damaged";

class Stopwatch {
 public:
  std::int64_t Milliseconds() const {
    const auto passed = std::chrono::steady_clock::now() - start_;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct Unread {
  const char* status;
  const char* findings;  // without the path, which is no fact of the recording
  int exit_code;
};

Unread WhyUnread(OpenProblem problem) {
  switch (problem) {
    case OpenProblem::kMissing:
      return {"missing", "", kExitFailure};
    case OpenProblem::kDamaged:
      return {kDamaged, "nothing of it can be read", kExitPartial};
    case OpenProblem::kMixed:
      return {"mixed", "its files are of two recordings", kExitPartial};
    default:
      return {"unreadable", "it cannot be opened, or is no recording", kExitFailure};
  }
}

void AddFinding(const std::string& what, std::string& findings) {
  if (!what.empty()) findings += (findings.empty() ? "" : "; ") + what;
}

std::string Several(const std::set<std::string>& told, const char* what) {
  if (told.size() <= 1) return {};
  return fmt::format("{}{} {} told, the first one names the unit",
                     told.size() == Summary::kMostIdentities ? "at least " : "", told.size(), what);
}

class Conversion {
 public:
  Conversion(const std::string& path, const ConversionTools& tools)
      : tools_(tools), rows_(tools.scratch.Folder()) {
    said_.path = path;
  }

  Converted Run() {
    OpenedRecording opened = OpenRecording(said_.path, PathKind::kDetect);
    row_.source = std::filesystem::path(opened.name).filename();
    const Stopwatch watch;
    if (opened.source == nullptr)
      TellUnread(opened);
    else
      Decode(opened);
    said_.decode_ms = watch.Milliseconds();
    if (said_.status != "missing" && !failed_) Write();
    tools_.scratch.Clear();
    if (failed_) {
      said_.status = "failed";
      said_.exit_code = kExitFailure;
    }
    return std::move(said_);
  }

 private:
  void TellUnread(const OpenedRecording& opened) {
    const Unread why = WhyUnread(opened.problem);
    said_.status = row_.status = why.status;
    said_.exit_code = why.exit_code;
    said_.findings = opened.error;
    row_.findings = why.findings;
    packets_ = summary_.packets.Digest();
    Say(opened.error);
    DigestFiles(opened);
  }

  void Decode(OpenedRecording& opened) {
    if (!opened.remark.empty()) Say(opened.remark);
    if (!DecodeAll(opened) || !rows_.Flush()) return Fail(rows_.Error());
    packets_ = summary_.packets.Digest();
    said_.records = summary_.records;
    said_.bytes = packets_.bytes;
    NoteStore(opened);
    DigestFiles(opened);
    Judge();
  }

  bool DecodeAll(OpenedRecording& opened) {
    records::Source& source = *opened.source;
    records::TwoSinks both(rows_, summary_);
    records::Decoder decoder(source, both);
    ProgressLine progress([&](unsigned long) {
      return fmt::format("{}: {:.0f} %", opened.name, source.Progress() * 100);
    });
    while (!rows_.HasFailed() && !PutOffEnding::IsDue() && decoder.Step()) progress.Step();
    return !rows_.HasFailed() && !PutOffEnding::IsDue();
  }

  void NoteStore(const OpenedRecording& opened) {
    const auto* const ring = dynamic_cast<const records::RingSource*>(opened.source.get());
    if (ring == nullptr) return;
    row_.has_clusters = true;
    row_.clusters = ClustersOf(ring->Span());
    summary_.overwritten = ring->Span().has_wrapped;
    const std::vector<FileHealth> files = CompareFiles(opened);
    for (std::size_t i = 0; i < files.size(); ++i) {
      row_.health.push_back(HealthWords(files[i]));
      if (!files[i].IsSound())
        AddFinding(fmt::format("file {}: {}", i + 1, row_.health.back()), health_findings_);
    }
    if (ring->SearchedAll())
      AddFinding("a cluster that recorders look for its end in is bad in both files",
                 health_findings_);
  }

  void DigestFiles(const OpenedRecording& opened) {
    if (!tools_.digests_files) return;
    for (const FileDigest& digest : DigestsOf(opened.files)) {
      // Of one that is being written it would be of no file that ever was.
      row_.sha256s.push_back(digest.is_moving ? "" : digest.sha256);
      if (digest.is_moving) AddFinding("a file changes, and has no digest", health_findings_);
    }
  }

  void Judge() {
    std::string& findings = row_.findings;
    AddFinding(WordsOfGaps(summary_), findings);
    AddFinding(health_findings_, findings);
    AddFinding(Several(summary_.serial_numbers, "serial numbers"), findings);
    AddFinding(Several(summary_.macs, "MAC addresses"), findings);
    const bool is_empty = packets_.bytes == 0 && summary_.gaps == 0;
    if (is_empty) AddFinding("nothing is recorded in it", findings);
    row_.status = is_empty ? "empty" : summary_.gap_reasons.empty() ? kOk : kDamaged;
    said_.status = row_.status;
    said_.findings = findings;
    if (row_.status != kOk) said_.exit_code = kExitPartial;
  }

  // ---- Files -----------------------------------------------------------------------

  // Once more under another name, where the first one is another recording's.
  void Write() {
    const Stopwatch watch;
    unit_ = UnitName();
    recording_ = RecordingName();
    if (WriteAs() == Lake::Placing::kIsAnother) {
      AddFinding(
          "a recording that begins so but goes on otherwise is in the lake as " + said_.recording,
          row_.findings);
      said_.findings = row_.findings;
      recording_ += "-" + packets_.all.substr(0, kTellingDigits);
      if (WriteAs() == Lake::Placing::kIsAnother) Fail("its name in the lake is taken");
    }
    said_.parquet_ms = watch.Milliseconds();
  }

  std::string UnitName() const {
    if (!summary_.serial_number.empty()) return SafeName(summary_.serial_number);
    LineBuffer mac;
    AppendHex(summary_.mac, 0, mac);
    return mac.size() > 0 ? fmt::to_string(mac) : "unknown";
  }

  std::string RecordingName() const {
    if (packets_.bytes == 0) return NameByPath(said_.path);
    return fmt::format("{}-{}-{}", CompactTick(summary_.first_tick),
                       CompactTime(summary_.first_time), packets_.first.substr(0, kTellingDigits));
  }

  Lake::Placing WriteAs() {
    said_.recording = unit_ + "-" + recording_;
    Lake::Made made;
    if (!MakeTables(made) || !MakeRow(made) || PutOffEnding::IsDue()) {
      Fail(row_error_.empty() ? tools_.writer.Error() : row_error_);
      return Lake::Placing::kFailed;
    }
    return Place(made);
  }

  bool MakeTables(Lake::Made& made) {
    for (const auto& [key, rows] : rows_.Files()) {
      const auto& [table, day] = key;
      const std::string file = rows.file.substr(0, rows.file.find('.')) + ".parquet";
      if (!tools_.writer.Write({table, unit_, recording_, rows.file, rows.count, file}))
        return false;
      const std::string folder =
          IsPartitioned(table) ? "kind=" + table + "/" + DateFolder(day) : table;
      made.files[folder + "/" + said_.recording + ".parquet"] = InScratch(file);
    }
    return true;
  }

  bool MakeRow(Lake::Made& made) {
    constexpr const char* kMadeRow = "recording.parquet";
    made.row = InScratch(kMadeRow);
    made.name = said_.recording;
    made.packets = packets_;
    made.scratch = tools_.scratch.Folder();
    row_error_ = WriteRows(InScratch(kRowFile), TextOfRow(row_, summary_, packets_));
    if (!row_error_.empty()) return false;
    return tools_.writer.Write({kRecordingsTable, unit_, recording_, kRowFile, 1, kMadeRow});
  }

  Lake::Placing Place(const Lake::Made& made) {
    const Lake::Outcome outcome = tools_.lake.Place(made);
    said_.written = outcome.written;
    said_.unchanged = outcome.unchanged;
    said_.removed = outcome.removed;
    if (outcome.placing == Lake::Placing::kFailed) Fail(outcome.error);
    if (outcome.placing == Lake::Placing::kHasMore) TellMore();
    // It could not be read when it was last looked at.
    if (outcome.placing == Lake::Placing::kDone && packets_.bytes > 0)
      tools_.lake.Forget("unknown-" + NameByPath(said_.path));
    return outcome.placing;
  }

  void TellMore() {
    const std::string what = "the lake has this recording with more in it; nothing was changed";
    Say(fmt::format("{}: {}", said_.path, what));
    AddFinding(what, said_.findings);
  }

  std::string InScratch(const std::string& file) const {
    return tools_.scratch.Folder() + "/" + file;
  }

  void Fail(const std::string& what) {
    failed_ = true;
    AddFinding(what, said_.findings);
  }

  static constexpr std::size_t kTellingDigits = 8;

  static std::int64_t ClustersOf(const records::RingSpan& span);

  const ConversionTools& tools_;
  Converted said_;
  RowFiles rows_;
  Summary summary_;
  PacketsDigest packets_;
  RecordingRow row_;
  std::string health_findings_;
  std::string unit_, recording_;
  std::string row_error_;
  bool failed_ = false;
};

std::int64_t Conversion::ClustersOf(const records::RingSpan& span) {
  if (span.newest < 0) return 0;
  return (span.newest - span.oldest + kClusterCount) % kClusterCount + 1;
}

}  // namespace

std::string LineOf(const Converted& said) {
  const nlohmann::ordered_json line = {
      {"path", said.path},       {"recording", said.recording}, {"status", said.status},
      {"exit", said.exit_code},  {"findings", said.findings},   {"records", said.records},
      {"bytes", said.bytes},     {"written", said.written},     {"unchanged", said.unchanged},
      {"removed", said.removed}, {"decode_ms", said.decode_ms}, {"parquet_ms", said.parquet_ms},
  };
  // A path is bytes: what is no UTF-8 is told as a replacement character.
  return line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

Converted Convert(const std::string& path, const ConversionTools& tools) {
  return Conversion(path, tools).Run();
}

}  // namespace vmr::tool
