#include "tools/evidence/position_grid.h"

#include <algorithm>
#include <cmath>

#include "store/gps_movement.h"

namespace vmr::tool {
namespace {

// A minute of latitude at the equator; everywhere else it is longer. One of longitude is longer
// than this by the cosine of the latitude.
constexpr double kShortestMinuteMetres = 1842.9;
constexpr std::int64_t kCircle = kTTsPerCircle;
constexpr std::int64_t kHalfCircle = kCircle / 2;
constexpr std::int64_t kQuarter = kCircle / 4;

double TTsOf(unsigned int metres) { return metres * (kTTsPerMinute / kShortestMinuteMetres); }

// Of `count` equal parts of `whole`: which one `at` lies in, and the middle of one.
std::int64_t PartAt(std::int64_t at, std::int64_t whole, std::int64_t count) {
  return std::min(at * count / whole, count - 1);
}
std::int64_t MiddleOfPart(std::int64_t part, std::int64_t whole, std::int64_t count) {
  return (2 * part + 1) * whole / (2 * count);
}

}  // namespace

PositionGrid::PositionGrid(unsigned int cell_m)
    : cell_m_(cell_m), rows_(static_cast<std::int64_t>(kHalfCircle / TTsOf(cell_m))) {}

std::int64_t PositionGrid::ColumnsOf(std::int64_t row) const {
  const double south = static_cast<double>(row * kHalfCircle) / static_cast<double>(rows_);
  const double north = static_cast<double>((row + 1) * kHalfCircle) / static_cast<double>(rows_);
  const double edge = std::max(std::abs(south - kQuarter), std::abs(north - kQuarter));
  const double radians = edge / kHalfCircle * std::acos(-1.0);
  const double columns = kCircle * std::cos(radians) / TTsOf(cell_m_);
  return std::max<std::int64_t>(1, static_cast<std::int64_t>(columns));
}

records::Position PositionGrid::MiddleOf(const records::Position& position) const {
  const std::int64_t row = PartAt(position.latitude_tts + kQuarter, kHalfCircle, rows_);
  const std::int64_t columns = ColumnsOf(row);
  // 180 degrees east is 180 degrees west.
  const std::int64_t from_west = (position.longitude_tts + kHalfCircle) % kCircle;
  const std::int64_t column = PartAt(from_west, kCircle, columns);
  records::Position middle = position;
  middle.latitude_tts = static_cast<std::int32_t>(MiddleOfPart(row, kHalfCircle, rows_) - kQuarter);
  middle.longitude_tts =
      static_cast<std::int32_t>(MiddleOfPart(column, kCircle, columns) - kHalfCircle);
  return middle;
}

std::uint32_t PositionGrid::TellsEveryTicks() const {
  constexpr unsigned int kMetresInTwoTicks = 10;
  return (cell_m_ + kMetresInTwoTicks - 1) / kMetresInTwoTicks * 2;
}

}  // namespace vmr::tool
