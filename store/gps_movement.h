// The 20-foot rule: a position is written when the vehicle has moved more than 20 feet
// from the one written last.
#ifndef VMR_STORE_GPS_MOVEMENT_H_
#define VMR_STORE_GPS_MOVEMENT_H_

#include <cstdint>

namespace vmr {

// A position in TTs, ten-thousandths of a minute of arc: north and west positive.
struct AxesTTs {
  std::int32_t lat;
  std::int32_t lon;
};

inline constexpr std::int32_t kMinutesPerDegree = 60;
inline constexpr std::int32_t kTTsPerMinute = 10000;
inline constexpr std::int32_t kTTsPerDegree = kMinutesPerDegree * kTTsPerMinute;
inline constexpr std::int32_t kTTsPerCircle = 360 * kTTsPerDegree;
static_assert(kTTsPerCircle == 216000000);

// Whether more than 20 feet lie between two positions. Computed, with the same answer on
// every machine; the distance is logged. One that is no number is no movement.
[[nodiscard]] bool IsMovement(const AxesTTs& from, const AxesTTs& to);

// What can be told of moves away from a position without trigonometry. A unit is asked
// once a second and more, and computing takes ten times as long as everything else that a
// report does.
//
// A short way is the hypotenuse of what it goes north and what it goes west, the latter
// less by the cosine of the latitude. The cosine's square is taken from a table of whole
// degrees, too large for what rests and too small for what moves, so that only what comes
// out between the two is unclear: up to 60 degrees of latitude less than 1 foot in 30.
class DriftArea {
 public:
  enum class Verdict { kUnclear, kRests, kMoves };

  // At first it is around nothing, and all is unclear.
  void MoveTo(const AxesTTs& centre) {
    centre_ = centre;
    const std::uint32_t latitude = centre.lat < 0 ? Less(0, centre.lat) : Less(centre.lat, 0);
    if (latitude - band_start_ >= band_length_) EnterBand(latitude);
    known_ = ((Less(centre.lat, 0) + kRoom) | (Less(centre.lon, 0) + kRoom)) < 2 * kRoom;
  }
  // From now on it is around nothing.
  void Forget() { known_ = false; }

  // Unless all is unclear.
  const AxesTTs& Centre() const { return centre_; }

  [[nodiscard]] Verdict Judge(const AxesTTs& to) const {
    const std::uint32_t north = Less(to.lat, centre_.lat);
    const std::uint32_t west = Less(to.lon, centre_.lon);
    if (!known_ || ((north + kFarthest) | (west + kFarthest)) >= 2 * kFarthest)
      return Verdict::kUnclear;
    const std::uint64_t north_part = Square(north) * kWhole;
    const std::uint64_t west_square = Square(west);
    if (north_part + west_square * most_west_ <= kRestsUpTo) return Verdict::kRests;
    return north_part + west_square * least_west_ >= kMovesFrom ? Verdict::kMoves
                                                                : Verdict::kUnclear;
  }

 private:
  // In each axis, 6 km and less towards the poles. A power of two, so that both are
  // compared at once.
  static constexpr std::uint32_t kFarthest = 1U << 15;
  // A centre is so far from the ends of the number range that modulo 2^32 no large
  // difference becomes a small one.
  static constexpr std::uint32_t kRoom = 1U << 30;
  static constexpr std::uint32_t kWhole = 1U << 16;
  // 20 feet are 32.8889 TTs of latitude, and the square of these 1081.68.
  static constexpr std::uint64_t kRestsUpTo = 1081ULL * kWhole;
  static constexpr std::uint64_t kMovesFrom = 1082ULL * kWhole;

  static std::uint32_t Less(std::int32_t a, std::int32_t b) {
    return static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b);
  }
  static std::uint64_t Square(std::uint32_t difference) {
    const std::int64_t tts = static_cast<std::int32_t>(difference);
    return static_cast<std::uint64_t>(tts * tts);
  }
  void EnterBand(std::uint32_t latitude);

  AxesTTs centre_ = {0, 0};
  bool known_ = false;
  // Latitudes, north or south, for which the bounds below hold.
  std::uint32_t band_start_ = 0;
  std::uint32_t band_length_ = 0;
  // Bounds of the cosine's square, in parts of kWhole.
  std::uint32_t most_west_ = 0;
  std::uint32_t least_west_ = 0;
};

}  // namespace vmr

#endif  // VMR_STORE_GPS_MOVEMENT_H_
