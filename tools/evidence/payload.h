// What a bag of evidence holds, made of a store.
#ifndef VMR_TOOLS_EVIDENCE_PAYLOAD_H_
#define VMR_TOOLS_EVIDENCE_PAYLOAD_H_

#include <cstdint>
#include <optional>
#include <string>

#include "tools/common/console.h"
#include "tools/evidence/bag.h"
#include "tools/evidence/extraction.h"
#include "tools/evidence/redaction.h"

namespace vmr::tool {

struct PayloadRequest {
  AskedExtract asked;
  std::string out;           // the bag that it is for: what is worked with stands beside it
  std::int64_t made_us = 0;  // of packaging
  bool made_is_given = false;
  std::optional<Redaction> redaction;
  std::string redacted_by;
};

// Adds all of it to `bag`, or says on standard error why not and what is missing. kExitSuccess;
// kExitPartial when part of the range is not recorded; else what the program is to end with.
// `heard` hears what is said, for the bag to repeat it.
//
// Of a redacted bag all files are made of the redacted extract, and nothing that is said of the
// store while that is cut comes into them: neither names nor ticks, local times nor counts.
int MakePayload(const PayloadRequest& request, const HeardMessages& heard, Bag& bag);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_PAYLOAD_H_
