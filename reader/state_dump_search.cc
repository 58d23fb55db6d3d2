// Looking for the state dump from which a replay can begin.
#include <algorithm>

#include "backends/cluster_format.h"
#include "host/log.h"
#include "reader/metadata_reader.h"
#include "store/packet_format.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "DoesClusterContainStateDump";

// How the walk names what it meets, by its first byte.
const char* KindName(unsigned char header) {
  static constexpr const char* kNames[] = {"HDR1", "HDR2", "CONT", "DICT"};
  return FindPacketShape(header) == nullptr ? "UNKN" : kNames[header - HEADER_1];
}

// Whether a dump's mark is among the items, as the walk meets them.
bool HoldMark(const unsigned char* items, std::size_t available) {
  while (available > 0) {
    if (items[0] == TAG_POLICY_END) return true;
    const std::size_t item_bytes = ItemLength(FindTag(items[0]), items, available);
    if (item_bytes == 0) return false;
    items += item_bytes;
    available -= item_bytes;
  }
  return false;
}

// kNoTick in a cluster that has none.
unsigned int FirstTick(DataStoreNormal& ring, int cluster) {
  const unsigned int st = ring.GetSystemTick(cluster);
  return st < kUnreadableSt ? st : kNoTick;
}

// Of a difference of two clusters: how many lie between, or which one lies so many back.
int InRing(int difference) { return (difference + kClusterCount) % kClusterCount; }

}  // namespace

// One packet of the walk, or one byte that is none.
struct MetadataReader::WalkedPacket {
  const PacketShape* shape = nullptr;
  std::size_t packet_bytes = 1;

  bool HoldsItems() const { return shape != nullptr && shape->has_items; }
  // Of a packet with items, all of which is there.
  std::size_t HeadBytes() const { return shape->head_bytes; }
  std::size_t ItemBytes() const { return packet_bytes - shape->head_bytes - kPacketCrcBytes; }
};

// One search, and how far it has come.
struct MetadataReader::Search {
  DataStoreNormal& source;
  DataStore& output;
  int start_cluster;
  unsigned int tick;
  bool may_discard;  // what waits in the output: nobody else's items are among it
  unsigned int walked = 0;
  int untold = -1;  // the nearest cluster with a dump whose tick its packets do not tell
};

int MetadataReader::FindMostRecentStateDump(DataStoreNormal& source, DataStore& output,
                                            int startCluster, unsigned int sysTick) {
  UseBuffer(output);
  const bool may_discard = job_ != nullptr || output.UsedAreas() == 0;
  Search search{source, output, startCluster, sysTick, may_discard};
  const int found = WalkBack(search);
  return found < 0 && search.untold >= 0 ? FindDumpOfUntoldTick(search) : found;
}

int MetadataReader::WalkBack(Search& search) {
  int cluster = search.start_cluster;
  do {
    int bytes_read = 0;
    if (!LoadCluster(search, cluster, bytes_read)) return -1;
    if (bytes_read == 0) {
      // Deliberate: not an error. A ring that is young, or holds no dump yet, is
      // replayed from here, which is where it begins.
      VMR_LOG(kLogError, "No data found in cluster " << cluster);
      return cluster;
    }
    const bool found = DoesClusterContainStateDump(search.output, search.tick);
    LeaveCluster(search);
    if (found) return cluster;
    if (untold_dump_seen_ && search.untold < 0) search.untold = cluster;
    cluster = DataStoreNormal::GetPrevCluster(cluster);
  } while (cluster != search.start_cluster);
  VMR_LOG(kLogWarning, "Made it through all clusters and did not find systick");
  return -1;
}

// A packet with the upper bits of the tick is written every 256 ticks only. Where
// clusters are filled faster, many a dump has none before it in its cluster, and a
// ring's oldest part may hold no other. What is newer than the start lies behind
// the oldest cluster, and holds no state of use.
int MetadataReader::FindDumpOfUntoldTick(Search& search) {
  const int oldest = static_cast<int>(search.source.InitialReadLocation() / kClusterBytes);
  const int farthest = InRing(search.start_cluster - oldest);
  for (int back = InRing(search.start_cluster - search.untold); back <= farthest; ++back) {
    const int cluster = InRing(search.start_cluster - back);
    const bool is_oldest = cluster == oldest;
    int bytes_read = 0;
    if (!LoadCluster(search, cluster, bytes_read)) return -1;
    if (is_oldest) PassContinuations();
    if (HoldsDump(FirstTick(search.source, cluster), search.tick))
      return ParseFromFirstTick(search, cluster, is_oldest) ? cluster : -1;
    LeaveCluster(search);
  }
  return -1;
}

