// Finds out what kind of recording a path names.
#ifndef VMR_TOOLS_COMMON_STORE_PATH_H_
#define VMR_TOOLS_COMMON_STORE_PATH_H_

#include <optional>
#include <string>

namespace vmr::tool {

// The base of a ring when `path` has the form of one of its two files.
std::optional<std::string> RingBaseOf(const std::string& path);

// Both paths are the same, or lead to the same file, which need not be there.
bool SameFile(const std::string& a, const std::string& b);
// `path` is one of the ring's two files, or of what recovery leaves beside them.
bool BelongsToRing(const std::string& path, const std::string& base);

// What a recorder adds to the name of a file that it sets aside.
inline constexpr const char* kSetAsideEnding = ".CORRUPT";

enum class PathKind { kDetect, kRing, kFlat };

struct Recording {
  bool ring = false;
  std::string path;    // the base of a ring, else the file
  std::string error;   // not empty: `path` cannot be read, and why
  std::string remark;  // not empty: what is worth saying about it
};

// Looks at the files at `path`: a ring's base, either of its files, or a flat
// file; kRing and kFlat say which it is. A ring of which one file is missing can
// be read.
Recording FindRecording(const std::string& path, PathKind kind);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_STORE_PATH_H_
