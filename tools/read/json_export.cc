#include "tools/common/console.h"
#include "tools/common/text_output.h"
#include "tools/read/exporter.h"
#include "tools/read/json_line.h"

namespace vmr::tool {
namespace {

class JsonLines final : public records::Sink {
 public:
  JsonLines(const ExportOptions& options, const std::string& recording, TextOutput& out)
      : recording_(recording.empty() ? "" : Quoted(recording)),
        wants_records_(options.WantsRecords()),
        wants_gaps_(wants_records_ || options.Wants(kGapKind)),
        wants_steps_(wants_records_ || options.Wants(kClockStepKind)),
        out_(out) {}

  void OnRecord(const records::Record& record) override {
    if (wants_records_) Put(record);
  }
  void OnGap(const records::Gap& gap) override {
    if (wants_gaps_) Put(gap);
  }
  void OnClockStep(const records::ClockStep& step) override {
    if (wants_steps_) Put(step);
  }

 private:
  static std::string Quoted(const std::string& text) {
    LineBuffer quoted;
    AppendJsonText(text, quoted);
    return fmt::to_string(quoted);
  }
  template <typename Found>
  void Put(const Found& found) {
    line_.clear();
    AppendJsonLine(found, line_, recording_);
    out_.Write({line_.data(), line_.size()});
  }

  const std::string recording_;
  const bool wants_records_;
  const bool wants_gaps_;
  const bool wants_steps_;
  TextOutput& out_;
  LineBuffer line_;
};

class JsonExporter final : public Exporter {
 public:
  explicit JsonExporter(const ExportOptions& options) : options_(options) {}

  bool Open() override { return OpenOutput(options_, out_); }
  int Read(Reading& reading) override {
    JsonLines lines(options_, NameAmongOthers(reading), out_);
    return ReadRange(reading, options_.reading.kinds, lines).complete ? kExitSuccess : kExitPartial;
  }
  int Finish(int exit_code) override { return out_.Finish(exit_code); }

 private:
  const ExportOptions& options_;
  TextOutput out_;
};

}  // namespace

std::unique_ptr<Exporter> MakeJsonExporter(const ExportOptions& options) {
  return std::make_unique<JsonExporter>(options);
}

}  // namespace vmr::tool
