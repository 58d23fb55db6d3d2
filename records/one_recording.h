// Whether a ring's two files hold one recording, or one each.
#ifndef VMR_RECORDS_ONE_RECORDING_H_
#define VMR_RECORDS_ONE_RECORDING_H_

#include <string>
#include <utility>
#include <vector>

namespace vmr::records {

// What the two copies of a cluster say about that.
enum class Likeness : unsigned char {
  kNothing,        // one of them is not sound, or holds no packets that a recorder wrote
  kAgree,          // one is a beginning of the other
  kDamaged,        // they differ by a packet at most, or one has packets that are not sound
  kFirstIsOlder,   // its ticks end before those of the other begin
  kSecondIsOlder,  // the same of the other one
  kUnlike,         // both are sound, of the same ticks, and not the same
};

// Of two images; null for a copy that is not sound.
Likeness LikenessOf(const unsigned char* image1, const unsigned char* image2);

// Gathers what the clusters say, and judges:
//
//   Where copies agree, the files are of one recording, unless several clusters on end are
//   unlike: the files have a beginning in common and went on apart. Or copies differ, and
//   what the packets tell of the unit does, too: two have recorded the same.
//   Where none agree, one that is unlike tells them apart, unless it was written in a wrong
//   place, as one that stands elsewhere, too. A file may be older by a lap of the ring when
//   the other has come round: then what the packets tell of the unit, its MAC address and
//   serial number, has to be the same in both.
class OneRecording {
 public:
  // In the order of clusters.
  void Add(int cluster, Likeness likeness);
  // Reads on in the files where the copies leave it open.
  bool AreTwo(const std::string& path1, const std::string& path2) const;

 private:
  std::vector<std::pair<int, Likeness>> seen_;  // but for those that say nothing
};

// The same of two files, by some 40 clusters of them that stand at equal distances.
bool AreOfTwoRecordings(const std::string& path1, const std::string& path2);

}  // namespace vmr::records

#endif  // VMR_RECORDS_ONE_RECORDING_H_
