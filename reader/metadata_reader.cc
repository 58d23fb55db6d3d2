// Collecting the packets of one tick; parsing them is in packet_parser.cc.
#include "reader/metadata_reader.h"

#include <cstring>

#include "backends/cluster_format.h"
#include "host/log.h"
#include "store/packet_format.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "MetadataReader.cc";
constexpr char kOperation[] = "ReadNextSystemTick";
constexpr const char* kHeaderNames[] = {"HEADER_1", "HEADER_2", "HEADER_CONT"};
}  // namespace

void MetadataReader::StartAt(long position) {
  buffer_start_ = nullptr;
  num_read_packets_ = 0;
  read_sys_tick_ = kNoTick;
  next_read_location_ = position;
  decoded_ = DecodeResult{};
  skipped_bytes_ = 0;
}

// What was buffered in another work buffer is gone with it.
void MetadataReader::UseBuffer(DataStore& buffer) {
  if (buffer_start_ == buffer.WorkBuffer() && buffer_openings_ == buffer.Openings()) return;
  buffer_start_ = buffer.WorkBuffer();
  buffer_openings_ = buffer.Openings();
  parse_position_ = buffer_start_;
  buffered_bytes_ = 0;
}

int MetadataReader::ReadNextSystemTick(DataStore& source, DataStore& buffer) {
  num_read_packets_ = 0;
  tick_started_ = false;
  UseBuffer(buffer);
  // The ring's own buffer is too small, and no source reads into itself.
  const bool usable = buffer_start_ != nullptr && &source != &buffer &&
                      buffer.WorkBufferSize() >= kSimpleStoreBufferBytes;
  if (!usable) return -1;

  bool need_more = false;
  while (num_read_packets_ < kMaxPackets) {
    if (need_more || Unparsed() == 0) {
      if (num_read_packets_ > 0 && !HasRoomForCluster(buffer)) break;
      int bytes_read = 0;
      if (!ReadMore(source, buffer, bytes_read)) return -1;
      if (bytes_read == 0) break;
    }
    const Examined examined = ExaminePacket(Unparsed());
    if (examined == Examined::kTickComplete) break;
    need_more = examined == Examined::kIncomplete;
  }
  return num_read_packets_;
}

std::size_t MetadataReader::Unparsed() const {
  return buffered_bytes_ - static_cast<std::size_t>(parse_position_ - buffer_start_);
}

// Makes what must be kept start at the buffer's beginning.
void MetadataReader::MakeRoom() {
  unsigned char* const keep = num_read_packets_ == 0 ? parse_position_ : packets_[0];
  const std::ptrdiff_t shift = keep - buffer_start_;
  if (shift == 0) return;
  buffered_bytes_ -= static_cast<std::size_t>(shift);
  memmove(buffer_start_, keep, buffered_bytes_);
  parse_position_ -= shift;
  for (int i = 0; i < num_read_packets_; ++i) packets_[i] -= shift;
}

// A source is only asked when a whole cluster fits. With less room a flat source
// refuses, and a ring hands out part of a cluster, whose rest it would then
// repeat. The packets collected so far are returned instead.
bool MetadataReader::HasRoomForCluster(DataStore& buffer) {
  MakeRoom();
  return static_cast<std::size_t>(buffer.WorkBufferSize()) - buffered_bytes_ >=
         static_cast<std::size_t>(kClusterBytes);
}

bool MetadataReader::ReadMore(DataStore& source, DataStore& buffer, int& bytes_read) {
  MakeRoom();
  const int room = buffer.WorkBufferSize() - static_cast<int>(buffered_bytes_);
  if (source.ReadDataIntoBuffer(next_read_location_, buffer_start_ + buffered_bytes_, room,
                                bytes_read, next_read_location_) == 0)
    return false;
  buffered_bytes_ += static_cast<std::size_t>(bytes_read);
  return true;
}

MetadataReader::Examined MetadataReader::ExaminePacket(std::size_t available) {
  const unsigned char header = *parse_position_;
  const PacketShape* const shape = FindPacketShape(header);
  if (shape == nullptr) {
    SkipByte();
    return Examined::kHandled;
  }
  const bool begins_tick = header == HEADER_1 || header == HEADER_2;
  if (begins_tick && tick_started_) return Examined::kTickComplete;
  const std::size_t packet_bytes = PacketBytes(*shape, parse_position_, available);
  if (packet_bytes > available) {
    VMR_LOG(kLogTrace,
            kOperation << ": bytesleft " << available << " looking for " << packet_bytes);
    return Examined::kIncomplete;
  }
  TakeTick();
  Collect(packet_bytes);
  return Examined::kHandled;
}

// Over damaged or padded data the reader finds its way byte by byte.
void MetadataReader::SkipByte() {
  const bool is_null = *parse_position_ == HEADER_NULL;
  VMR_LOG(kLogEachItem, kOperation << (is_null ? ": Found HEADER_NULL" : ": Found OTHER"));
  ++parse_position_;
  ++skipped_bytes_;
}

// Of the packet that is met, all of which is there.
void MetadataReader::TakeTick() {
  const unsigned char header = *parse_position_;
  const bool untold = header == HEADER_2 && read_sys_tick_ == kNoTick;
  read_sys_tick_ = PacketTickIfKnown(parse_position_, read_sys_tick_);
  if (untold)
    // Deliberate: only the tick is ignored; the packet is collected.
    VMR_LOG(kLogWarning,
            kOperation
                << ": Found HEADER_2 packet when last read system tick was undefined, ignoring...");
  else if (header == HEADER_DICTIONARY)
    VMR_LOG(kLogTrace, kOperation << ": Found HEADER_DICTIONARY");
  else
    VMR_LOG(kLogTrace, kOperation << ": Found " << kHeaderNames[header - HEADER_1]
                                  << " @ last read system tick " << read_sys_tick_);
  if (header == HEADER_CONT && num_read_packets_ == 0)
    VMR_LOG(kLogWarning,
            kOperation << ": Possible out of sequence read of a CONTINUATION packet in source @ "
                          "last read system tick "
                       << read_sys_tick_);
}

void MetadataReader::Collect(std::size_t packet_bytes) {
  packets_[num_read_packets_] = parse_position_;
  packet_bytes_[num_read_packets_] = packet_bytes;
  // Dictionaries travel with the tick behind them without being part of it.
  if (*parse_position_ != HEADER_DICTIONARY) tick_started_ = true;
  ++num_read_packets_;
  parse_position_ += packet_bytes;
}

int MetadataReader::ParseReadSystemTick(DataStore& out) {
  for (int i = 0; i < num_read_packets_; ++i)
    if (ParsePacket(out, packets_[i], static_cast<int>(packet_bytes_[i])) == 0) return 0;
  return 1;
}

int MetadataReader::WriteReadSystemTick(DataStore& out) {
  for (int i = 0; i < num_read_packets_; ++i) {
    // Deliberate: the packets are passed on without their tick.
    if (out.WriteData(packets_[i], static_cast<int>(packet_bytes_[i]), kNoTick) != 0) continue;
    VMR_LOG(kLogError, "Failed to WriteReadSystemTick");
    return 0;
  }
  return 1;
}

}  // namespace vmr
