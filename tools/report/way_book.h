// The way of a vehicle with its places on the axis.
#ifndef VMR_TOOLS_REPORT_WAY_BOOK_H_
#define VMR_TOOLS_REPORT_WAY_BOOK_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "records/record.h"
#include "tools/read/track.h"
#include "tools/report/case_file.h"
#include "tools/report/placement.h"

namespace vmr::tool {

class WayBook final : public TrackSink {
 public:
  WayBook() : track_(everywhere_, false, *this) {}

  void Take(const records::Record& record, const Spot& spot);
  void Take(const records::Gap& gap, AxisX lost_from);
  void Take(const records::ClockStep& step, AxisX x);
  void TakeNewRun(int run, unsigned int tick, AxisX lost_from);
  // To be called behind the last record. `units`: of speeds whose unit was not told; nothing:
  // nobody can tell how fast that was.
  void Finish(const std::optional<std::int64_t>& units);

  std::vector<WayPoint> way;
  std::vector<AxisX> ends;  // of its pieces, ascending

 private:
  void OnPoint(const TrackPoint& point) override;
  void OnPieceEnd() override;

  const Range everywhere_;
  Track track_;
  AxisX now_ = 0;
  AxisX position_x_ = 0;  // of the last position
  bool begins_ = true;
  struct UntoldSpeed {
    std::size_t point;  // index into `way`
    std::int64_t speed;
  };
  std::vector<UntoldSpeed> untold_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_WAY_BOOK_H_
