// The cut of a range out of a store, into a file that is open already.
#ifndef VMR_TOOLS_EVIDENCE_EXTRACTION_H_
#define VMR_TOOLS_EVIDENCE_EXTRACTION_H_

#include <optional>
#include <string>

#include "tools/common/scratch_file.h"
#include "tools/common/time_point.h"
#include "tools/evidence/extract_summary.h"
#include "tools/evidence/redaction.h"
#include "tools/read/opened_recording.h"
#include "tools/read/reading.h"

namespace vmr::tool {

// As the command line has it, checked for what can be told without the recording.
struct AskedExtract {
  std::string store;
  std::optional<TypedTime> from;
  std::optional<TypedTime> to;
  unsigned int margin_s = 0;
  std::string time_zone = kRecordedZone;
};

// A file to extract into.
struct ExtractFile {
  int fd = -1;        // open for reading and writing, empty; stays the caller's
  std::string path;   // a name that no other file has: the library is told it
  std::string shown;  // what messages call it
};
// One without a name, beside `out`, the file that it is for. The library makes its file anew by a
// name, which no file has.
ExtractFile ScratchExtract(const ScratchFile& file, const std::string& out);

// A store, and what of it is asked for. To be opened anew for each extraction.
//
// Errors   said on standard error.
class StoreRange {
 public:
  StoreRange() = default;
  StoreRange(const StoreRange&) = delete;  // the facts refer to the clock
  StoreRange& operator=(const StoreRange&) = delete;

  // Opens the store and uses its zone. `out`: the file that is to be written, no part of the
  // store. kExitSuccess, or what the program is to end with.
  int Open(const AskedExtract& asked, const std::string& out);

  // As the recording tells it, its state completed. A file to work in is made beside `out`.
  bool CutInto(const ExtractFile& file, const std::string& out);
  // The same without what `redaction` names. The untouched one is in a file without a name for a
  // while, which no end of the program leaves behind.
  bool CutRedactedInto(const ExtractFile& file, const std::string& out, const Redaction& redaction);
  // As a unit makes it.
  bool ExtractAsUnitInto(const ExtractFile& file);

  const OpenedRecording& Recording() const { return recording_; }
  // Of the extraction that was made.
  const ExtractionFacts& Facts() const { return facts_; }
  // The name of the zone that local times are of; empty: the recording tells none.
  const std::string& Zone() const { return zone_; }

 private:
  int Resolve(const AskedExtract& asked);

  OpenedRecording recording_;
  RecordedClock clock_;
  ExtractionFacts facts_;
  std::string zone_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_EXTRACTION_H_
