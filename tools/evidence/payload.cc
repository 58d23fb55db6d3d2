#include "tools/evidence/payload.h"

#include <fmt/format.h>

#include <initializer_list>
#include <map>
#include <set>
#include <utility>

#include "tools/common/console.h"
#include "tools/common/quiet_log.h"
#include "tools/common/store_lock.h"
#include "tools/common/store_path.h"
#include "tools/common/time_point.h"
#include "tools/evidence/clock_statement.h"
#include "tools/evidence/statement.h"
#include "tools/read/exporter.h"
#include "tools/read/phrase.h"
#include "tools/report/gathered_case.h"
#include "tools/report/page.h"
#include "tools/report/sources.h"
#include "tools/ring/report.h"
#include "tools/ring/surveyed_store.h"

namespace vmr::tool {
namespace {

constexpr const char* kExtractName = "extract.vmd";

bool IsGood(int exit_code) { return exit_code == kExitSuccess || exit_code == kExitPartial; }

// One bag's payload, made piece by piece. Each piece reads the store anew; that all of them read
// the same is seen by its files, which are looked at before the first and behind the last.
class PayloadMaker {
 public:
  PayloadMaker(const PayloadRequest& request, const HeardMessages& heard, Bag& bag)
      : request_(request), heard_(heard), bag_(bag) {
    facts_.store = request.asked.store;
    facts_.from = request.asked.from->text;
    facts_.to = request.asked.to->text;
  }

  int Make() {
    // What a bag says does not hang on VMR_LOG.
    const QuietLog quiet;
    const int found = FindSources();
    if (found != kExitSuccess) return found;
    const SourceFiles sources(files_);
    const bool made =
        request_.redaction
            ? Run({&PayloadMaker::ReadClock, &PayloadMaker::CutRedacted,
                   &PayloadMaker::ReadClockOfExtract, &PayloadMaker::Export, &PayloadMaker::Report,
                   &PayloadMaker::CheckFiles})
            : Run({&PayloadMaker::ReadClock, &PayloadMaker::Cut, &PayloadMaker::ExtractAsUnit,
                   &PayloadMaker::Export, &PayloadMaker::Report, &PayloadMaker::Check});
    if (!made) return exit_code_;
    return AddStatement(sources) ? exit_code_ : kExitFailure;
  }

 private:
  using Step = int (PayloadMaker::*)();

  bool Run(std::initializer_list<Step> steps) {
    for (const Step step : steps) {
      exit_code_ = Gravest(exit_code_, (this->*step)());
      if (!IsGood(exit_code_)) return false;
    }
    return true;
  }

  // A store that somebody records into would not be the same from piece to piece.
  int FindSources() {
    StoreRange range;
    const int opened = range.Open(request_.asked, request_.out);
    if (opened != kExitSuccess) return opened;
    store_ = range.Recording().name;
    files_ = range.Recording().files;
    facts_.zone = range.Zone();
    StoreLock lock("stop the recorder, or package a copy of it");
    return lock.Before(store_) ? kExitSuccess : kExitFailure;
  }

  // What all but the extracts is made of.
  ReadingOptions Asked() const { return redacted_ ? AllOfExtract() : RangeOfStore(); }

  ReadingOptions AllOfExtract() const {
    ReadingOptions options;
    options.paths = {fmt::format("/proc/self/fd/{}", *redacted_)};
    options.path_kind = PathKind::kFlat;
    options.called = kExtractName;
    options.time_zone = TellsZone() ? request_.asked.time_zone : "UTC";
    return options;
  }

  // What takes out where the vehicle was takes out its time zone, too.
  bool TellsZone() const {
    return !request_.redaction || !request_.redaction->TakesOut(records::Sensitivity::kGps);
  }

  ReadingOptions RangeOfStore() const {
    ReadingOptions options;
    options.paths = {request_.asked.store};
    options.path_kind = PathKind::kRing;
    options.from = request_.asked.from;
    options.to = request_.asked.to;
    options.time_zone = request_.asked.time_zone;
    options.out = request_.out;
    DropOpenEnds(options);
    return options;
  }

  int ReadClock() {
    bool outside = false;
    ClockStatement nobodys;
    ClockStatement& clock = request_.redaction ? nobodys : clock_;
    const int exit_code = ForEachReading(RangeOfStore(), [&](Reading& reading) {
      const ReadOutcome outcome = ReadRange(reading, {}, clock.Inside(), &clock.All());
      outside = outcome.outside;
      return outcome.complete ? kExitSuccess : kExitPartial;
    });
    return outside ? kExitFailure : exit_code;  // which it was said; there is nothing to package
  }

