// What a bag says in words.
#ifndef VMR_TOOLS_EVIDENCE_STATEMENT_H_
#define VMR_TOOLS_EVIDENCE_STATEMENT_H_

#include <string>
#include <vector>

#include "tools/evidence/redaction.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

// How to check a bag with sha256sum and OpenSSL alone.
struct ReadmeFacts {
  std::string signer;  // the key's fingerprint; empty: the bag has no signature
  bool is_redacted = false;
};
std::string ReadmeText(const ReadmeFacts& facts);

// data/statement.txt, of what was packaged and how.
struct StatementFacts {
  std::string store;
  std::string from, to;  // as typed
  std::string zone;      // empty: none is known, times are UTC
  std::string why_no_zone = "UTC; no time zone is recorded that is known here";
  std::vector<CaseSource> sources;
  std::string cut_summary;   // of extract.vmd
  std::string unit_summary;  // of extract-as-unit.vmd; empty: it could not be made
  std::string redaction;     // what was taken out and by whom, lines; empty: nothing
  std::string clock;
  std::string findings;              // of the store, in a word
  std::vector<std::string> remarks;  // what was said while all was made
};
std::string StatementText(const StatementFacts& facts);

// The sources' digests, as `sha256sum -c` takes them.
std::string SourceDigests(const std::vector<CaseSource>& sources);

// For StatementFacts, of what `redaction` takes out.
std::string RedactionLines(const Redaction& redaction, const std::string& by);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_STATEMENT_H_
