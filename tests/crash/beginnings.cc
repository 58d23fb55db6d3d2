#include "tests/crash/beginnings.h"

#include "tests/crash/recording.h"

namespace vmr::crash {

const char* NameOf(Begin begin) {
  static const char* const kNamesOfAll[] = {
      "ring",        "no-files",          "file1-missing",           "file2-missing", "file1-empty",
      "file2-empty", "both-unsearchable", "only-file2-unsearchable", "wrong-mode"};
  return kNamesOfAll[static_cast<int>(begin)];
}

int FileGone(Begin begin) {
  if (begin == Begin::kFile1Missing || begin == Begin::kFile1Empty) return kFile1;
  return begin == Begin::kFile2Missing || begin == Begin::kFile2Empty ? kFile2 : kAnyName;
}

bool BeginsAnew(Begin begin) {
  return begin == Begin::kNoFiles || begin == Begin::kBothUnsearchable ||
         begin == Begin::kOnlyFile2Unsearchable;
}

void SpoilSearch(CowFiles& files, int name) {
  Page page = files.PageAt(name, 16383);
  page.bad_sectors = 1;
  files.SetPage(name, 16383, page);
}

void Bring(Begin begin, CowFiles& files) {
  const bool empty = begin == Begin::kFile1Empty || begin == Begin::kFile2Empty;
  if (begin == Begin::kOnlyFile2Unsearchable) {
    SpoilSearch(files, kFile2);
    files.TakeName(kFile1);
  }
  for (const int name : {kFile1, kFile2}) {
    if (begin == Begin::kWrongMode) files.SetMode(name, S_IFREG | 0644);
    if (begin == Begin::kBothUnsearchable) SpoilSearch(files, name);
    if (FileGone(begin) == name && empty) MakeEmptyRing(files, name);
    if (begin == Begin::kNoFiles || (FileGone(begin) == name && !empty)) files.TakeName(name);
  }
}

}  // namespace vmr::crash