  // Without the extract's own labels, which nobody recorded.
  int ReadClockOfExtract() {
    std::set<records::KindId> kinds;
    for (const records::KindRow& kind : records::Kinds())
      if (kind.id != records::KindId::kLog) kinds.insert(kind.id);
    return ForEachReading(AllOfExtract(), [&](Reading& reading) {
      return ReadRange(reading, kinds, clock_.Inside(), &clock_.All()).complete ? kExitSuccess
                                                                                : kExitPartial;
    });
  }

  // What is extracted, into a file of the bag. False after saying why not.
  template <typename Extract>
  bool AddExtract(const char* name, std::string& summary, Extract extract, int& exit_code) {
    StoreRange range;
    ScratchFile file;
    if (range.Open(request_.asked, request_.out) != kExitSuccess || !file.Open(request_.out))
      return false;
    if (!extract(range, ScratchExtract(file, request_.out))) return false;
    summary = DescribeExtraction(range.Facts());
    for (const std::string& reason : WhatIsMissing(range.Facts())) {
      summary += reason + "\n";
      Say(fmt::format("{}: {}", store_, reason));
      exit_code = kExitPartial;
    }
    bag_.AddPayload(name, std::move(file));
    return true;
  }

  // From here on nothing knows of the store but its files' digests and their health.
  int CutRedacted() {
    StoreRange range;
    ScratchFile file;
    if (range.Open(request_.asked, request_.out) != kExitSuccess || !file.Open(request_.out) ||
        !range.CutRedactedInto(ScratchExtract(file, request_.out), request_.out,
                               *request_.redaction) ||
        !HasPackets(range))
      return kExitFailure;
    if (!TellsZone()) {
      facts_.zone.clear();
      facts_.why_no_zone = "UTC; the time zone was taken out";
      UseTimeZone("UTC");
    }
    const auto asked = [&range](unsigned int tick) {
      const RecordedClock* const clock = range.Facts().clock;
      const auto time_us = clock != nullptr ? clock->TimeAt(tick) : std::nullopt;
      return time_us ? fmt::format("tick {} ({})", tick, LocalTimeText(*time_us))
                     : fmt::format("tick {}", tick);
    };
    facts_.from = asked(range.Facts().asked.first);
    facts_.to = asked(range.Facts().asked.last);
    const bool is_whole = WhatIsMissing(range.Facts()).empty();
    facts_.cut_summary =
        is_whole
            ? "All of the range is recorded.\n"
            : "Not all of the range is recorded. csv/gap.csv has where, as far as what is left "
              "tells it.\n";
    facts_.cut_summary +=
        "It holds the state at the range's beginning and 10 seconds behind its end, and so do the "
        "exports and the page, which are made of all of it.\n";
    facts_.redaction = RedactionLines(*request_.redaction, request_.redacted_by);
    redacted_ = file.Descriptor();
    first_remark_ = heard_.All().size();
    bag_.AddPayload(kExtractName, std::move(file));
    return is_whole ? kExitSuccess : kExitPartial;
  }

  int Cut() {
    int exit_code = kExitSuccess;
    const bool added = AddExtract(
        kExtractName, facts_.cut_summary,
        [this](StoreRange& range, const ExtractFile& file) {
          return range.CutInto(file, request_.out) && HasPackets(range);
        },
        exit_code);
    return added ? exit_code : kExitFailure;
  }

  bool HasPackets(const StoreRange& range) const {
    if (range.Facts().report.packets > 0) return true;
    Say(fmt::format("{}: no packet lies in the range; there is nothing to package", store_));
    return false;
  }

  // Where the unit itself would find no state to begin with, the bag says so. What it does not
  // read is recorded all the same.
  int ExtractAsUnit() {
    int what_the_unit_reads = kExitSuccess;
    static_cast<void>(AddExtract(
        "extract-as-unit.vmd", facts_.unit_summary,
        [](StoreRange& range, const ExtractFile& file) { return range.ExtractAsUnitInto(file); },
        what_the_unit_reads));
    return kExitSuccess;
  }

  using MakeExporter = std::unique_ptr<Exporter> (*)(const ExportOptions& options);

  int Export() {
    int exit_code = kExitSuccess;
    for (const auto& [name, make] :
         {std::pair<const char*, MakeExporter>{"export.jsonl", MakeJsonExporter},
          {"csv/", MakeCsvExporter},
          {"way.gpx", MakeGpxExporter}})
      exit_code = Gravest(exit_code, ExportAs(name, make));
    return exit_code;
  }

