// What a bag says in words.
#ifndef VMR_TOOLS_EVIDENCE_STATEMENT_H_
#define VMR_TOOLS_EVIDENCE_STATEMENT_H_

#include <string>
#include <vector>

#include "tools/report/case_file.h"

namespace vmr::tool {

// How to check a bag with sha256sum and OpenSSL alone. `is_signed`: it has a signature, by the
// key of this fingerprint.
std::string ReadmeText(bool is_signed, const std::string& fingerprint);

// data/statement.txt, of what was packaged and how.
struct StatementFacts {
  std::string store;
  std::string from, to;  // as typed
  std::string zone;      // empty: none is recorded, times are UTC
  std::vector<CaseSource> sources;
  std::string cut_summary;   // of extract.vmd
  std::string unit_summary;  // of extract-as-unit.vmd; empty: it could not be made
  std::string clock;
  std::string findings;              // of the store, in a word
  std::vector<std::string> remarks;  // what was said while all was made
};
std::string StatementText(const StatementFacts& facts);

// The sources' digests, as `sha256sum -c` takes them.
std::string SourceDigests(const std::vector<CaseSource>& sources);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_STATEMENT_H_
