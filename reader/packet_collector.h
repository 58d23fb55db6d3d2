// Collecting the packets of one tick out of a store.
#ifndef VMR_READER_PACKET_COLLECTOR_H_
#define VMR_READER_PACKET_COLLECTOR_H_

#include <cstddef>

#include "store/data_store.h"
#include "store/stream_format.h"

namespace vmr {

// Reads a source on, from a position, into the work buffer of another store, and lists
// the packets of one tick, which lie there until the next are collected. Who looks for
// something in a whole cluster reads it into the same buffer and walks over it himself;
// collecting goes on from where he stopped.
//
// Owns     nothing: the buffer is the store's, and what was read is gone when that is
//          closed.
// Threads  none.
// Errors   damage is skipped byte by byte, counted and logged. No CRC is checked.
class PacketCollector {
 public:
  static constexpr int kMaxPackets = 17;

  struct Packet {
    unsigned char* bytes;
    std::size_t count;
  };

  // Forgets what was buffered and listed, and the tick.
  void StartAt(long position);
  // From now on reads into the work buffer of `buffer`.
  void UseBuffer(DataStore& buffer);
  // Lists the packets of the next tick. Returns how many, 0 at the end of the data, -1
  // when the source could not be read or the buffer is none for it.
  [[nodiscard]] int CollectTick(DataStore& source, DataStore& buffer);
  // Hands the listed packets to `out` as they are. False at the first that it refuses.
  [[nodiscard]] bool CopyTo(DataStore& out) const;

  // The listed packets.
  const Packet* begin() const { return packets_; }
  const Packet* end() const { return packets_ + packet_count_; }
  int PacketCount() const { return packet_count_; }
  // The tick of the packets listed last; kNoTick before the first that tells it.
  unsigned int Tick() const { return tick_; }
  // Where the source is read next.
  long NextPosition() const { return next_position_; }
  // Bytes that were no packet, since StartAt or the last ForgetSkippedBytes.
  unsigned long long SkippedBytes() const { return skipped_bytes_; }
  void ForgetSkippedBytes() { skipped_bytes_ = 0; }

  // ---- Walking over what is buffered -------------------------------------------

  bool HasBuffer() const { return buffer_start_ != nullptr; }
  bool HasBytes() const { return buffered_bytes_ > 0; }
  // Replaces what is buffered by what `source` has at `position`. False when it cannot
  // be read.
  [[nodiscard]] bool Fill(DataStore& source, DataStore& buffer, long position, int& bytes_read);
  void GoToStart() { parse_position_ = buffer_start_; }
  void ForgetBytes();

  // The first byte not passed yet, and how many there are.
  const unsigned char* Unparsed() const { return parse_position_; }
  std::size_t UnparsedBytes() const;
  void Pass(std::size_t bytes) { parse_position_ += bytes; }

  // Lists the packet that stands there, without passing it. There is room for it
  // unless the list is full.
  void List(std::size_t packet_bytes) {
    packets_[packet_count_++] = {parse_position_, packet_bytes};
  }
  bool ListIsFull() const { return packet_count_ == kMaxPackets; }
  void ForgetPackets() { packet_count_ = 0; }
  void SetTick(unsigned int tick) { tick_ = tick; }

 private:
  enum class Examined { kHandled, kIncomplete, kTickComplete };

  void MakeRoom();
  bool HasRoomForCluster(const DataStore& buffer);
  [[gnu::noinline]] bool ReadMore(DataStore& source, const DataStore& buffer);
  Examined ExaminePacket();
  [[gnu::noinline]] void SkipByte();
  void TakeTick();
  [[gnu::noinline, gnu::cold]] void LogPacket(unsigned char header, bool untold,
                                              bool out_of_sequence) const;
  void Collect(std::size_t packet_bytes);

  // The buffer.
  unsigned char* buffer_start_ = nullptr;
  unsigned int buffer_openings_ = 0;  // of the store that owns it
  std::size_t buffered_bytes_ = 0;    // valid ones
  unsigned char* parse_position_ = nullptr;
  long next_position_ = 0;

  // The packets of the tick.
  Packet packets_[kMaxPackets] = {};
  int packet_count_ = 0;
  bool tick_started_ = false;  // a header or continuation is among them
  unsigned int tick_ = kNoTick;
  unsigned long long skipped_bytes_ = 0;
};

}  // namespace vmr

#endif  // VMR_READER_PACKET_COLLECTOR_H_
