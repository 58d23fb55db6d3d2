// What is in force, as members of JSON objects.
#ifndef VMR_TOOLS_READ_STATE_JSON_H_
#define VMR_TOOLS_READ_STATE_JSON_H_

#include <string>

#include "tools/read/json_line.h"
#include "tools/read/state_at.h"

namespace vmr::tool {

// Of which recording and instant: "recording", "asked", "presence", "tick", "run", "time",
// "time_quality", "complete" and "why_not", without braces.
void AppendStateHead(const std::string& recording, const std::string& asked, const StateAt& state,
                     LineBuffer& line);

// The object of a record or gap as its line has it, without the line feed, and `more` members,
// each behind a comma.
template <typename Found>
void AppendJsonObject(const Found& found, const std::string& more, LineBuffer& line) {
  AppendJsonLine(found, line);
  line.resize(line.size() - 2);  // "}" and the line feed
  line.append(more.data(), more.data() + more.size());
  line.push_back('}');
}

// The members of a key's fields, each behind a comma: ,"port":0
std::string KeyMembers(const StateTable::Key& key);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_STATE_JSON_H_
