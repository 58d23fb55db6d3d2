#include "tools/evidence/payload.h"

#include <fmt/format.h>

#include <map>
#include <utility>

#include "tools/common/console.h"
#include "tools/common/quiet_log.h"
#include "tools/common/store_lock.h"
#include "tools/common/store_path.h"
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

bool IsGood(int exit_code) { return exit_code == kExitSuccess || exit_code == kExitPartial; }

// One bag's payload, made piece by piece. Each piece reads the store anew; that all of them read
// the same is seen by its files, which are looked at before the first and behind the last.
class PayloadMaker {
 public:
  PayloadMaker(const PayloadRequest& request, Bag& bag) : request_(request), bag_(bag) {
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
    for (const auto step :
         {&PayloadMaker::ReadClock, &PayloadMaker::Cut, &PayloadMaker::ExtractAsUnit,
          &PayloadMaker::Export, &PayloadMaker::Report, &PayloadMaker::Check}) {
      const int exit_code = (this->*step)();
      if (!IsGood(exit_code)) return exit_code;
      exit_code_ = Gravest(exit_code_, exit_code);
    }
    return AddStatement(sources) ? exit_code_ : kExitFailure;
  }

 private:
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

  ReadingOptions Asked() const {
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
    ClockStatement clock;
    bool outside = false;
    const int exit_code = ForEachReading(Asked(), [&](Reading& reading) {
      const ReadOutcome outcome = ReadRange(reading, {}, clock.Inside(), &clock.All());
      outside = outcome.outside;
      return outcome.complete ? kExitSuccess : kExitPartial;
    });
    facts_.clock = clock.Text(request_.made_us, request_.made_is_given);
    return outside ? kExitFailure : exit_code;  // which it was said; there is nothing to package
  }

  // What is extracted, into a file of the bag. False after saying why not.
  template <typename Extract>
  bool AddExtract(const char* name, std::string& summary, Extract extract) {
    StoreRange range;
    ScratchFile file;
    if (range.Open(request_.asked, request_.out) != kExitSuccess || !file.Open(request_.out))
      return false;
    if (!extract(range, ScratchExtract(file, request_.out))) return false;
    summary = DescribeExtraction(range.Facts());
    for (const std::string& reason : WhatIsMissing(range.Facts())) {
      summary += reason + "\n";
      Say(fmt::format("{}: {}", store_, reason));
      exit_code_ = Gravest(exit_code_, kExitPartial);
    }
    bag_.AddPayload(name, std::move(file));
    return true;
  }

  int Cut() {
    return AddExtract("extract.vmd", facts_.cut_summary,
                      [this](StoreRange& range, const ExtractFile& file) {
                        return range.CutInto(file, request_.out) && HasPackets(range);
                      })
               ? kExitSuccess
               : kExitFailure;
  }

  bool HasPackets(const StoreRange& range) const {
    if (range.Facts().report.packets > 0) return true;
    Say(fmt::format("{}: no packet lies in the range; there is nothing to package", store_));
    return false;
  }

  // Where the unit itself would find no state to begin with, the bag says so.
  int ExtractAsUnit() {
    static_cast<void>(AddExtract(
        "extract-as-unit.vmd", facts_.unit_summary,
        [](StoreRange& range, const ExtractFile& file) { return range.ExtractAsUnitInto(file); }));
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
    const auto files = FilesToSurvey(store_);
    if (!files) return kExitFailure;
    RingSurvey survey(files->path1, files->path2);
    survey.Read();
    if (!CouldBeRead(survey)) return kExitFailure;
    const std::vector<Finding> findings = FindAll(survey);
    const RingReport report(files->name, survey, findings);
    facts_.findings = HealthText(report.ExitCode());
    bag_.AddPayload("check.txt", report.Text());
    bag_.AddPayload(
        "check.json",
        report.Json().dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
    if (report.ExitCode() != kExitSuccess)
      Say(fmt::format("{}: the store is damaged; check.txt in the bag has what was found", store_));
    return kExitSuccess;
  }

  static std::string HealthText(int exit_code) {
    if (exit_code == kExitSuccess) return "sound; check.txt has the findings";
    return exit_code == kExitDamaged
               ? "damaged, but nothing of it is lost; check.txt has the findings"
               : "damaged, and something of it is lost; check.txt has the findings";
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
    facts_.remarks = heard_.All();
    bag_.AddPayload("source-sha256.txt", SourceDigests(facts_.sources));
    bag_.AddPayload("statement.txt", StatementText(facts_));
    return true;
  }

  const PayloadRequest& request_;
  Bag& bag_;
  HeardMessages heard_;
  std::string store_;
  std::vector<std::string> files_;
  StatementFacts facts_;
  int exit_code_ = kExitSuccess;
};

}  // namespace

int MakePayload(const PayloadRequest& request, Bag& bag) {
  return PayloadMaker(request, bag).Make();
}

}  // namespace vmr::tool
