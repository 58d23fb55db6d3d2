#include "reader/listing_shortcut.h"

#include <algorithm>

#include "backends/cluster_format.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"

namespace vmr {
namespace {

// Replaying fewer takes no time worth mentioning.
constexpr int kFewestPassed = 512;
// Of what is passed over each of so many is looked at.
constexpr int kLookedAt = 32;
// A state dump comes every hour; so far it is looked for.
constexpr int kMostReplayed = 2048;

// Clusters from `from` on to `to`.
int Distance(int from, int to) { return (to - from + kClusterCount) % kClusterCount; }

template <typename Table>
bool HoldsId(const Table& table, unsigned int id) {
  return std::any_of(std::begin(table), std::end(table),
                     [id](const auto& entry) { return entry.id == id; });
}

template <typename Table>
bool HoldsAny(const Table& table) {
  return std::any_of(std::begin(table), std::end(table),
                     [](const auto& entry) { return entry.id != kFreeDeviceId; });
}

}  // namespace

// Over the packets of one cluster. False where it is not what a recorder writes.
class ListingShortcut::Walk {
 public:
  Walk(const DataStore& out, unsigned int start, unsigned int first_tick)
      : out_(out), start_(start) {
    cluster_.first_tick = first_tick;
    cluster_.last_tick = first_tick;
  }

  bool Packets(const unsigned char* packet, std::size_t left) {
    cluster_.goes_on = left > 0 && packet[0] == HEADER_CONT;
    while (left > 0) {
      const std::size_t bytes = WholePacketBytes(packet, left);
      if (bytes == 0 || !TakesTick(packet)) return false;
      if (cluster_.reaches_start) return true;
      const PacketShape& shape = *FindPacketShape(packet[0]);
      if (shape.has_items && !Items(packet + shape.head_bytes, PacketItemBytes(shape, bytes)))
        return false;
      packet += bytes;
      left -= bytes;
    }
    return has_header_;
  }

  const Cluster& Result() const { return cluster_; }

 private:
  // The first header tells the cluster's first tick, and none goes back.
  bool TakesTick(const unsigned char* packet) {
    if (packet[0] != HEADER_1 && packet[0] != HEADER_2) return true;
    const unsigned int tick = PacketTick(packet, cluster_.last_tick);
    if (tick < cluster_.last_tick || (!has_header_ && tick != cluster_.first_tick)) return false;
    has_header_ = true;
    cluster_.last_tick = tick;
    cluster_.reaches_start = tick >= start_;
    return true;
  }

  bool Items(const unsigned char* item, std::size_t left) {
    while (left > 0) {
      const TagRow* const row = FindTag(item[0]);
      const std::size_t bytes = ItemLength(row, item, left);
      if (bytes == 0) return false;
      if (row->decoder == nullptr) return true;  // to a reader the packet ends there
      if (!Item(item)) return false;
      item += bytes;
      left -= bytes;
    }
    return true;
  }

  bool Item(const unsigned char* item) {
    constexpr unsigned char kRadarIdMask = 0x1F;
    Said& said = cluster_.said;
    switch (item[0]) {
      case TAG_EOS:  // ends the listing
        return false;
      case TAG_RADAR_STATE:  // of one that is not there it prints a line
        return HoldsId(out_.Mirror().radar.radars, item[1] & kRadarIdMask);
      case TAG_TIME:
        // Its tick is known behind a header, and a negative one is no time.
        said.time = said.time || (has_header_ && (item[kTimeBytes - 1] & 0x80) == 0);
        return true;
      case TAG_GPS_STATE:
        if (!said.receiver) said.first_receiver = item[1] == 1;
        said.receiver = true;
        return true;
      case TAG_GPS_ABS:
        said.fix = true;
        said.fix_behind_receiver = said.receiver;
        return true;
      case TAG_SPEED_DESC:
        said.speeds.set(item[1]);
        return true;
      default:
        return true;
    }
  }

