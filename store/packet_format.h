// How long a packet is, what its CRC covers and which tick it tells; stream_format.h
// draws them. Everything that builds packets or walks over them takes it from here; what
// a walker does with a packet that is cut or damaged is its own business.
#ifndef VMR_STORE_PACKET_FORMAT_H_
#define VMR_STORE_PACKET_FORMAT_H_

#include <cstddef>

#include "host/crc8.h"
#include "store/bytes.h"
#include "store/stream_format.h"

namespace vmr {

// A kind of packet: `head_bytes`, of which the last one counts what follows in units
// of `bytes_per_count`, and one byte behind it.
struct PacketShape {
  unsigned char header;
  std::size_t head_bytes;
  std::size_t bytes_per_count;
  bool has_items;  // then the last byte is a CRC, else 0x00
};
inline constexpr PacketShape kPacketShapes[] = {
    {HEADER_1, kHeader1Bytes, 1, true},
    {HEADER_2, kHeader2Bytes, 1, true},
    {HEADER_CONT, kHeaderContBytes, 1, true},
    {HEADER_DICTIONARY, 1 + 1, 2, false},
};

// Null for a byte that begins none of them, HEADER_NULL among these.
inline const PacketShape* FindPacketShape(unsigned char header) {
  static_assert(kPacketShapes[0].header == 0x80 && kPacketShapes[1].header == 0x81 &&
                kPacketShapes[2].header == 0x82 && kPacketShapes[3].header == 0x83);
  const unsigned int row = header - 0x80U;
  return row < sizeof(kPacketShapes) / sizeof(kPacketShapes[0]) ? &kPacketShapes[row] : nullptr;
}

// The length that a packet of this shape claims, of which `available` bytes (at least 1)
// may be looked at. One whose head is not all there counts nothing.
inline std::size_t PacketBytes(const PacketShape& shape, const unsigned char* packet,
                               std::size_t available) {
  const std::size_t count = available < shape.head_bytes ? 0 : packet[shape.head_bytes - 1];
  return shape.head_bytes + count * shape.bytes_per_count + kPacketCrcBytes;
}

// Of that, what lies between its head and its last byte: items, if it has any.
inline std::size_t PacketItemBytes(const PacketShape& shape, std::size_t packet_bytes) {
  return packet_bytes - shape.head_bytes - kPacketCrcBytes;
}

// The length of the packet at `packet`, of which `available` bytes are there. 0 when
// it is of no known kind or does not end within them.
inline std::size_t WholePacketBytes(const unsigned char* packet, std::size_t available) {
  const PacketShape* const shape = available > 0 ? FindPacketShape(packet[0]) : nullptr;
  if (shape == nullptr) return 0;
  const std::size_t bytes = PacketBytes(*shape, packet, available);
  return bytes <= available ? bytes : 0;
}

// How many bytes from the packet's first one on its CRC covers. Deliberate: of a
// continuation only as many as it counts item bytes, which leaves the last two out.
inline std::size_t PacketCrcSpan(const unsigned char* packet, std::size_t packet_bytes) {
  return packet[0] == HEADER_CONT ? packet[kHeaderContBytes - 1] : packet_bytes - kPacketCrcBytes;
}

// Of a whole packet: its CRC, or a dictionary's last byte, is what it must be.
inline bool PacketEndIsRight(const unsigned char* packet, std::size_t packet_bytes) {
  const unsigned char last = packet[packet_bytes - 1];
  if (packet[0] == HEADER_DICTIONARY) return last == 0;
  const auto span = static_cast<unsigned int>(PacketCrcSpan(packet, packet_bytes));
  return Crc8(packet, span, kCrcInitial) == last;
}

// What a short header tells of a tick.
inline constexpr unsigned int kLowTickBits = 0xFF;

// Behind a packet of the tick `before`, only a full header tells `tick`.
inline bool NeedsWholeTick(unsigned int tick, unsigned int before) {
  return (tick ^ before) > kLowTickBits;
}

// The tick of a packet, all of whose head is there, behind one of the tick `before`:
// the full one that it tells, or the low 8 bits of it. Without either it is `before`.
// Deliberate: the low bits do not carry into the upper ones.
inline unsigned int PacketTick(const unsigned char* packet, unsigned int before) {
  if (packet[0] == HEADER_1) return GetLe32(packet + 1);
  return packet[0] == HEADER_2 ? (before & ~kLowTickBits) | packet[1] : before;
}

// The same where no tick may be known yet: low bits alone do not tell one.
inline unsigned int PacketTickIfKnown(const unsigned char* packet, unsigned int before) {
  return before == kNoTick && packet[0] == HEADER_2 ? kNoTick : PacketTick(packet, before);
}

}  // namespace vmr

#endif  // VMR_STORE_PACKET_FORMAT_H_
