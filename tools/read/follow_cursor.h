// Remembers in a file how far a recording was followed.
#ifndef VMR_TOOLS_READ_FOLLOW_CURSOR_H_
#define VMR_TOOLS_READ_FOLLOW_CURSOR_H_

#include <cstdint>
#include <optional>
#include <string>

#include "tools/read/follow_source.h"

namespace vmr::tool {

// The file that standard output was, and how long. Lines behind that were written by a run
// that did not come to save its cursor.
struct OutputLength {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t bytes = 0;
};

struct FollowCursor {
  RingPlace place;
  unsigned int tick = kNoTick;  // the last one told in front of it
  // The unit's, as bytes in hexadecimal digits; empty: not told.
  std::string mac;
  std::string serial_number;
  std::optional<OutputLength> output;
};

// Nothing, and `error` empty, when there is no such file; nothing, and what is wrong in
// `error`, when it is no cursor.
std::optional<FollowCursor> LoadCursor(const std::string& path, std::string& error);
// Replaces the file by a whole one. False, and what is wrong in `error`.
bool SaveCursor(const std::string& path, const FollowCursor& cursor, std::string& error);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_FOLLOW_CURSOR_H_
