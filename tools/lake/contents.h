// Which files of a lake are a recording's, and of what they were made.
#ifndef VMR_TOOLS_LAKE_CONTENTS_H_
#define VMR_TOOLS_LAKE_CONTENTS_H_

#include <optional>
#include <set>
#include <string>

#include "tools/lake/packets_digest.h"

namespace vmr::tool {

// Stands in ROOT/_vmr/contents/NAME.json before the first file of it gets its name, and names
// all that may be there until the last one has: so a run that was killed is made up for.
struct Contents {
  bool complete = false;        // all files are in place, and no others
  PacketsDigest packets;        // that they were made of
  std::set<std::string> files;  // relative to the lake
};

// Nothing: there is none, or it cannot be read.
std::optional<Contents> ReadContents(const std::string& root, const std::string& name);
// Appears whole or not at all; nothing is changed where it says the same already. `scratch` is
// a folder for it on the way. False, and errno, when it could not be written.
bool WriteContents(const std::string& root, const std::string& name, const Contents& contents,
                   const std::string& scratch);
void RemoveContents(const std::string& root, const std::string& name);

// The files of that name that stand in a lake, looked for in all its folders.
std::set<std::string> FindFiles(const std::string& root, const std::string& name);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_CONTENTS_H_
