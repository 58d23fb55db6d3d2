// What is wrong with a ring, or merely worth knowing, as a person needs it.
#ifndef VMR_TOOLS_RING_FINDINGS_H_
#define VMR_TOOLS_RING_FINDINGS_H_

#include <string>
#include <vector>

#include "tools/ring/finding_kinds.h"
#include "tools/ring/survey.h"

namespace vmr::tool {

// Something about consecutive clusters. Ticks are kNoTick where nothing tells.
struct Finding {
  const FindingKind* kind = &finding_kind::kBehind;
  int file = 0;           // 1 or 2; 0: about both
  int first_cluster = 0;  // may be higher than `last_cluster`: across the ring's end
  int last_cluster = 0;
  int good_file = 0;  // which file has good copies; 0: neither, or not to be asked
  unsigned int first_tick = kNoTick;
  unsigned int last_tick = kNoTick;
  TagSet tags;                    // the kinds of items in them, as far as known
  std::vector<int> search_path;   // those that a recorder's search reads
  int preferred_file = 0;         // of copies in conflict, whose count; else 0
  bool last_packet_open = false;  // the last packet of all may have been in what is bad alone

  bool Is(const FindingKind& other) const { return kind == &other; }
  Severity Grade() const { return kind->severity; }
  int Clusters() const;
};

const char* SeverityText(Severity severity);
// The gravest; kNormal without findings.
Severity Gravest(const std::vector<Finding>& findings);

// Reads damaged clusters once more, for what can still be made out.
std::vector<Finding> FindAll(RingSurvey& survey);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_FINDINGS_H_