// A dump that is split begins in the cluster before. Without that it is no full
// state: what continues it is passed over.
bool MetadataReader::ParseFromFirstTick(Search& search, int cluster, bool is_oldest) {
  const unsigned int first_tick = FirstTick(search.source, cluster);
  const int before = DataStoreNormal::GetPrevCluster(cluster);
  VMR_LOG(kLogInfo, "Reading cluster " << cluster << " again from its first tick " << first_tick);
  int bytes_read = 0;
  const bool begun = !is_oldest && LoadCluster(search, before, bytes_read);
  if (begun) WalkCluster(search.output, FirstTick(search.source, before), std::nullopt);
  LeaveCluster(search);
  if (!LoadCluster(search, cluster, bytes_read)) return false;
  if (!begun) PassContinuations();
  const bool found = WalkCluster(search.output, first_tick, search.tick);
  LeaveCluster(search);
  return found;
}

// Into the buffer; an empty one is read, too.
bool MetadataReader::LoadCluster(const Search& search, int cluster, int& bytes_read) {
  const bool in_ring = buffer_start_ != nullptr && cluster >= 0 && cluster < kClusterCount;
  parse_position_ = buffer_start_;
  buffered_bytes_ = 0;
  bytes_read = 0;
  if (!in_ring || search.source.ReadDataIntoBuffer(static_cast<long>(cluster) * kClusterBytes,
                                                   buffer_start_, search.output.WorkBufferSize(),
                                                   bytes_read, next_read_location_) == 0) {
    VMR_LOG(kLogError, "Failed to read data from cluster " << cluster);
    return false;
  }
  if (bytes_read == 0) return true;
  buffered_bytes_ += static_cast<std::size_t>(bytes_read);
  VMR_LOG(kLogEachItem, "read " << bytes_read << " bytes from data store at cluster " << cluster);
  return true;
}

void MetadataReader::LeaveCluster(Search& search) {
  constexpr unsigned int kClustersBetweenPets = 256;
  if (++search.walked % kClustersBetweenPets == 0) PetBetweenClusters();
  if (search.may_discard) DiscardRecordedAgain(search.output);
}

void MetadataReader::PassContinuations() {
  while (Unparsed() > 0 && *parse_position_ == HEADER_CONT) {
    const WalkedPacket packet = Examine(parse_position_, Unparsed());
    if (packet.packet_bytes > Unparsed()) return;
    parse_position_ += packet.packet_bytes;
  }
}

// Parses nothing.
bool MetadataReader::HoldsDump(unsigned int first_tick, unsigned int sys_tick) const {
  unsigned int tick = first_tick;
  const unsigned char* at = parse_position_;
  for (std::size_t left = Unparsed(); left > 0;) {
    const WalkedPacket packet = Examine(at, left);
    if (packet.packet_bytes > left) return false;
    if (packet.HoldsItems()) {
      tick = PacketTickIfKnown(at, tick);
      if (tick <= sys_tick && HoldMark(at + packet.HeadBytes(), packet.ItemBytes())) return true;
    }
    at += packet.packet_bytes;
    left -= packet.packet_bytes;
  }
  return false;
}

bool MetadataReader::DoesClusterContainStateDump(DataStore& output, unsigned int sysTick) {
  UseBuffer(output);
  parse_position_ = buffer_start_;
  return WalkCluster(output, kNoTick, sysTick);
}

