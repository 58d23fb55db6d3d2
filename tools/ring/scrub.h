// Mends a ring in place: every bad copy from its good twin.
#ifndef VMR_TOOLS_RING_SCRUB_H_
#define VMR_TOOLS_RING_SCRUB_H_

#include <string>
#include <vector>

#include "tools/ring/survey.h"

namespace vmr::tool {

// Repairs the ring that was surveyed and that nobody writes meanwhile. A copy is
// written only from a sound one of the same cluster in the other file, read again
// and found as it was; one that has no such twin stays as it is. One file is
// synced before the other is touched, and mended before anything that is sound is
// brought up to date; the file that a recorder cannot search comes first. A cluster
// that is bad in both and that no recorder can have reached is made one that was never
// written. So whatever ends the work halfway costs nothing.
//
// Owns     nothing; the survey outlives it and is out of date afterwards.
// Errors   false after saying what failed; what was done until then stays done.
class RingScrub {
 public:
  RingScrub(const std::string& base, RingSurvey& survey) : base_(base), survey_(survey) {}

  bool Run();
  // What was done, a line each.
  const std::string& Account() const { return account_; }

 private:
  enum class Repair { kNone, kMend, kBringUpToDate };

  // Clusters that are bad in both files, and were never recorded into.
  bool ClearWhatHeldNothing();
  bool HeldNothing(int cluster) const;
  bool Clear(int file, const std::vector<int>& clusters);

  // A file that is missing or of the wrong size is written anew.
  bool BuildAnew(int file);
  bool WriteAll(int file, const std::string& path);
  bool RewriteCopies(int file, Repair wanted);
  bool IsLeftAlone(const ClusterFacts& facts, int file) const;
  Repair RepairOf(int cluster, int file) const;
  bool RewriteCopy(int fd, int cluster, int file);
  bool ReadGoodTwin(int cluster, int file, unsigned char* image);
  bool MendedFileIsSearchable(int file) const;
  void Note(Repair repair, int cluster, int file);
  bool Fail(int file, const char* what) const;

  struct Done {
    Repair repair;
    int file;
    int first;
    int last;
  };
  void Tell();

  const std::string& base_;
  RingSurvey& survey_;
  std::vector<Done> done_;
  std::string account_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_SCRUB_H_
