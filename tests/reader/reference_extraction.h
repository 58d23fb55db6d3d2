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

 private:
  static constexpr std::size_t kClusters = 32768;
  static constexpr std::size_t kMostPackets = 17;

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
      tick_ = 0xFFFFFFFF;
      const std::vector<Packet> packets = PacketsOf(cluster_at_);
      for (packet_at_ = 0; packet_at_ < packets.size(); ++packet_at_) {
        const Packet& packet = packets[packet_at_];
        if (packet.head == 0) continue;
        seen_.policy_end_seen = false;
        TakeTick(packet);
        if (tick_ != 0xFFFFFFFF && packet.Begins()) file_.InitCurrentSystemTick(tick_);
        Decode(packet, true);
        if (seen_.policy_end_seen && tick_ <= start_) return true;
      }
    }
    return false;
  }

  void TakeTick(const Packet& packet) {
    if (packet.bytes[0] == 0x80) tick_ = Long(packet.bytes + 1);
    if (packet.bytes[0] == 0x81 && tick_ != 0xFFFFFFFF)
      tick_ = (tick_ & 0xFFFFFF00) | packet.bytes[1];
  }

  void Decode(const Packet& packet, bool over_zone_names) {
    const unsigned char* item = packet.bytes + packet.head;
    const unsigned char* const end = packet.bytes + packet.length - 1;
    while (item < end) {
      const auto left = static_cast<std::size_t>(end - item);
      const TagRow* const row = FindTag(*item);
      std::size_t length = ItemLength(row, item, left);
      if (length > 0)
        row->decoder(file_, item, seen_);
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
    if (!started_ && (tick == 0xFFFFFFFF || tick <= start_)) {
      Parse(group);
      KeepRoom();
      if (tick == start_ && tick != 0xFFFFFFFF) WriteState();
      return true;
    }
    if (!started_) WriteState();
    if (tick != 0xFFFFFFFF && tick > end_) return false;
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
      if (packet.bytes[0] == 0x81 && tick != 0xFFFFFFFF)
        tick = (tick & 0xFFFFFF00) | packet.bytes[1];
    }
    return tick;
  }
  void Parse(const std::vector<Packet>& group) {
    for (const Packet& packet : group) {
      const unsigned int before = file_.GetCurrentSystemTick();
      if (packet.bytes[0] == 0x80) file_.InitCurrentSystemTick(Long(packet.bytes + 1));
      if (packet.bytes[0] == 0x81)
        file_.InitCurrentSystemTick((before & 0xFFFFFF00) | packet.bytes[1]);
      if (packet.head != 0) Decode(packet, false);
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
  unsigned int tick_ = 0xFFFFFFFF;
  unsigned int group_tick_ = 0xFFFFFFFF;
  std::size_t cluster_at_ = 0;
  std::size_t packet_at_ = 0;
  bool started_ = false;
  DecodeResult seen_;
  FileInMemory file_;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_READER_REFERENCE_EXTRACTION_H_
