// Positions made coarse: the Earth in cells, of which only the middles are told.
#ifndef VMR_TOOLS_EVIDENCE_POSITION_GRID_H_
#define VMR_TOOLS_EVIDENCE_POSITION_GRID_H_

#include <cstdint>

#include "records/record.h"

namespace vmr::tool {

inline constexpr unsigned int kSmallestCellMetres = 10;
inline constexpr unsigned int kLargestCellMetres = 100000;

// Rows of latitude, all of one height, and in each row columns of longitude, all of one width.
// No cell is smaller than asked for, in either direction, nowhere on Earth: rows are counted
// with the shortest minute of latitude, columns with the row's edge towards the pole, and both
// divide the whole without a rest.
//
// Units    positions in TTs, as records have them.
class PositionGrid {
 public:
  // `cell_m`: kSmallestCellMetres to kLargestCellMetres.
  explicit PositionGrid(unsigned int cell_m);

  // The middle of the cell in which a known position lies. Of that middle it is itself.
  records::Position MiddleOf(const records::Position& position) const;

  // So many ticks lie between two positions that are told, or a multiple of it: what a car takes
  // for a cell at 36 km/h. When a border was crossed is known no better. Even, so that no
  // multiple is one of the numbers that stand for no tick.
  std::uint32_t TellsEveryTicks() const;

 private:
  std::int64_t ColumnsOf(std::int64_t row) const;

  unsigned int cell_m_;
  std::int64_t rows_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_POSITION_GRID_H_