// From the reader's position on. A packet that claims to reach past the cluster
// ends the walk. What is parsed here of clusters that turn out too new stays in the
// mirror: the dump found in the end overwrites it, and the replay passes over those
// clusters again.
bool MetadataReader::WalkCluster(DataStore& output, unsigned int first_tick,
                                 std::optional<unsigned int> wanted_tick) {
  num_read_packets_ = 0;
  decoded_.policy_end_seen = false;
  untold_dump_seen_ = false;
  read_sys_tick_ = first_tick;
  if (first_tick != kNoTick) output.InitCurrentSystemTick(first_tick);
  while (Unparsed() > 0) {
    const WalkedPacket packet = Examine(parse_position_, Unparsed());
    if (packet.packet_bytes > Unparsed()) break;
    WalkPacket(output, packet);
    // Deliberate: the reader stays at this packet, with all of the cluster still
    // buffered, and so meets it again.
    if (decoded_.policy_end_seen && IsWantedDump(wanted_tick)) return true;
    const char* const kind = KindName(*parse_position_);
    parse_position_ += packet.packet_bytes;
    VMR_LOG(kLogInfo, kOperation << ": " << kind << " bytesLeft(" << Unparsed() << "), bytesParsed("
                                 << packet.packet_bytes << ")");
    if (Unparsed() > 0 && num_read_packets_ == kMaxPackets) EmptyPacketList();
  }
  if (buffered_bytes_ > 0) EmptyPacketList();
  parse_position_ = buffer_start_;
  buffered_bytes_ = 0;
  return false;
}

void MetadataReader::EmptyPacketList() {
  VMR_LOG(kLogEachItem, kOperation << "numReadPackets(" << num_read_packets_ << ")");
  num_read_packets_ = 0;
}

MetadataReader::WalkedPacket MetadataReader::Examine(const unsigned char* packet,
                                                     std::size_t available) {
  const PacketShape* const shape = FindPacketShape(packet[0]);
  if (shape == nullptr) return {};
  return {shape, PacketBytes(*shape, packet, available)};
}

void MetadataReader::WalkPacket(DataStore& output, const WalkedPacket& packet) {
  if (!packet.HoldsItems()) return;
  const unsigned char header = *parse_position_;
  const bool tells_tick = header == HEADER_1 || (header == HEADER_2 && read_sys_tick_ != kNoTick);
  read_sys_tick_ = PacketTickIfKnown(parse_position_, read_sys_tick_);
  if (tells_tick) output.InitCurrentSystemTick(read_sys_tick_);
  LogWalkedHeader(header);
  packets_[num_read_packets_] = parse_position_;
  packet_bytes_[num_read_packets_] = packet.packet_bytes;
  ++num_read_packets_;
  ParseWalkedItems(output, parse_position_ + packet.HeadBytes(), packet.ItemBytes());
}

void MetadataReader::LogWalkedHeader(unsigned char header) const {
  static constexpr const char* kNames[] = {"HEADER_1", "HEADER_2", "HEADER_CONT"};
  VMR_LOG(kLogTrace, kOperation << "Found " << kNames[header - HEADER_1]
                                << " @ last read system tick " << read_sys_tick_);
}

// Every dump holds an item that no decoder accepts, and behind it, as often as
// not, the end of the configuration that marks the dump. Here alone that item is
// stepped over; elsewhere it ends its packet like any other illegal one.
void MetadataReader::ParseWalkedItems(DataStore& output, const unsigned char* items,
                                      std::size_t available) {
  while (available > 0) {
    const TagRow* const row = FindTag(items[0]);
    const bool is_decoded = row == nullptr || row->decoder != nullptr;
    std::size_t item_bytes = is_decoded ? 0 : ItemLength(row, items, available);
    if (item_bytes == 0) {
      const int parsed = ParseItemWithin(output, items, available);
      if (parsed < 1) return;
      item_bytes = static_cast<std::size_t>(parsed);
    }
    items += item_bytes;
    available -= item_bytes;
  }
}

// Takes the mark of a dump back, for the next.
bool MetadataReader::IsWantedDump(std::optional<unsigned int> wanted_tick) {
  VMR_LOG(kLogEachItem, kOperation << "Found a state dump in this cluster!");
  decoded_.policy_end_seen = false;
  if (!wanted_tick) return false;
  if (read_sys_tick_ <= *wanted_tick) {
    VMR_LOG(kLogInfo, "Found a state dump in this cluster!");
    extraction_.dump_found = true;
    extraction_.dump_tick = read_sys_tick_;
    return true;
  }
  VMR_LOG(kLogInfo, "Found a state dump in this cluster but readSysTick ("
                        << read_sys_tick_ << ") is > sysTick (" << *wanted_tick
                        << ") searching for!");
  extraction_.later_dump_tick = std::min(extraction_.later_dump_tick, read_sys_tick_);
  untold_dump_seen_ = untold_dump_seen_ || read_sys_tick_ == kNoTick;
  return false;
}

}  // namespace vmr
