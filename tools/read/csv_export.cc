#include <fmt/format.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

#include "backends/file_io.h"
#include "tools/common/console.h"
#include "tools/common/output_file.h"
#include "tools/common/text_output.h"
#include "tools/read/csv_table.h"
#include "tools/read/exporter.h"
#include "tools/read/json_line.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;

// The tables that are written; null where a kind was not asked for.
struct Tables {
  std::array<TextOutput*, records::kKindCount> kinds{};
  TextOutput* gaps = nullptr;
  TextOutput* steps = nullptr;
};

class CsvRows final : public records::Sink {
 public:
  CsvRows(const Tables& tables, std::string recording)
      : tables_(tables), recording_(std::move(recording)) {}

  void OnRecord(const records::Record& record) override {
    Put(record, tables_.kinds[static_cast<std::size_t>(record.kind->id)]);
  }
  void OnGap(const records::Gap& gap) override { Put(gap, tables_.gaps); }
  void OnClockStep(const records::ClockStep& step) override { Put(step, tables_.steps); }

 private:
  template <typename Found>
  void Put(const Found& found, TextOutput* out) {
    if (out == nullptr) return;
    line_.clear();
    AppendCsvRow(found, recording_, line_);
    out->Write({line_.data(), line_.size()});
  }

  const Tables& tables_;
  const std::string recording_;
  LineBuffer line_;
};

// One table goes to standard output or a file, several into a folder.
class CsvExporter final : public Exporter {
 public:
  explicit CsvExporter(const ExportOptions& options) : options_(options) {}

  bool Open() override {
    const std::string& out = options_.reading.out;
    if (options_.open_file) return OpenGivenTables();
    std::error_code error;
    const bool is_folder = options_.tables.size() != 1 || (!out.empty() && out.back() == '/') ||
                           fs::is_directory(out, error);
    if (!is_folder) return OpenTable(*options_.tables.begin(), out);
    if (!MakeFolder(out)) return false;
    const fs::path into = folder_ ? folder_->TemporaryPath() : out;
    for (const std::string& table : CsvTables())
      if (options_.Wants(table) &&
          !OpenTable(table, into / (table + ".csv"), fs::path(out) / (table + ".csv")))
        return false;
    return true;
  }

  int Read(Reading& reading) override {
    if (!has_headers_) WriteHeaders(reading.count > 1);
    CsvRows rows(tables_, NameAmongOthers(reading));
    return ReadRange(reading, options_.reading.kinds, rows).complete ? kExitSuccess : kExitPartial;
  }

  // All tables or none.
  int Finish(int exit_code) override {
    if (!has_headers_) return exit_code;  // nothing could be read
    for (auto& [table, out] : outputs_)
      if (!out.Settle()) return kExitFailure;
    const HeldSignals held;
    for (auto& [table, out] : outputs_)
      if (out.Finish(kExitSuccess) != kExitSuccess) return kExitFailure;
    return folder_ == nullptr || folder_->Publish() ? exit_code : kExitFailure;
  }

 private:
  // A new one appears when it is complete.
  bool MakeFolder(const std::string& path) {
    std::error_code error;
    if (fs::is_directory(path, error)) return true;
    if (fs::exists(path, error)) {
      Say(fmt::format("{}: is no folder", path));
      return false;
    }
    folder_ = std::make_unique<OutputFolder>(path);
    return folder_->Open();
  }

  bool OpenGivenTables() {
    for (const std::string& table : CsvTables()) {
      if (!options_.Wants(table)) continue;
      const int fd = options_.open_file(table + ".csv");
      if (fd < 0) return false;
      AddTable(table).OpenAt(fd, options_.reading.out);
    }
    return true;
  }

  bool OpenTable(const std::string& table, const std::string& path, const std::string& shown = "") {
    return AddTable(table).Open(path, options_.reading.force, shown);
  }

  TextOutput& AddTable(const std::string& table) {
    TextOutput& out = outputs_[table];
    if (table == kGapKind)
      tables_.gaps = &out;
    else if (table == kClockStepKind)
      tables_.steps = &out;
    else
      tables_.kinds[static_cast<std::size_t>(records::FindKind(table.c_str())->id)] = &out;
    return out;
  }

  void WriteHeaders(bool has_recording) {
    has_headers_ = true;
    for (auto& [table, out] : outputs_) {
      LineBuffer line;
      AppendCsvHeader(table, has_recording, line);
      out.Write({line.data(), line.size()});
    }
  }

  const ExportOptions& options_;
  std::unique_ptr<OutputFolder> folder_;  // outlives what is in it
  std::map<std::string, TextOutput> outputs_;
  Tables tables_;
  bool has_headers_ = false;
};

}  // namespace

std::unique_ptr<Exporter> MakeCsvExporter(const ExportOptions& options) {
  return std::make_unique<CsvExporter>(options);
}

}  // namespace vmr::tool
