// What a bag of evidence holds, made of a store.
#ifndef VMR_TOOLS_EVIDENCE_PAYLOAD_H_
#define VMR_TOOLS_EVIDENCE_PAYLOAD_H_

#include <cstdint>
#include <optional>
#include <string>

#include "tools/evidence/bag.h"
#include "tools/evidence/extraction.h"

namespace vmr::tool {

struct PayloadRequest {
  AskedExtract asked;
  std::string out;           // the bag that it is for: what is worked with stands beside it
  std::int64_t made_us = 0;  // of packaging
  bool made_is_given = false;
};

// Adds all of it to `bag`, or says on standard error why not and what is missing. kExitSuccess;
// kExitPartial when part of the range is not recorded; else what the program is to end with.
int MakePayload(const PayloadRequest& request, Bag& bag);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_PAYLOAD_H_