  const DataStore& out_;
  const unsigned int start_;
  Cluster cluster_;
  bool has_header_ = false;
};

void ListingShortcut::Said::Prepend(const Said& earlier) {
  time = time || earlier.time;
  fix_behind_receiver = earlier.receiver ? earlier.fix_behind_receiver || fix : fix_behind_receiver;
  fix = fix || earlier.fix;
  if (earlier.receiver) first_receiver = earlier.first_receiver;
  receiver = receiver || earlier.receiver;
  speeds |= earlier.speeds;
}

std::optional<ListingShortcut::Place> ListingShortcut::Find(long position) {
  if (looked_ || !KnowsDevices()) return std::nullopt;
  const auto replayed = static_cast<int>(position / kClusterBytes);
  if (devices_known_at_ < 0) devices_known_at_ = replayed;
  // The dump that described them may go on in the next cluster.
  constexpr int kWholeDump = 2;
  if (Distance(devices_known_at_, replayed) < kWholeDump) return std::nullopt;
  looked_ = true;
  const auto oldest = static_cast<int>(ring_.InitialReadLocation() / kClusterBytes);
  const int newest = ring_.FindSystemTick(start_);
  if (Distance(oldest, newest) < Distance(oldest, replayed)) return std::nullopt;
  return FindBefore(newest, replayed);
}

bool ListingShortcut::KnowsDevices() const {
  return HoldsAny(out_.Mirror().radar.radars) && HoldsAny(out_.Mirror().speed.devices);
}

// Whether a position is known is sure behind a fix, unless the receiver is lost behind
// that: then it depends on whether it was lost before.
bool ListingShortcut::SaysAll(const Said& said) const {
  const bool position =
      said.receiver && (said.first_receiver ? said.fix : said.fix_behind_receiver);
  return said.time && position &&
         std::all_of(std::begin(out_.Mirror().speed.devices), std::end(out_.Mirror().speed.devices),
                     [&said](const SPEED_DESC_T& device) {
                       return device.id == kFreeDeviceId || said.speeds[device.id];
                     });
}

// Goes back from the last cluster that begins not behind the start.
std::optional<ListingShortcut::Place> ListingShortcut::FindBefore(int newest, int replayed) {
  Said said;
  int cluster = newest;
  for (int back = 0; back < kMostReplayed; ++back, cluster = PreviousCluster(cluster)) {
    if (Distance(replayed, cluster) < kFewestPassed) return std::nullopt;
    const std::optional<Cluster> found = Look(cluster);
    if (!found) return std::nullopt;
    if (found->reaches_start) said = Said();  // the listing begins here already
    said.Prepend(found->said);
    // The rest of a packet whose beginning was passed over would be warned of.
    if (!SaysAll(said) || found->goes_on) continue;
    if (!IsOrderly(replayed, cluster)) return std::nullopt;
    return Place{cluster, found->first_tick};
  }
  return std::nullopt;
}

bool ListingShortcut::IsOrderly(int from, int to) const {
  unsigned int last_tick = 0;
  for (int passed = 0; passed < Distance(from, to); passed += kLookedAt) {
    const std::optional<Cluster> found = Look((from + passed) % kClusterCount);
    if (!found || found->reaches_start || found->first_tick < last_tick) return false;
    last_tick = found->last_tick;
  }
  return true;
}

// Nothing for a cluster that cannot be read, or is not what a recorder writes.
std::optional<ListingShortcut::Cluster> ListingShortcut::Look(int cluster) const {
  unsigned char packets[kClusterBytes];
  const unsigned int first_tick = ring_.GetSystemTick(cluster);
  int bytes = 0;
  long next = 0;
  if (!TellsTick(first_tick) ||
      ring_.ReadDataIntoBuffer(static_cast<long>(cluster) * kClusterBytes, packets,
                               static_cast<int>(sizeof(packets)), bytes, next) == 0)
    return std::nullopt;
  Walk walk(out_, start_, first_tick);
  if (!walk.Packets(packets, static_cast<std::size_t>(bytes))) return std::nullopt;
  return walk.Result();
}

}  // namespace vmr
