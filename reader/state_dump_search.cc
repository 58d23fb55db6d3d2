// Looking for the state dump from which a replay can begin.
#include <algorithm>
#include <array>

#include "backends/cluster_format.h"
#include "host/log.h"
#include "reader/metadata_reader.h"
#include "store/bytes.h"

namespace vmr {
namespace {

constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "DoesClusterContainStateDump";

// How the walk names a kind of packet and finds its end.
struct WalkedKind {
  unsigned char header;
  const char* name;
  std::size_t head_bytes;  // the last of them counts
  std::size_t bytes_per_count;
  std::size_t tail_bytes;
};
constexpr std::array<WalkedKind, 4> kKinds = {{
    {HEADER_1, "HDR1", kHeader1Bytes, 1, kPacketCrcBytes},
    {HEADER_2, "HDR2", kHeader2Bytes, 1, kPacketCrcBytes},
    {HEADER_CONT, "CONT", kHeaderContBytes, 1, kPacketCrcBytes},
    {HEADER_DICTIONARY, "DICT", 1 + 1, 2, 1},
}};

// Bytes of an item of the one tag that is written and that no decoder accepts;
// 0 for any other item, and for one that does not end within `available`.
std::size_t UndecodableItemBytes(const unsigned char* item, std::size_t available) {
  constexpr std::size_t kHeadBytes = 1 + 1;
  if (item[0] != TAG_TIME_ZONE_NAME || available < kHeadBytes) return 0;
  const std::size_t length = kHeadBytes + item[1];
  return length <= available ? length : 0;
}

}  // namespace

// One packet of the walk, or one byte that is none.
struct MetadataReader::WalkedPacket {
  const char* kind = "UNKN";
  std::size_t head_bytes = 0;
  std::size_t item_bytes = 0;
  std::size_t packet_bytes = 1;
};

// One search, and how far it has come.
struct MetadataReader::Search {
  DataStoreNormal& source;
  DataStore& output;
  int start_cluster;
  unsigned int tick;
  bool may_discard;  // what waits in the output: nobody else's items are among it
  unsigned int walked = 0;
};

int MetadataReader::FindMostRecentStateDump(DataStoreNormal& source, DataStore& output,
                                            int startCluster, unsigned int sysTick) {
  UseBuffer(output);
  const bool may_discard = job_ != nullptr || output.UsedAreas() == 0;
  Search search{source, output, startCluster, sysTick, may_discard};
  return WalkBack(search);
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
    cluster = DataStoreNormal::GetPrevCluster(cluster);
  } while (cluster != search.start_cluster);
  VMR_LOG(kLogWarning, "Made it through all clusters and did not find systick");
  return -1;
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

// A packet that claims to reach past the cluster ends the walk. What is parsed
// here of clusters that turn out too new stays in the mirror: the dump found in
// the end overwrites it, and the replay passes over those clusters again.
bool MetadataReader::DoesClusterContainStateDump(DataStore& output, unsigned int sysTick) {
  UseBuffer(output);
  num_read_packets_ = 0;
  decoded_.policy_end_seen = false;
  read_sys_tick_ = kNoTick;
  parse_position_ = buffer_start_;
  while (Unparsed() > 0) {
    const WalkedPacket packet = Examine(parse_position_, Unparsed());
    if (packet.packet_bytes > Unparsed()) break;
    WalkPacket(output, packet);
    // Deliberate: the reader stays at this packet, with all of the cluster still
    // buffered, and so meets it again.
    if (decoded_.policy_end_seen && IsWantedDump(sysTick)) return true;
    parse_position_ += packet.packet_bytes;
    VMR_LOG(kLogInfo, kOperation << ": " << packet.kind << " bytesLeft(" << Unparsed()
                                 << "), bytesParsed(" << packet.packet_bytes << ")");
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

// The packet's length byte counts only when all of its head is there.
MetadataReader::WalkedPacket MetadataReader::Examine(const unsigned char* packet,
                                                     std::size_t available) {
  for (const WalkedKind& kind : kKinds) {
    if (packet[0] != kind.header) continue;
    const std::size_t count = available < kind.head_bytes ? 0 : packet[kind.head_bytes - 1];
    return {kind.name, kind.head_bytes, count,
            kind.head_bytes + count * kind.bytes_per_count + kind.tail_bytes};
  }
  return {};
}

void MetadataReader::WalkPacket(DataStore& output, const WalkedPacket& packet) {
  const unsigned char header = *parse_position_;
  if (packet.head_bytes == 0 || header == HEADER_DICTIONARY) return;
  const bool tells_tick = header == HEADER_1 || (header == HEADER_2 && read_sys_tick_ != kNoTick);
  if (tells_tick) {
    // Deliberate: a short header's tick does not carry into the upper bits.
    read_sys_tick_ = header == HEADER_1 ? GetLe32(parse_position_ + 1)
                                        : (read_sys_tick_ & ~0xFFU) | parse_position_[1];
    output.InitCurrentSystemTick(read_sys_tick_);
  }
  LogWalkedHeader(header);
  packets_[num_read_packets_] = parse_position_;
  packet_bytes_[num_read_packets_] = packet.packet_bytes;
  ++num_read_packets_;
  ParseWalkedItems(output, parse_position_ + packet.head_bytes, packet.item_bytes);
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
    std::size_t item_bytes = UndecodableItemBytes(items, available);
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
bool MetadataReader::IsWantedDump(unsigned int sysTick) {
  VMR_LOG(kLogEachItem, kOperation << "Found a state dump in this cluster!");
  decoded_.policy_end_seen = false;
  if (read_sys_tick_ <= sysTick) {
    VMR_LOG(kLogInfo, "Found a state dump in this cluster!");
    extraction_.dump_found = true;
    extraction_.dump_tick = read_sys_tick_;
    return true;
  }
  VMR_LOG(kLogInfo, "Found a state dump in this cluster but readSysTick ("
                        << read_sys_tick_ << ") is > sysTick (" << sysTick << ") searching for!");
  extraction_.later_dump_tick = std::min(extraction_.later_dump_tick, read_sys_tick_);
  return false;
}

}  // namespace vmr
