#include "backends/carried_crc.h"

#include <cassert>
#include <cstddef>

#include "backends/cluster_format.h"

namespace vmr {
namespace {

#ifdef NDEBUG
constexpr bool kCheckEveryTime = false;
#else
constexpr bool kCheckEveryTime = true;
#endif

}  // namespace

void CarriedCrc::Learn(Service service) {
  service_ = service;
  sealed_bytes_ = 0;
  const bool can_carry =
      LayOutRings() && IsLinear() && IsTakenByteWise() && IsTakenAlikeAtEveryLength();
  trust_ = can_carry ? Trust::kUnproven : Trust::kNone;
}

// False when two values are moved on to the same one.
bool CarriedCrc::LayOutRings() {
  const unsigned char zero = 0;
  if (service_(&zero, 1, zero) != zero) return false;  // so that no ring is of all 256
  places_ = {};
  unsigned int start = 0;
  for (unsigned int first = 0; first < places_.size(); ++first) {
    if (places_[first].ring_length != 0) continue;
    unsigned int length = 0;
    auto value = static_cast<unsigned char>(first);
    do {
      if (start + length == rings_.size()) return false;  // never came round
      rings_[start + length++] = value;
      value = service_(&zero, 1, value);
    } while (value != first);
    for (unsigned int index = 0; index < length; ++index)
      places_[rings_[start + index]] = {static_cast<unsigned char>(start),
                                        static_cast<unsigned char>(length),
                                        static_cast<unsigned char>(index)};
    start += length;
  }
  return start == rings_.size();
}

// Zero stays, and a value goes where the XOR of its bits goes.
bool CarriedCrc::IsLinear() const {
  for (unsigned int value = 0; value < places_.size(); ++value) {
    unsigned int sum = 0;
    for (unsigned int bit = 1; bit < places_.size(); bit <<= 1)
      if ((value & bit) != 0) sum ^= MovedOn(bit, 1);
    if (MovedOn(value, 1) != sum) return false;
  }
  return true;
}

// No byte leaves the register as it is, and one is put on it and moves it on.
bool CarriedCrc::IsTakenByteWise() const {
  for (unsigned int n = 0; n < places_.size(); ++n) {
    const auto initial = static_cast<unsigned char>(n);
    const auto byte = static_cast<unsigned char>(n * 7 + 3);
    if (service_(&byte, 0, initial) != initial ||
        service_(&byte, 1, initial) != MovedOn(initial ^ byte, 1))
      return false;
  }
  return true;
}

// However many bytes the service takes at a time.
bool CarriedCrc::IsTakenAlikeAtEveryLength() const {
  std::array<unsigned char, 80> bytes{};
  for (std::size_t n = 0; n < bytes.size(); ++n) bytes[n] = static_cast<unsigned char>(n * 37 + 11);
  unsigned char expected = kCrcInitial;
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    expected = MovedOn(expected ^ bytes[n], 1);
    if (service_(bytes.data(), static_cast<unsigned int>(n + 1), kCrcInitial) != expected)
      return false;
  }
  return true;
}

unsigned char CarriedCrc::OfAppended(const unsigned char* cluster, int bytes_before) {
  // Neither what opening loads nor the head of a new cluster was summed up here.
  const bool known = bytes_before == sealed_bytes_;
  sealed_bytes_ = ClusterSize(cluster);
  if (!known || trust_ == Trust::kNone) return Computed(cluster);
  const unsigned char carried = Carry(cluster, bytes_before);
  if (trust_ == Trust::kProven && !kCheckEveryTime) return carried;
  const unsigned char computed = Computed(cluster);
  assert(trust_ == Trust::kUnproven || carried == computed);
  trust_ = carried == computed ? Trust::kProven : Trust::kNone;
  return computed;
}

unsigned char CarriedCrc::Computed(const unsigned char* cluster) const {
  return service_(cluster + 1, ClusterSize(cluster) - 1U, kCrcInitial);
}

unsigned char CarriedCrc::Carry(const unsigned char* cluster, int bytes_before) const {
  const int bytes = ClusterSize(cluster);
  const auto changed = static_cast<unsigned int>(bytes_before ^ bytes);
  const unsigned int low_byte = MovedOn(changed & 0xFF, 1);
  const auto payload = static_cast<unsigned int>(bytes_before - kClusterHeaderBytes);
  const unsigned char moved = MovedOn(low_byte ^ changed >> 8, 1 + payload);
  return service_(cluster + bytes_before, static_cast<unsigned int>(bytes - bytes_before),
                  static_cast<unsigned char>(cluster[0] ^ moved));
}

unsigned char CarriedCrc::MovedOn(unsigned int value, unsigned int bytes) const {
  const Place at = places_[value];
  return rings_[at.ring_start + (at.index + bytes) % at.ring_length];
}

}  // namespace vmr
