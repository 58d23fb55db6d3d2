// What opening a ring in order to record into it does to what it holds.
#ifndef VMR_TOOLS_COMMON_RING_OPENING_H_
#define VMR_TOOLS_COMMON_RING_OPENING_H_

#include <array>
#include <string>

namespace vmr::tool {

// What a recorder meets in one of a ring's two files.
enum class FileSearch {
  kMissing,
  kUnusable,  // of a wrong size or kind, or not to be read: a ring with it is not opened
  kFails,     // the recording's end is not found
  kFinds,
};

// The recorder sets the recording aside, or removes it, and begins anew: no file
// that is there tells where the recording ends.
bool BeginsAnew(const std::array<FileSearch, 2>& files);

// The same of the ring with this base as it is now. Changes nothing; reads the
// files as the recorder's own search does, some 17 clusters of each.
bool WouldBeginAnew(const std::string& base);

// The ring's files are of two recordings, as far as some of their clusters tell.
bool IsOfTwoRecordings(const std::string& base);
// Says that, and what to do.
void SayTwoRecordings(const std::string& name, const std::string& path1, const std::string& path2);

// File 1 is missing, and file 2 holds a recording: a recorder would go on at cluster 0,
// over it.
bool WouldResumeAtTheBeginning(const std::string& base);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_RING_OPENING_H_
