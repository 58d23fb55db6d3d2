// Range extraction a second time, the plain way: clusters looked at one after the
// other, packets taken apart here. A store decodes the items and writes the full
// state; nothing else is shared with the code under test.
#ifndef VMR_TESTS_READER_REFERENCE_EXTRACTION_H_
#define VMR_TESTS_READER_REFERENCE_EXTRACTION_H_

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "store/data_store.h"
#include "store/tag_catalogue.h"
#include "tests/support/bytes.h"

namespace vmr::test {

// The extraction of one range of a ring whose clusters have all been written.
class ReferenceExtraction {
 public:
  // A cluster's 4096 bytes; which is the oldest.
  ReferenceExtraction(std::function<const unsigned char*(std::size_t)> cluster, std::size_t oldest)
      : cluster_(std::move(cluster)), oldest_(oldest) {}

  // What ReadToNewFile returns.
  bool Run(unsigned int start, unsigned int end) {
    start_ = start;
    asked_end_ = end;
    end_ = end > 0xFFFFFFFF - 20 ? 0xFFFFFFFF : end + 20;
    file_.Open();
    ReportLabel();
    const bool found = FindDump();
    seen_.policy_end_seen = true;
    if (found) Replay();
    if (!started_) WriteState();
    file_.WriteBuffers();
    return found;
  }
  const Bytes& File() const { return file_.bytes; }
  // The dump it began with stands at no tick that its cluster's packets tell.
  bool FoundByFirstTick() const { return found_by_first_tick_; }

 private:
  static constexpr std::size_t kClusters = 32768;
  static constexpr std::size_t kMostPackets = 17;
  static constexpr unsigned int kUnknown = 0xFFFFFFFF;

  class FileInMemory : public DataStore {
   public:
    FileInMemory() : DataStore(DATA_STORE_NULL, kSimpleStoreBufferBytes) {}
    int Open() override {
      PrepareDictionary();
      bytes = B("66 5D 53 31");
      bytes.insert(bytes.end(), DictionaryBytes(), DictionaryBytes() + DictionaryLength());
      return OpenInit();
    }
    int WriteData(const unsigned char* data, int length, unsigned int /*sysTick*/) override {
      bytes.insert(bytes.end(), data, data + length);
      return 1;
    }
    Bytes bytes;
  };

  // A packet, or one byte that is none.
  struct Packet {
    const unsigned char* bytes;
    std::size_t length;
    std::size_t head;  // 0: nothing that holds items
    bool Begins() const { return bytes[0] == 0x80 || bytes[0] == 0x81; }
    bool IsOne() const { return bytes[0] >= 0x80 && bytes[0] <= 0x83; }
  };
  static Packet PacketAt(const unsigned char* at) {
    switch (*at) {
      case 0x80:
        return {at, at[5] + 7U, 6};
      case 0x81:
        return {at, at[2] + 4U, 3};
      case 0x82:
        return {at, at[1] + 3U, 2};
      case 0x83:
        return {at, at[1] * 2U + 3U, 0};
      default:
        return {at, 1, 0};
    }
  }
  std::vector<Packet> PacketsOf(std::size_t cluster) const {
    const unsigned char* const image = cluster_(cluster);
    const unsigned char* const end = image + (image[5] | image[6] << 8);
    std::vector<Packet> packets;
    for (const unsigned char* at = image + 7; at < end; at += packets.back().length)
      packets.push_back(PacketAt(at));
    return packets;
  }
  static unsigned int Long(const unsigned char* at) {
    return at[0] | static_cast<unsigned int>(at[1]) << 8 | static_cast<unsigned int>(at[2]) << 16 |
           static_cast<unsigned int>(at[3]) << 24;
  }
  unsigned int FirstTick(std::size_t cluster) const { return Long(cluster_(cluster) + 1); }

