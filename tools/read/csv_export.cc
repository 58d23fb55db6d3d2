#include <fmt/format.h>

#include <cstring>
#include <filesystem>
#include <map>

#include "backends/file_io.h"
#include "tools/common/console.h"
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
    std::error_code error;
    const bool is_folder = options_.tables.size() != 1 || (!out.empty() && out.back() == '/') ||
                           fs::is_directory(out, error);
    if (!is_folder) return OpenTable(*options_.tables.begin(), out);
    if (!MakeFolder(out)) return false;
    for (const std::string& table : CsvTables())
      if (options_.Wants(table) && !OpenTable(table, fs::path(out) / (table + ".csv")))
        return false;
    return true;
  }

  int Read(Reading& reading) override {
    if (!has_headers_) WriteHeaders(reading.count > 1);
    CsvRows rows(tables_, NameAmongOthers(reading));
    return ReadRange(reading, options_.reading.kinds, rows).complete ? kExitSuccess : kExitPartial;
  }

  int Finish(int exit_code) override {
    for (auto& [table, out] : outputs_) exit_code = Gravest(exit_code, out.Finish(exit_code));
    return exit_code;
  }

 private:
  bool MakeFolder(const std::string& folder) const {
    std::error_code error;
    fs::create_directories(folder, error);
    if (!error && fs::is_directory(folder, error)) return true;
    Say(fmt::format("{}: {}", folder, error ? error.message() : "is no folder"));
    return false;
  }

  bool OpenTable(const std::string& table, const std::string& path) {
    TextOutput& out = outputs_[table];
    if (table == kGapKind)
      tables_.gaps = &out;
    else if (table == kClockStepKind)
      tables_.steps = &out;
    else
      tables_.kinds[static_cast<std::size_t>(records::FindKind(table.c_str())->id)] = &out;
    return out.Open(path, options_.reading.force);
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
  std::map<std::string, TextOutput> outputs_;
  Tables tables_;
  bool has_headers_ = false;
};

}  // namespace

std::unique_ptr<Exporter> MakeCsvExporter(const ExportOptions& options) {
  return std::make_unique<CsvExporter>(options);
}

}  // namespace vmr::tool
