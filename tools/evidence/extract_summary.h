// What `vmr extract` says about an extraction.
#ifndef VMR_TOOLS_EVIDENCE_EXTRACT_SUMMARY_H_
#define VMR_TOOLS_EVIDENCE_EXTRACT_SUMMARY_H_

#include <optional>
#include <string>
#include <vector>

#include "reader/metadata_reader.h"
#include "tools/read/range_cut.h"
#include "tools/ring/recorded_clock.h"

namespace vmr::tool {

struct TickRange {
  unsigned int first = 0;
  unsigned int last = 0;
};

struct ExtractionFacts {
  TickRange asked;      // as the user gave it
  TickRange extracted;  // with the margin
  ExtractionReport report;
  const RecordedClock* clock = nullptr;  // null: the range was given in ticks
  // What the program's own decoder made of it; nothing: the file is as a unit makes it.
  std::optional<CutFacts> cut = std::nullopt;
  bool begins_at_first = false;  // the range was to begin where the recording does
  std::optional<std::string> redacted = std::nullopt;  // what was to be taken out, and was
};

// Lines for standard output, each ended.
std::string DescribeExtraction(const ExtractionFacts& facts);

// Why the file does not hold all of the range that was asked for; empty when it
// does.
std::vector<std::string> WhatIsMissing(const ExtractionFacts& facts);

// A warning about events at the start tick; nothing when there are none.
std::optional<std::string> FoldedStart(const ExtractionFacts& facts);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_EXTRACT_SUMMARY_H_
