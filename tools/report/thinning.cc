#include "tools/report/thinning.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vmr::tool {
namespace {

struct Place {
  double x, y;
};

Place PlaceOf(const LinePoint& point) {
  return {static_cast<double>(point.x), static_cast<double>(point.value)};
}
Place PlaceOf(const WayPoint& point) {
  return {static_cast<double>(point.longitude_tts), static_cast<double>(point.latitude_tts)};
}

double TwiceTheArea(const Place& a, const Place& b, const Place& c) {
  return std::abs((a.x - c.x) * (b.y - a.y) - (a.x - b.x) * (c.y - a.y));
}

template <typename Point>
Place Middle(const Point* begin, const Point* end) {
  Place sum{0, 0};
  for (const Point* point = begin; point != end; ++point) {
    sum.x += PlaceOf(*point).x;
    sum.y += PlaceOf(*point).y;
  }
  const auto count = static_cast<double>(end - begin);
  return {sum.x / count, sum.y / count};
}

// Appends about `wanted` of the points, the first and the last among them.
template <typename Point>
void Thin(const Point* points, std::size_t count, std::size_t wanted, std::vector<Point>& thin) {
  constexpr std::size_t kEnds = 2;
  if (count <= wanted || count <= kEnds + 1) {
    thin.insert(thin.end(), points, points + count);
    return;
  }
  const std::size_t buckets = std::max<std::size_t>(wanted, kEnds + 1) - kEnds;
  const auto begin_of = [&](std::size_t bucket) { return 1 + (count - kEnds) * bucket / buckets; };
  thin.push_back(points[0]);
  for (std::size_t bucket = 0; bucket < buckets; ++bucket) {
    const Point* const begin = points + begin_of(bucket);
    const Point* const end = points + begin_of(bucket + 1);
    const Point* const behind =
        bucket + 1 < buckets ? points + begin_of(bucket + 2) : points + count;
    const Place before = PlaceOf(thin.back()), next = Middle(end, behind);
    thin.push_back(*std::max_element(begin, end, [&](const Point& a, const Point& b) {
      return TwiceTheArea(before, PlaceOf(a), next) < TwiceTheArea(before, PlaceOf(b), next);
    }));
  }
  thin.push_back(points[count - 1]);
}

// `stays(i)`: the point has to. Between those that have to points are thinned.
template <typename Point, typename Stays>
bool ThinBetween(std::vector<Point>& points, std::size_t most, const Stays& stays) {
  if (points.size() <= most) return false;
  std::vector<Point> thin;
  const double share = static_cast<double>(most) / static_cast<double>(points.size());
  for (std::size_t from = 0, to; from < points.size(); from = to) {
    to = from + 1;
    while (to < points.size() && !stays(to)) ++to;
    const auto wanted = static_cast<std::size_t>(static_cast<double>(to - from) * share);
    if (stays(from)) thin.push_back(points[from]);
    const std::size_t first = from + (stays(from) ? 1 : 0);
    Thin(points.data() + first, to - first, wanted, thin);
  }
  const bool is_thinned = thin.size() < points.size();
  points = std::move(thin);
  return is_thinned;
}

}  // namespace

bool ThinLine(Line& line, std::size_t most) {
  return ThinBetween(line, most, [&line](std::size_t i) { return line[i].flags != 0; });
}

bool ThinWay(std::vector<WayPoint>& way, std::size_t most) {
  return ThinBetween(way, most, [&way](std::size_t i) {
    constexpr unsigned char kOwnPiece = WayPoint::kBegins | WayPoint::kWrongCrc;
    return (way[i].flags & kOwnPiece) != 0 || i == 0 || way[i].flags != way[i - 1].flags;
  });
}

}  // namespace vmr::tool
