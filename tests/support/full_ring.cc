#include "tests/support/full_ring.h"

#include <cstring>
#include <iterator>
#include <string>
#include <utility>

#include "host/crc8.h"
#include "tests/support/recording_store.h"

namespace vmr::test {

FullRing::FullRing(std::uint32_t seed, std::size_t newest, const FullRingCourse& course)
    : random_(seed), course_(course), newest_(newest), image_(kClusters * kClusterBytes) {
  MakeDumps();
  at_ = (newest + 1) % kClusters;
  // What came before has been overwritten: the oldest cluster begins amid it.
  for (int n = 0; n < 300; ++n) EmitTick();
  BeginCluster();
  recording_ = true;
  while (written_ < kClusters) EmitTick();
}

void FullRing::MakeDumps() {
  for (int n = 0; n < 16; ++n) {
    RecordingStore unit;
    unit.Open();
    unit.InitCurrentSystemTick(1);
    unit.ReportVehicleInfo({{std::string(Below(12), 'v')}}, false);
    unit.ReportDepartmentInfo({{std::string(Below(35), 'd')}}, false);
    unit.ReportOfficerInfo({{std::string(Below(28), 'o')}, {"4711"}}, false);
    SystemInfo system;
    system.time_zone_name.value = std::string(Below(30), 'z');
    unit.ReportSystemInfo(system, false);
    unit.ReportConfiguration(false);
    unit.WriteFullState(false);
    unit.WriteBuffers();
    std::vector<Bytes> areas;
    for (const WrittenPacket& packet : unit.packets) {
      const std::ptrdiff_t head = packet.bytes[0] == HEADER_1 ? 6 : 2;
      areas.emplace_back(packet.bytes.begin() + head, packet.bytes.end() - 1);
    }
    dumps_.push_back(std::move(areas));
  }
}

void FullRing::EmitTick() {
  tick_ += 1 + Below(course_.ticks_between_packets);
  if (tick_ >= next_dump_) {
    if (course_.dumps_tell_tick) tick_ = (tick_ | 0xFF) + 1;
    next_dump_ = tick_ + kTicksBetweenDumps;
    if (recording_) dump_ticks_.push_back(tick_);
    return EmitPackets(dumps_[Below(dumps_.size())]);
  }
  std::vector<Bytes> areas(1);
  if (course_.odd_packets) areas.resize(Below(2000) == 0 ? 25 : 1 + Below(10) / 8);
  for (Bytes& area : areas) FillArea(area, areas.size() > 5 ? 2 : course_.items_in_packet);
  EmitPackets(areas);
  if (!course_.odd_packets) return;
  if (Below(500) == 0) EmitUnknownTick();
  if (Below(500) == 0) Append(B("83 02 20 C2 56 01 00"), kNoTick);
  if (Below(500) == 0) Append(B("00 84 FF 7F"), kNoTick);
}

void FullRing::EmitUnknownTick() {
  const unsigned int known = std::exchange(tick_, kNoTick);
  std::vector<Bytes> areas(1);
  FillArea(areas[0], course_.items_in_packet);
  last_tick_ = 0;
  EmitPackets(areas);
  tick_ = known;
}

void FullRing::EmitPackets(const std::vector<Bytes>& areas) {
  for (std::size_t n = 0; n < areas.size(); ++n) {
    Bytes& packet = packet_;
    if (n > 0)
      packet = {HEADER_CONT};
    else if ((tick_ ^ last_tick_) > 0xFF)
      packet = {HEADER_1, static_cast<unsigned char>(tick_), static_cast<unsigned char>(tick_ >> 8),
                static_cast<unsigned char>(tick_ >> 16), static_cast<unsigned char>(tick_ >> 24)};
    else
      packet = {HEADER_2, static_cast<unsigned char>(tick_)};
    packet.push_back(static_cast<unsigned char>(areas[n].size()));
    packet.insert(packet.end(), areas[n].begin(), areas[n].end());
    const std::size_t covered = n > 0 ? areas[n].size() : packet.size();
    packet.push_back(Crc8(packet.data(), static_cast<unsigned int>(covered), kCrcInitial));
    Append(packet, n > 0 ? kContinuationTick : tick_);
  }
  if (recording_ && tick_ != kNoTick) packet_ticks_.push_back(tick_);
  last_tick_ = tick_;
}

void FullRing::FillArea(Bytes& area, int items) {
  area.reserve(kMaxPacketItemBytes);
  for (int n = 1 + static_cast<int>(Below(static_cast<std::size_t>(items))); n > 0; --n) {
    MakeItem();
    if (area.size() + item_.size() > kMaxPacketItemBytes) return;
    area.insert(area.end(), item_.begin(), item_.end());
  }
}

void FullRing::MakeItem() {
  static const struct {
    unsigned char tag, count, bytes;  // tags from `tag` on, payload bytes
  } kItems[] = {{0x34, 6, 0},  {0x3C, 12, 0}, {0x56, 1, 0}, {0x03, 1, 4}, {0x02, 1, 7},
                {0x18, 1, 2},  {0x51, 1, 1},  {0x55, 1, 1}, {0x59, 1, 3}, {0x54, 1, 2},
                {0x61, 14, 0}, {0x6F, 1, 1},  {0x71, 7, 1}, {0x78, 7, 2}, {0x91, 1, 9},
                {0x92, 1, 2},  {0x93, 1, 4},  {0x94, 1, 1}, {0xB0, 1, 8}, {0xC0, 1, 2},
                {0xE1, 4, 1},  {0x21, 1, 1},  {0xD1, 1, 1}};
  if (Below(3) == 0) return MakeTextItem();
  if (Below(40) == 0) return item_.assign(1, Below(2) == 0 ? 0x3A : 0x3B);
  if (course_.odd_packets && Below(200) == 0) {
    item_ = Below(2) == 0 ? B("04 02 41 42") : B("FF");
    return;
  }
  const auto& kind = kItems[Below(std::size(kItems))];
  // Reading the state of a radar that is not there prints a line.
  if (!course_.odd_packets && kind.tag == 0x6F) return item_.assign(1, 0x56);
  item_.assign(1, static_cast<unsigned char>(kind.tag + Below(kind.count)));
  std::size_t payload = kind.bytes;
  if (kind.tag == 0x61) payload = item_[0] < 0x68 ? 4 : 1;
  while (payload-- > 0) item_.push_back(Byte());
}

void FullRing::MakeTextItem() {
  static const unsigned char kTags[] = {0x05, 0x06, 0x07, 0x08, 0x10, 0x20, 0xF1};
  item_ = {kTags[Below(std::size(kTags))], static_cast<unsigned char>(10 + Below(80))};
  item_.resize(2U + item_[1], static_cast<unsigned char>('a' + Below(26)));
}

void FullRing::Append(const Bytes& packet, unsigned int tick) {
  if (!recording_ || written_ == kClusters) return;
  if (used_ + packet.size() > kClusterBytes) {
    CloseCluster();
    BeginCluster();
    if (written_ == kClusters) return;
  }
  unsigned char* const cluster = &image_[at_ * kClusterBytes];
  memcpy(cluster + used_, packet.data(), packet.size());
  used_ += packet.size();
  const bool tells_tick = tick != kNoTick && tick != kContinuationTick;
  if (tells_tick && st_ == kPartialWrapSt) st_ = tick;
}

void FullRing::BeginCluster() {
  used_ = kClusterHeaderBytes;
  st_ = kPartialWrapSt;
}

void FullRing::CloseCluster() {
  unsigned char* const cluster = &image_[at_ * kClusterBytes];
  SetClusterSt(cluster, st_);
  SetClusterSize(cluster, static_cast<int>(used_));
  cluster[0] = ClusterCrc(cluster);
  at_ = (at_ + 1) % kClusters;
  ++written_;
}

}  // namespace vmr::test
