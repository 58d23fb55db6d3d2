// The points of a piece of the way, however long it is, to be gone through several times.
#ifndef VMR_TOOLS_READ_KEPT_POINTS_H_
#define VMR_TOOLS_READ_KEPT_POINTS_H_

#include <cstddef>
#include <vector>

#include "tools/read/track.h"

namespace vmr::tool {

// Holds a few points in memory. Those before them are in a file without a name, in the folder
// for temporary files; where there is no room for one, they stay in memory, too.
//
// Owns     the file.
// Errors   False, and errno: a point can no longer be read.
class KeptPoints {
 public:
  static constexpr std::size_t kInMemory = 1024;

  KeptPoints() = default;
  ~KeptPoints();
  KeptPoints(const KeptPoints&) = delete;
  KeptPoints& operator=(const KeptPoints&) = delete;

  void Add(const TrackPoint& point);
  void Clear();

  std::size_t Count() const { return in_file_ + recent_.size(); }
  // There is one.
  const TrackPoint& First() const { return first_; }
  const TrackPoint& Last() const { return recent_.back(); }

  // Calls `visit` with each, in their order.
  template <typename Visit>
  [[nodiscard]] bool ForEach(const Visit& visit) const {
    std::vector<TrackPoint> block;
    for (std::size_t done = 0; done < in_file_; done += block.size()) {
      if (!ReadBlock(done, block)) return false;
      for (const TrackPoint& point : block) visit(point);
    }
    for (const TrackPoint& point : recent_) visit(point);
    return true;
  }

 private:
  bool MoveToFile();
  bool GoTo(std::size_t point) const;
  bool ReadBlock(std::size_t from, std::vector<TrackPoint>& block) const;

  TrackPoint first_;
  std::vector<TrackPoint> recent_;
  std::size_t in_file_ = 0;
  int fd_ = -1;
  bool file_takes_more_ = true;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_READ_KEPT_POINTS_H_
