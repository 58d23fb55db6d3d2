// What the files are like when a session begins.
#ifndef VMR_TESTS_CRASH_BEGINNINGS_H_
#define VMR_TESTS_CRASH_BEGINNINGS_H_

#include "tests/crash/cow_files.h"

namespace vmr::crash {

enum class Begin {
  kRing,
  kNoFiles,
  kFile1Missing,
  kFile2Missing,
  kFile1Empty,
  kFile2Empty,
  kBothUnsearchable,
  kOnlyFile2Unsearchable,  // file #1 is missing
  kWrongMode
};
const char* NameOf(Begin begin);

// Makes it so of a ring's two files.
void Bring(Begin begin, CowFiles& files);

// The file whose content is gone with it; kAnyName: none, or both.
int FileGone(Begin begin);
// Nothing that was recorded before is read back.
bool BeginsAnew(Begin begin);

// Puts a bad sector where every search of the file looks.
void SpoilSearch(CowFiles& files, int name);

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_BEGINNINGS_H_
