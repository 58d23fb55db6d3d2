// What the commands that look a whole store over begin with.
#ifndef VMR_TOOLS_RING_SURVEYED_STORE_H_
#define VMR_TOOLS_RING_SURVEYED_STORE_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/ring/survey.h"

namespace vmr::tool {

// The files of a store, be they set aside, or one of a ring's files by itself.
struct StoreFiles {
  std::string name;  // as it is spoken of: the base, or the one file
  std::string path1;
  std::string path2;   // empty: there is none to be
  bool in_use = true;  // by recorders, under these names
};

// What `store` names; nothing after saying why there is none.
std::optional<StoreFiles> FilesToSurvey(const std::string& store);
// The base of the ring that `store` names, whose files may be written.
std::optional<std::string> RingToSurvey(const std::string& store);
// Whether one file could be looked at; says why not. What keeps the other from being
// looked at is a finding.
bool CouldBeRead(const RingSurvey& survey);
// Both could be, as far as they are files; says why not.
bool BothCouldBeRead(const RingSurvey& survey);
// Says so, and what to do, when the files are of two recordings.
bool IsOneRecording(const RingSurvey& survey, const std::string& name);
// Files that a recorder set aside beside `base`, but for those `given`. `command`
// is what stands in front of the option that reads them.
void SayWhatWasSetAside(const std::string& base, const std::vector<std::string>& given,
                        const char* command);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_SURVEYED_STORE_H_