  // A name that ends with '/' is a folder of tables.
  int ExportAs(const std::string& name, MakeExporter make) {
    std::map<std::string, ScratchFile> files;
    ExportOptions options;
    options.reading = Asked();
    options.made_us = request_.made_us;
    options.open_file = [&](const std::string& table) {
      ScratchFile& file = files[name + table];
      return file.Open(request_.out) ? file.Descriptor() : -1;
    };
    const auto exporter = make(options);
    if (!exporter->Open()) return kExitFailure;
    const int exit_code = exporter->Finish(ForEachReading(
        options.reading, [&exporter](Reading& reading) { return exporter->Read(reading); }));
    for (auto& [file_name, file] : files) bag_.AddPayload(file_name, std::move(file));
    return exit_code;
  }

  int Report() {
    GatheredCase gathered(request_.asked.time_zone == kRecordedZone);
    const int exit_code =
        ForEachReading(Asked(), [&gathered](Reading& reading) { return gathered.Read(reading); });
    if (gathered.IsEmpty()) return Gravest(exit_code, kExitFailure);
    PageHeading heading;
    heading.from = EscapedText(facts_.from);
    heading.to = EscapedText(facts_.to);
    heading.made_us = request_.made_us;
    auto page = PageOf(gathered.Finish(), heading);
    if (!page) return Say("the page does not fit into memory"), kExitFailure;
    bag_.AddPayload("report.html", std::move(*page));
    return exit_code;
  }

  // Damage anywhere in the store is told, and does not keep its sound part from being packaged.
  int Check() {
    return Survey([this](const RingReport& report) {
      bag_.AddPayload("check.txt", report.Text());
      bag_.AddPayload(
          "check.json",
          report.Json().dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
      if (report.ExitCode() != kExitSuccess)
        Say(fmt::format("{}: the store is damaged; check.txt in the bag has what was found",
                        store_));
    });
  }

  // The findings tell what kinds of items are where.
  int CheckFiles() {
    return Survey([this](const RingReport& report) {
      bag_.AddPayload("check.txt", report.TextOfFilesAlone());
    });
  }

  template <typename Tell>
  int Survey(Tell tell) {
    const auto files = FilesToSurvey(store_);
    if (!files) return kExitFailure;
    RingSurvey survey(files->path1, files->path2);
    survey.Read();
    if (!CouldBeRead(survey)) return kExitFailure;
    const std::vector<Finding> findings = FindAll(survey);
    const RingReport report(files->name, survey, findings);
    facts_.findings = HealthText(report.ExitCode());
    if (!redacted_) facts_.findings += "; check.txt has the findings";
    tell(report);
    return kExitSuccess;
  }

  static std::string HealthText(int exit_code) {
    if (exit_code == kExitSuccess) return "sound";
    return exit_code == kExitDamaged ? "damaged, but nothing of it is lost"
                                     : "damaged, and something of it is lost";
  }

  bool AddStatement(const SourceFiles& sources) {
    facts_.sources = sources.Digest();
    bool any = false;
    for (const CaseSource& source : facts_.sources) {
      any = any || source.sha256;
      if (source.sha256 || source.bytes == 0) continue;  // one of the two may be missing
      Say(fmt::format("{}: {}; nothing was packaged", source.path, source.problem));
      return false;
    }
    if (!any) return Say(fmt::format("{}: its files cannot be read", store_)), false;
    // Their names may be the vehicle's.
    if (redacted_)
      for (std::size_t i = 0; i < facts_.sources.size(); ++i)
        facts_.sources[i].path = facts_.sources[i].file_name =
            RingFileName("store", static_cast<int>(i) + 1);
    const std::vector<std::string>& heard = heard_.All();
    facts_.remarks.assign(heard.begin() + static_cast<std::ptrdiff_t>(first_remark_), heard.end());
    facts_.clock = clock_.Text(request_.made_us, request_.made_is_given,
                               redacted_ ? kExtractName : "the recording");
    bag_.AddPayload("source-sha256.txt", SourceDigests(facts_.sources));
    bag_.AddPayload("statement.txt", StatementText(facts_));
    return true;
  }

  const PayloadRequest& request_;
  const HeardMessages& heard_;
  Bag& bag_;
  std::string store_;
  std::vector<std::string> files_;
  StatementFacts facts_;
  ClockStatement clock_;
  std::optional<int> redacted_;   // the redacted extract's descriptor; the bag has the file
  std::size_t first_remark_ = 0;  // that the bag repeats
  int exit_code_ = kExitSuccess;
};

}  // namespace

int MakePayload(const PayloadRequest& request, const HeardMessages& heard, Bag& bag) {
  return PayloadMaker(request, heard, bag).Make();
}

}  // namespace vmr::tool
