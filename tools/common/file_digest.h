// SHA-256 digests of files, as text that `sha256sum -c` reads.
#ifndef VMR_TOOLS_COMMON_FILE_DIGEST_H_
#define VMR_TOOLS_COMMON_FILE_DIGEST_H_

#include <string>
#include <string_view>
#include <vector>

namespace vmr::tool {

struct FileDigest {
  std::string path;
  std::string sha256;      // empty: it cannot be reckoned
  std::string error;       // why
  bool is_moving = false;  // somebody records into it, or it changed while it was read
};

// Of files that belong together, such as a store's: one that is locked moves them all. A lock is
// looked for without being asked for, so that no recorder finds its store in use.
std::vector<FileDigest> DigestsOf(const std::vector<std::string>& paths);

// As sha256sum prints it, ended: a name that holds a backslash or the end of a line is escaped as
// it escapes it, and the line says so by a backslash of its own in front.
std::string DigestLine(std::string_view sha256, std::string_view name);

// A line, ended; a remark in front of it where the file moves, or in its place where there is no
// digest.
std::string DigestText(const FileDigest& digest);

// Lines that `sha256sum -c` passes over.
std::string AsRemarks(std::string_view lines);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_FILE_DIGEST_H_
