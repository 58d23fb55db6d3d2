#include "store/gps_movement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "store/log_source.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr long double kPi = 3.14159265358979323846264338327950288L;
constexpr long double kEarthRadius_ft = 20905231.0L;
constexpr long double kDriftLimit_ft = 20.0L;
// More than the law of cosines is wrong at the limit: 0.000003 feet with 64 bits.
constexpr long double kRounding_ft = 0.0001L;

// A full circle is 216,000,000 TTs = 2 pi.
long double Angle_rad(std::int64_t tts) {
  const auto t = static_cast<long double>(tts);
  return (t + t) * kPi / static_cast<long double>(kTTsPerCircle);
}

struct Angles {
  long double lat;
  long double lon;
};

// Spherical law of cosines (haversine's older sister: Sinnott, "Virtues of the
// Haversine", Sky & Telescope 68, 1984, gives both). Extended precision carries
// it over distances of a few feet, where double would not. No number for
// identical positions that rounding has carried beyond acos's domain, which is
// not asked then: a unit may trap invalid operations.
long double Distance_ft(const Angles& from, const Angles& to) {
  const long double cosine =
      sinl(from.lat) * sinl(to.lat) + cosl(from.lat) * cosl(to.lat) * cosl(to.lon - from.lon);
  if (fabsl(cosine) > 1.0L) return std::numeric_limits<long double>::quiet_NaN();
  return kEarthRadius_ft * acosl(cosine);
}

long double HalfSineSquared(std::int32_t from_tts, std::int32_t to_tts) {
  const long double sine = sinl(Angle_rad(static_cast<std::int64_t>(to_tts) - from_tts) / 2);
  return sine * sine;
}

// Whether more than 20 feet lie between two positions, for those that rounding
// keeps the law of cosines from telling apart: by the haversine, which is exact
// there. A long double has 64 bits on a PC and 106 on the unit; without this,
// their recordings of such a move would differ.
bool IsBeyondDriftLimit(const AxesTTs& from, const AxesTTs& to) {
  const long double limit = sinl(kDriftLimit_ft / kEarthRadius_ft / 2);
  return HalfSineSquared(from.lat, to.lat) + cosl(Angle_rad(from.lat)) * cosl(Angle_rad(to.lat)) *
                                                 HalfSineSquared(from.lon, to.lon) >
         limit * limit;
}

// ---- Without trigonometry ----------------------------------------------------------

// The cosine's square of 0 to 90 degrees, to the nearest of 65536 parts, and 0 behind.
constexpr int kDegreesToPole = 90;
constexpr std::size_t kEntries = kDegreesToPole + 1 + 1;
using SquaredCosines = std::array<std::uint32_t, kEntries>;

constexpr SquaredCosines MakeSquaredCosines() {
  SquaredCosines table{};
  for (int degrees = 0; degrees <= kDegreesToPole; ++degrees) {
    const double twice = 2 * degrees * static_cast<double>(kPi) / 180;
    double cosine = 1, term = 1;
    for (int n = 2; n < 40; n += 2) cosine += term *= -twice * twice / (n * (n - 1));
    const auto half_parts = static_cast<std::uint32_t>((1 + cosine) * 65536);
    table[static_cast<std::size_t>(degrees)] = (half_parts + 1) / 2;
  }
  return table;
}
constexpr SquaredCosines kSquaredCosines = MakeSquaredCosines();
static_assert(kSquaredCosines[0] == 65536 && kSquaredCosines[45] == 32768 &&
              kSquaredCosines[60] == 16384 && kSquaredCosines[90] == 0);

}  // namespace

bool IsMovement(const AxesTTs& from_tts, const AxesTTs& to_tts) {
  const Angles from{Angle_rad(from_tts.lat), Angle_rad(from_tts.lon)};
  const Angles to{Angle_rad(to_tts.lat), Angle_rad(to_tts.lon)};
  const long double distance_ft = Distance_ft(from, to);
  VMR_LOG(kLogInfo, "distance from " << from.lat << "," << from.lon << " to " << to.lat << ","
                                     << to.lon << " is " << distance_ft);
  if (fabsl(distance_ft - kDriftLimit_ft) < kRounding_ft)
    return IsBeyondDriftLimit(from_tts, to_tts);
  return distance_ft > kDriftLimit_ft;
}

// Where it matters how far west a move goes, it goes north by less than the limit, and
// the square changes by less than 0.1 parts. One part covers that and the rounding of the
// table. Beyond a pole is no place, and only what goes north is told there.
void DriftArea::EnterBand(std::uint32_t latitude) {
  constexpr std::uint32_t kPole = kDegreesToPole * kTTsPerDegree;
  const std::size_t degrees = std::min(latitude, kPole) / kTTsPerDegree;
  const bool is_place = latitude <= kPole;
  band_start_ = is_place ? static_cast<std::uint32_t>(degrees) * kTTsPerDegree : latitude;
  band_length_ = is_place && latitude < kPole ? kTTsPerDegree : 1;
  most_west_ = is_place ? kSquaredCosines[degrees] + 1 : kWhole;
  least_west_ = is_place ? std::max(kSquaredCosines[degrees + 1], 1U) - 1 : 0;
}

}  // namespace vmr
