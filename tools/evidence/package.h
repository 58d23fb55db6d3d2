// A bag of evidence, made of a store.
#ifndef VMR_TOOLS_EVIDENCE_PACKAGE_H_
#define VMR_TOOLS_EVIDENCE_PACKAGE_H_

#include <cstdint>
#include <optional>
#include <string>

#include "tools/evidence/extraction.h"
#include "tools/evidence/key_file.h"
#include "tools/evidence/redaction.h"

namespace vmr::tool {

// As the command line has it, checked for what can be told without the store.
struct PackageOptions {
  AskedExtract asked;
  std::string out;
  std::string reason, case_id, by;  // empty: not told
  std::string sign;                 // the private key; empty: not signed
  PassphraseOptions passphrase;
  std::optional<Redaction> redaction;  // in the name of `by`
  std::optional<std::int64_t> at_us;   // when it is said to be made
  std::string tsa_query;               // the file to write; empty: none
  bool force = false;
};
// Writes all of `out`, or leaves what was there. Says on standard output what is in it. Returns
// the program's exit code: kExitPartial when part of the range is not recorded.
int Package(const PackageOptions& options);

// Of a bag that is there: writes the query for its time stamp, or puts the reply into it.
int WriteTimeStampQuery(const std::string& bag, const std::string& query, bool force);
// A reply that is there is replaced when `force` says so.
int AddTimeStampReply(const std::string& bag, const std::string& reply, bool force);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_PACKAGE_H_