  // Of all clusters, oldest first, the last whose first tick is not after the
  // start.
  std::size_t StartCluster() const {
    std::size_t found = oldest_;
    for (std::size_t n = 0; n < kClusters; ++n)
      if (FirstTick((oldest_ + n) % kClusters) <= start_) found = (oldest_ + n) % kClusters;
    return found;
  }

  // Leaves `cluster_at_` and `packet_at_` at the packet with the dump's end.
  bool FindDump() {
    const std::size_t start_cluster = StartCluster();
    for (std::size_t back = 0; back < kClusters; ++back) {
      cluster_at_ = (start_cluster + kClusters - back) % kClusters;
      tick_ = kUnknown;
      if (DecodeUpToDump()) return true;
    }
    return FindDumpByFirstTick(start_cluster);
  }

  // Of the clusters from the start back to the oldest the first that holds one when
  // its ticks are counted from that in its header.
  bool FindDumpByFirstTick(std::size_t start_cluster) {
    for (cluster_at_ = start_cluster;; cluster_at_ = Before(cluster_at_)) {
      tick_ = OwnTick(cluster_at_);
      const bool is_oldest = cluster_at_ == oldest_;
      FileInMemory aside;
      if (DecodeUpToDump(aside, is_oldest)) break;
      if (is_oldest) return false;
    }
    found_by_first_tick_ = true;
    const std::size_t found = cluster_at_;
    if (found != oldest_) {
      cluster_at_ = Before(found);
      BeginAt(OwnTick(cluster_at_));
      for (const Packet& packet : PacketsOf(cluster_at_)) DecodeWalked(packet, file_);
    }
    cluster_at_ = found;
    BeginAt(OwnTick(found));
    return DecodeUpToDump(file_, found == oldest_);
  }
  static std::size_t Before(std::size_t cluster) { return (cluster + kClusters - 1) % kClusters; }
  unsigned int OwnTick(std::size_t cluster) const {
    return FirstTick(cluster) < 0xFFFFFFFD ? FirstTick(cluster) : kUnknown;
  }
  void BeginAt(unsigned int tick) {
    tick_ = tick;
    if (tick != kUnknown) file_.InitCurrentSystemTick(tick);
  }

  // The cluster's packets up to one with a dump's end that is not after the start.
  // `whole_only`: what continues a packet of the cluster before counts for nothing.
  bool DecodeUpToDump() { return DecodeUpToDump(file_, false); }
  bool DecodeUpToDump(DataStore& into, bool whole_only) {
    const std::vector<Packet> packets = PacketsOf(cluster_at_);
    packet_at_ = 0;
    while (whole_only && packet_at_ < packets.size() && packets[packet_at_].bytes[0] == 0x82)
      ++packet_at_;
    for (; packet_at_ < packets.size(); ++packet_at_)
      if (DecodeWalked(packets[packet_at_], into) && tick_ <= start_) return true;
    return false;
  }
  // Whether it holds a dump's end.
  bool DecodeWalked(const Packet& packet, DataStore& into) {
    if (packet.head == 0) return false;
    seen_.policy_end_seen = false;
    TakeTick(packet);
    if (packet.bytes[0] == 0x80 || (packet.Begins() && tick_ != kUnknown))
      into.InitCurrentSystemTick(tick_);
    Decode(packet, true, into);
    return seen_.policy_end_seen;
  }

  void TakeTick(const Packet& packet) {
    if (packet.bytes[0] == 0x80) tick_ = Long(packet.bytes + 1);
    if (packet.bytes[0] == 0x81 && tick_ != kUnknown)
      tick_ = (tick_ & 0xFFFFFF00) | packet.bytes[1];
  }

  void Decode(const Packet& packet, bool over_zone_names, DataStore& into) {
    const unsigned char* item = packet.bytes + packet.head;
    const unsigned char* const end = packet.bytes + packet.length - 1;
    while (item < end) {
      const auto left = static_cast<std::size_t>(end - item);
      const TagRow* const row = FindTag(*item);
      std::size_t length = *item == 0x04 ? 0 : ItemLength(row, item, left);
      if (length > 0)
        row->decoder(into, item, seen_);
      else if (over_zone_names && *item == 0x04 && left >= 2 && left >= item[1] + 2U)
        length = item[1] + 2U;
      if (length == 0) return;
      item += length;
    }
  }

