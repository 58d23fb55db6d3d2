// What is in force, and what could be, in words.
#ifndef VMR_TOOLS_READ_STATE_WORDS_H_
#define VMR_TOOLS_READ_STATE_WORDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/read/state_table.h"

namespace vmr::tool {

// "input", "time zone"
std::string KindWords(const records::KindRow& kind);
// What the record is of, without its kind: "siren", "port 0"; empty where there is only one.
std::string KeyWords(const records::Record& record);
std::string KeyWords(const StateTable::Key& key);
// Both: "input siren", "speed device 1".
std::string SubjectWords(const records::Record& record);
std::string SubjectWords(const StateTable::Key& key);
// "on", "unknown", "target 61, lock 0"; a recorded text in quotes.
std::string ValueWords(const StateEntry& entry);
// All of a record: "input siren: on"; of an event its fields.
std::string RecordWords(const records::Record& record);

// "file 1 cluster 3 offset 12345", or "offset 12345" in a flat file.
std::string PlaceWords(const records::Place& place);

// Every thing of the kind that a unit tells of, and that is therefore unknown where nothing
// tells it. None for an event.
std::vector<StateTable::Key> KnownKeys(const records::KindRow& kind);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_STATE_WORDS_H_
