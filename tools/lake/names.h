// What units and recordings are called in a lake.
#ifndef VMR_TOOLS_LAKE_NAMES_H_
#define VMR_TOOLS_LAKE_NAMES_H_

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "records/record.h"

namespace vmr::tool {

inline constexpr const char* kUnknownUnit = "unknown";

// A text that a recording tells, fit for the name of a file: letters, digits, '.', '_' and '-'
// stay, each other byte is "~" and two hexadecimal digits, as are '.', '_' and '-' in front: with
// the first two readers of a folder pass a file over, with the last programs take it for an option.
// Of a long one its beginning and its digest. Two texts have two names.
std::string SafeName(std::string_view text);

// "20260305T101500Z"; "notime" where nothing tells it.
std::string CompactTime(const records::Time& time);
// Ten digits; "notick".
std::string CompactTick(unsigned int tick);

// Of a recording nobody can read: from where it is, so that a second look finds its row.
std::string NameByPath(const std::string& path);

// Days since 1970-01-01 of rows, as the folders of a kind have them.
inline constexpr std::int64_t kNoDay = std::numeric_limits<std::int64_t>::min();
std::int64_t DayOf(std::int64_t us);
// "date=2026-03-05"; of kNoDay what readers take for NULL.
std::string DateFolder(std::int64_t day);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_NAMES_H_