  // Takes the packets from there on apart into ticks.
  void Replay() {
    group_tick_ = tick_;
    std::vector<Packet> packets = PacketsOf(cluster_at_);
    std::vector<Packet> group;
    bool begun = false;
    for (;;) {
      if (packet_at_ == packets.size()) {
        if ((cluster_at_ + 1) % kClusters == oldest_) break;
        cluster_at_ = (cluster_at_ + 1) % kClusters;
        packets = PacketsOf(cluster_at_);
        packet_at_ = 0;
      }
      const Packet packet = packets[packet_at_++];
      if (!packet.IsOne()) continue;
      if ((packet.Begins() && begun) || group.size() == kMostPackets) {
        if (!TakeGroup(group)) return;
        group.clear();
        begun = false;
      }
      group.push_back(packet);
      begun = begun || packet.head != 0;
    }
    if (!group.empty()) TakeGroup(group);
  }

  // False when the range is over.
  bool TakeGroup(const std::vector<Packet>& group) {
    const unsigned int tick = group_tick_ = TickOf(group);
    if (!started_ && (tick == kUnknown || tick <= start_)) {
      Parse(group);
      KeepRoom();
      if (tick == start_ && tick != kUnknown) WriteState();
      return true;
    }
    if (!started_) WriteState();
    if (tick != kUnknown && tick > end_) return false;
    Parse(group);
    for (const Packet& packet : group)
      file_.WriteData(packet.bytes, static_cast<int>(packet.length), 0);
    if (file_.UsedAreas() > 4) file_.WriteBuffers();
    return true;
  }
  // The tick that its header told, or the one before it.
  unsigned int TickOf(const std::vector<Packet>& group) const {
    unsigned int tick = group_tick_;
    for (const Packet& packet : group) {
      if (packet.bytes[0] == 0x80) tick = Long(packet.bytes + 1);
      if (packet.bytes[0] == 0x81 && tick != kUnknown) tick = (tick & 0xFFFFFF00) | packet.bytes[1];
    }
    return tick;
  }
  void Parse(const std::vector<Packet>& group) {
    for (const Packet& packet : group) {
      const unsigned int before = file_.GetCurrentSystemTick();
      if (packet.bytes[0] == 0x80) file_.InitCurrentSystemTick(Long(packet.bytes + 1));
      if (packet.bytes[0] == 0x81)
        file_.InitCurrentSystemTick((before & 0xFFFFFF00) | packet.bytes[1]);
      if (packet.head != 0) Decode(packet, false, file_);
    }
  }

  void ReportLabel() {
    const std::string label =
        "Range " + std::to_string(start_) + " to " + std::to_string(asked_end_);
    file_.ReportStringData(TAG_LOG, label.c_str());
  }
  void KeepRoom() {
    if (file_.UsedAreas() <= 4) return;
    file_.DiscardPendingItems();
    ReportLabel();
  }
  void WriteState() {
    KeepRoom();
    file_.InitCurrentSystemTick(start_);
    file_.WriteFullState(false);
    file_.WriteBuffers();
    started_ = true;
  }

  std::function<const unsigned char*(std::size_t)> cluster_;
  std::size_t oldest_;
  unsigned int start_ = 0;
  unsigned int asked_end_ = 0;
  unsigned int end_ = 0;
  unsigned int tick_ = kUnknown;
  unsigned int group_tick_ = kUnknown;
  std::size_t cluster_at_ = 0;
  std::size_t packet_at_ = 0;
  bool started_ = false;
  bool found_by_first_tick_ = false;
  DecodeResult seen_;
  FileInMemory file_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_REFERENCE_EXTRACTION_H_
