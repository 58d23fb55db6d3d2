// Writes what recordings say in one of the formats that other programs read.
#ifndef VMR_TOOLS_READ_EXPORTER_H_
#define VMR_TOOLS_READ_EXPORTER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "tools/common/text_output.h"
#include "tools/read/reading.h"

namespace vmr::tool {

// As the command line has it.
struct ExportOptions {
  ReadingOptions reading;
  // As named, "gap" and "clock_step" among them; none: all.
  std::set<std::string> tables;
  std::optional<TypedTime> video_start;
  int offset_ms = 0;
  // Of making, where the format tells it; else now.
  std::optional<std::int64_t> made_us = std::nullopt;
  // If there is one, it gives the open files that are written in the place of `reading.out`; of
  // several tables each has one, by its name such as "gap.csv". Negative after saying why not.
  std::function<int(const std::string& table)> open_file = nullptr;

  // Gaps and clock steps come with all kinds, unless they were the only ones asked for.
  bool WantsRecords() const { return tables.empty() || !reading.kinds.empty(); }
  bool Wants(const std::string& table) const { return tables.empty() || tables.count(table) > 0; }
};

// Open, then Read for each recording that could be opened, then Finish.
//
// Owns     its output.
// Errors   said on standard error.
class Exporter {
 public:
  virtual ~Exporter() = default;
  virtual bool Open() = 0;
  virtual int Read(Reading& reading) = 0;  // an exit code
  // `exit_code`, or the gravest of it and what became of the output.
  virtual int Finish(int exit_code) = 0;
};

// Opens what `options` say, for a format of one file.
bool OpenOutput(const ExportOptions& options, TextOutput& out);

// `options` must outlive what these make.
std::unique_ptr<Exporter> MakeJsonExporter(const ExportOptions& options);
std::unique_ptr<Exporter> MakeCsvExporter(const ExportOptions& options);
std::unique_ptr<Exporter> MakeGpxExporter(const ExportOptions& options);
std::unique_ptr<Exporter> MakeGeoJsonExporter(const ExportOptions& options);
std::unique_ptr<Exporter> MakeVttExporter(const ExportOptions& options);
std::unique_ptr<Exporter> MakeSrtExporter(const ExportOptions& options);

// How a recording is called where several stand in one output; empty: it is alone.
inline std::string NameAmongOthers(const Reading& reading) {
  return reading.count > 1 ? reading.recording.name : "";
}

// Says how many positions an output lacks, unless it lacks none.
void SayLeftOut(const Reading& reading, unsigned long positions, const char* why);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_EXPORTER_H_
