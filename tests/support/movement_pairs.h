// Pairs of positions for which what DriftArea tells without trigonometry must be what the
// computed distance tells.
#ifndef VMR_TESTS_SUPPORT_MOVEMENT_PAIRS_H_
#define VMR_TESTS_SUPPORT_MOVEMENT_PAIRS_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>

#include "store/gps_movement.h"

namespace vmr::test {

class MovementPairs {
 public:
  explicit MovementPairs(std::uint32_t seed) : random_(seed) {}

  // Compares the next pairs. False at the first that differs, which Difference tells.
  bool Compare(long count) {
    for (; count > 0; --count) {
      const AxesTTs from = Place();
      const AxesTTs to = MoveFrom(from);
      area_.MoveTo(from);
      const DriftArea::Verdict verdict = area_.Judge(to);
      const long index = pairs_++;
      if (verdict == DriftArea::Verdict::kUnclear) continue;
      const bool moves = verdict == DriftArea::Verdict::kMoves;
      ++(moves ? moves_ : rests_);
      if (IsMovement(from, to) == moves) continue;
      difference_ = "pair " + std::to_string(index) + ": from " + Text(from) + " to " + Text(to) +
                    " plainly " + (moves ? "moves" : "rests");
      return false;
    }
    return true;
  }

  const std::string& Difference() const { return difference_; }
  long Pairs() const { return pairs_; }
  // Of them, those of which it was plain.
  long Rests() const { return rests_; }
  long Moves() const { return moves_; }

 private:
  static constexpr std::int32_t kPole = 90 * kTTsPerDegree;
  static constexpr std::int32_t kDateLine = 180 * kTTsPerDegree;

  static std::string Text(const AxesTTs& at) {
    return std::to_string(at.lat) + "," + std::to_string(at.lon);
  }
  // -most .. most
  std::int32_t Within(std::int32_t most) {
    const std::uint64_t values = 2ULL * static_cast<std::uint32_t>(most) + 1;
    const std::uint64_t high = random_();
    const std::uint64_t drawn = (high << 32 | random_()) % values;
    return static_cast<std::int32_t>(static_cast<std::int64_t>(drawn) - most);
  }
  // As the unit keeps it, whatever a damaged position adds up to.
  static std::int32_t Sum(std::int64_t a, std::int64_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a + b));
  }

  // All quadrants; one in four near a pole, the equator, the date line, a whole degree of
  // latitude, and one in eight no place at all.
  AxesTTs Place() {
    const AxesTTs anywhere = {Within(kPole), Within(kDateLine)};
    switch (random_() % 8) {
      case 0: {
        const std::int32_t lines[] = {-kPole, 0, kPole,
                                      anywhere.lat / kTTsPerDegree * kTTsPerDegree};
        return {lines[random_() % std::size(lines)] + Within(70), anywhere.lon};
      }
      case 1:
        return {anywhere.lat, (random_() % 2 == 0 ? kDateLine : -kDateLine) + Within(70)};
      case 2: {
        const std::int32_t ends[] = {INT32_MIN, -(1 << 30), 1 << 30, INT32_MAX, 2 * kPole};
        const std::int32_t end = ends[random_() % std::size(ends)];
        const std::int32_t odd = Sum(end, Within(70));
        const auto which = random_() % 3;
        return {which == 0 ? anywhere.lat : odd, which == 1 ? anywhere.lon : odd};
      }
      default:
        return anywhere;
    }
  }

  AxesTTs MoveFrom(const AxesTTs& from) {
    switch (random_() % 8) {
      case 0:
        return {Sum(from.lat, Within(100)), Sum(from.lon, Within(100))};
      case 1:  // to where the area ends
        return {Sum(from.lat, Within(40000)), Sum(from.lon, Within(40000))};
      case 2:
        return {Sum(from.lat, Within(INT32_MAX)), Sum(from.lon, Within(INT32_MAX))};
      case 3:  // the same place in another spelling, and across the pole
        return {Sum(from.lat, Within(40)), Sum(-static_cast<std::int64_t>(from.lon), Within(40))};
      default:
        return OnTheRim(from);
    }
  }

  // 20 feet away, less or more by up to a twentieth. In long double because QEMU 7 refuses
  // an instruction in the double functions of the unit's libm.
  AxesTTs OnTheRim(const AxesTTs& from) {
    constexpr long double kLimit = 32.8889L;  // TTs of latitude
    const long double radians = 3.14159265358979L / kDateLine;
    const long double direction = Within(kDateLine) * radians;
    const long double length = kLimit * static_cast<long double>(1000 + Within(50)) / 1000;
    const long double cosine = std::max(std::fabs(std::cos(from.lat * radians)), 1e-4L);
    return {Sum(from.lat, static_cast<std::int64_t>(length * std::cos(direction))),
            Sum(from.lon, static_cast<std::int64_t>(length * std::sin(direction) / cosine))};
  }

  std::mt19937 random_;
  DriftArea area_;
  std::string difference_;
  long pairs_ = 0;
  long rests_ = 0;
  long moves_ = 0;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_MOVEMENT_PAIRS_H_
