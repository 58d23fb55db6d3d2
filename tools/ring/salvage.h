// Gathers what can still be read of a ring, in the order of its ticks.
#ifndef VMR_TOOLS_RING_SALVAGE_H_
#define VMR_TOOLS_RING_SALVAGE_H_

#include <memory>
#include <string>
#include <vector>

#include "tools/ring/survey.h"

namespace vmr::tool {

// One cluster of the new ring.
struct SalvagedCluster {
  RingSurvey* source = nullptr;  // null: it only gives the tick of what follows,
  bool is_behind_loss = false;   // ... and marks that something is lost in front of that
  int file = 0;                  // which of the two in it
  int cluster = 0;
  unsigned int first_tick = 0;
  unsigned int last_tick = 0;
};

// What became of the clusters of a source beside the store itself.
struct SourceAccount {
  std::string path;
  int taken = 0;
  int duplicates = 0;   // the store has them
  int overlapping = 0;  // left out: the store has other packets of these ticks
};

// The good clusters of a store and of files set aside by recorders. Of several
// copies of a cluster the one with the most packets counts. A cluster from beside
// the store whose ticks the store has packets of is left out: it is from a
// recording with ticks of its own.
//
// Owns     the surveys of the files that were set aside.
class RingSalvage {
 public:
  explicit RingSalvage(RingSurvey& store);

  // A whole file or what is left of one. False, after saying why, when it cannot
  // be read.
  bool AddFile(const std::string& path);
  // Orders what was added, keeps the newest 32768 clusters.
  void Arrange();

  const std::vector<SalvagedCluster>& Clusters() const { return clusters_; }
  const std::vector<SourceAccount>& Sources() const { return accounts_; }
  int TooOld() const { return too_old_; }  // clusters for which there was no room
  RingSurvey& Aside(std::size_t source) { return *aside_[source]; }
  std::size_t AsideCount() const { return aside_.size(); }
  // How many clusters between two ticks were taken from beside the store.
  int Regained(unsigned int after_tick, unsigned int before_tick) const;

  // Makes the cluster's image, with a mark in the place of what is unsound in it, and adds up
  // its items. False when there is nothing left of it, or it has changed meanwhile: then the
  // image is a mark alone. `same` becomes the facts of the copy that the image is one of, or
  // null where it is another. Of one cluster after the other it reads many at once.
  static bool MakeImage(const SalvagedCluster& from, unsigned char* image, TagCounts& counts,
                        unsigned long& packets, const CopyFacts*& same);

 private:
  void AddStore();
  void AddOlderCopies();
  void Merge(const std::vector<SalvagedCluster>& added, SourceAccount& account);
  bool IsDuplicate(const SalvagedCluster& added);
  bool Overlaps(const SalvagedCluster& added, const std::vector<unsigned int>& latest) const;
  void AddBearings();
  bool Fills(std::size_t index, int place) const;
  static bool Follows(const SalvagedCluster& before, const SalvagedCluster& cluster);
  static bool NeedsBearing(const SalvagedCluster& before, const SalvagedCluster& cluster);

  RingSurvey& store_;
  std::vector<std::unique_ptr<RingSurvey>> aside_;
  std::vector<SourceAccount> accounts_;
  std::vector<SalvagedCluster> clusters_;  // sorted by their first ticks
  int too_old_ = 0;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_SALVAGE_H_
