#include "reader/packet_collector.h"

#include <cstring>

#include "backends/cluster_format.h"
#include "host/log.h"
#include "store/packet_format.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "ReadNextSystemTick";
constexpr const char* kHeaderNames[] = {"HEADER_1", "HEADER_2", "HEADER_CONT"};

[[gnu::noinline, gnu::cold]] void LogIncomplete(std::size_t available, std::size_t packet_bytes) {
  VMR_LOG(kLogTrace, kOperation << ": bytesleft " << available << " looking for " << packet_bytes);
}
}  // namespace

void PacketCollector::StartAt(long position) {
  buffer_start_ = nullptr;
  packet_count_ = 0;
  tick_ = kNoTick;
  next_position_ = position;
  skipped_bytes_ = 0;
}

// What was buffered in another work buffer is gone with it.
void PacketCollector::UseBuffer(DataStore& buffer) {
  if (buffer_start_ == buffer.WorkBuffer() && buffer_openings_ == buffer.Openings()) return;
  buffer_start_ = buffer.WorkBuffer();
  buffer_openings_ = buffer.Openings();
  ForgetBytes();
}

void PacketCollector::ForgetBytes() {
  parse_position_ = buffer_start_;
  buffered_bytes_ = 0;
}

int PacketCollector::CollectTick(DataStore& source, DataStore& buffer) {
  packet_count_ = 0;
  tick_started_ = false;
  UseBuffer(buffer);
  // The ring's own buffer is too small, and no source reads into itself.
  const bool usable =
      HasBuffer() && &source != &buffer && buffer.WorkBufferSize() >= kSimpleStoreBufferBytes;
  if (!usable) return -1;

  bool need_more = false;
  while (packet_count_ < kMaxPackets) {
    if (need_more || UnparsedBytes() == 0) {
      if (packet_count_ > 0 && !HasRoomForCluster(buffer)) break;
      const std::size_t bytes_before = UnparsedBytes();
      if (!ReadMore(source, buffer)) return -1;
      if (UnparsedBytes() == bytes_before) break;
    }
    const Examined examined = ExaminePacket();
    if (examined == Examined::kTickComplete) break;
    need_more = examined == Examined::kIncomplete;
  }
  return packet_count_;
}

bool PacketCollector::CopyTo(DataStore& out) const {
  for (const Packet& packet : *this) {
    // Deliberate: the packets are passed on without their tick.
    if (out.WriteData(packet.bytes, static_cast<int>(packet.count), kNoTick) != 0) continue;
    VMR_LOG(kLogError, "Failed to WriteReadSystemTick");
    return false;
  }
  return true;
}

std::size_t PacketCollector::UnparsedBytes() const {
  return buffered_bytes_ - static_cast<std::size_t>(parse_position_ - buffer_start_);
}

// ---- The buffer ------------------------------------------------------------------

// Makes what must be kept start at the buffer's beginning.
void PacketCollector::MakeRoom() {
  unsigned char* const keep = packet_count_ == 0 ? parse_position_ : packets_[0].bytes;
  const std::ptrdiff_t shift = keep - buffer_start_;
  if (shift == 0) return;
  buffered_bytes_ -= static_cast<std::size_t>(shift);
  memmove(buffer_start_, keep, buffered_bytes_);
  parse_position_ -= shift;
  for (int i = 0; i < packet_count_; ++i) packets_[i].bytes -= shift;
}

// A source is only asked when a whole cluster fits. With less room a flat source
// refuses, and a ring hands out part of a cluster, whose rest it would then
// repeat. The packets collected so far are returned instead.
bool PacketCollector::HasRoomForCluster(const DataStore& buffer) {
  MakeRoom();
  return static_cast<std::size_t>(buffer.WorkBufferSize()) - buffered_bytes_ >=
         static_cast<std::size_t>(kClusterBytes);
}

bool PacketCollector::ReadMore(DataStore& source, const DataStore& buffer) {
  MakeRoom();
  int bytes_read = 0;
  const int room = buffer.WorkBufferSize() - static_cast<int>(buffered_bytes_);
  if (source.ReadDataIntoBuffer(next_position_, buffer_start_ + buffered_bytes_, room, bytes_read,
                                next_position_) == 0)
    return false;
  buffered_bytes_ += static_cast<std::size_t>(bytes_read);
  return true;
}

bool PacketCollector::Fill(DataStore& source, DataStore& buffer, long position, int& bytes_read) {
  ForgetBytes();
  if (source.ReadDataIntoBuffer(position, buffer_start_, buffer.WorkBufferSize(), bytes_read,
                                next_position_) == 0)
    return false;
  buffered_bytes_ = static_cast<std::size_t>(bytes_read);
  return true;
}

// ---- The packets of the tick -----------------------------------------------------

PacketCollector::Examined PacketCollector::ExaminePacket() {
  const unsigned char header = *parse_position_;
  const PacketShape* const shape = FindPacketShape(header);
  if (shape == nullptr) {
    SkipByte();
    return Examined::kHandled;
  }
  const bool begins_tick = header == HEADER_1 || header == HEADER_2;
  if (begins_tick && tick_started_) return Examined::kTickComplete;
  const std::size_t available = UnparsedBytes();
  const std::size_t packet_bytes = PacketBytes(*shape, parse_position_, available);
  if (packet_bytes > available) {
    LogIncomplete(available, packet_bytes);
    return Examined::kIncomplete;
  }
  TakeTick();
  Collect(packet_bytes);
  return Examined::kHandled;
}

// Over damaged or padded data the reader finds its way byte by byte.
void PacketCollector::SkipByte() {
  const bool is_null = *parse_position_ == HEADER_NULL;
  VMR_LOG(kLogEachItem, kOperation << (is_null ? ": Found HEADER_NULL" : ": Found OTHER"));
  Pass(1);
  ++skipped_bytes_;
}

// Of the packet that is met, all of which is there.
void PacketCollector::TakeTick() {
  const unsigned char header = *parse_position_;
  const bool untold = header == HEADER_2 && tick_ == kNoTick;
  tick_ = PacketTickIfKnown(parse_position_, tick_);
  const bool out_of_sequence = header == HEADER_CONT && packet_count_ == 0;
  if (untold || out_of_sequence || LogClient::Instance()->MayWant(kLogTrace))
    LogPacket(header, untold, out_of_sequence);
}

// Apart from what most packets need, which is not to be said.
void PacketCollector::LogPacket(unsigned char header, bool untold, bool out_of_sequence) const {
  if (untold)
    // Deliberate: only the tick is ignored; the packet is collected.
    VMR_LOG(kLogWarning,
            kOperation
                << ": Found HEADER_2 packet when last read system tick was undefined, ignoring...");
  else if (header == HEADER_DICTIONARY)
    VMR_LOG(kLogTrace, kOperation << ": Found HEADER_DICTIONARY");
  else
    VMR_LOG(kLogTrace, kOperation << ": Found " << kHeaderNames[header - HEADER_1]
                                  << " @ last read system tick " << tick_);
  if (out_of_sequence)
    VMR_LOG(kLogWarning,
            kOperation << ": Possible out of sequence read of a CONTINUATION packet in source @ "
                          "last read system tick "
                       << tick_);
}

void PacketCollector::Collect(std::size_t packet_bytes) {
  // Dictionaries travel with the tick behind them without being part of it.
  if (*parse_position_ != HEADER_DICTIONARY) tick_started_ = true;
  List(packet_bytes);
  Pass(packet_bytes);
}

}  // namespace vmr
