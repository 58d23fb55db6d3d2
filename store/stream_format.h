// The metadata stream: packets, one after another, each holding items.
// Deliberate: multi-byte fields are not all in the same order; each says its own,
// and recordings depend on it. This
// header describes every packet once, for writer and reader; the items of a
// family are described in the family's header.
#ifndef VMR_STORE_STREAM_FORMAT_H_
#define VMR_STORE_STREAM_FORMAT_H_

#include <cstddef>
#include <cstdint>

namespace vmr {

// First byte of a packet. On disk: these values may never change.
//
// HEADER_1: items with the full tick. Total L + 7 bytes.
//
//    offset  0      1                    5     6            6 + L
//           +------+--------------------+-----+---  ...  ---+-----+
//           | 0x80 | tick, LE u32       |  L  | L item bytes | crc |
//           +------+--------------------+-----+---  ...  ---+-----+
//    crc    over bytes 0 .. 5 + L
//
// HEADER_2: items, the tick's upper 24 bits are the previous packet's. L + 4.
//
//    offset  0      1           2     3            3 + L
//           +------+-----------+-----+---  ...  ---+-----+
//           | 0x81 | tick, low | L   | L item bytes | crc |
//           +------+-----------+-----+---  ...  ---+-----+
//    crc    over bytes 0 .. 2 + L
//
// HEADER_CONT: more items of the packet before it, same tick. L + 3.
//
//    offset  0      1     2            2 + L
//           +------+-----+---  ...  ---+-----+
//           | 0x82 |  L  | L item bytes | crc |
//           +------+-----+---  ...  ---+-----+
//    crc    over bytes 0 .. L - 1 only.
//           Deliberate: the last two item bytes are not covered. Files and
//           readers in the field agree on this span.
//
// HEADER_DICTIONARY: which tags this version writes. 2N + 3, no CRC.
//
//    offset  0      1     2            2 + 2i   3 + 2i          2 + 2N
//           +------+-----+--  ...  --+--------+---------------+------+
//           | 0x83 |  N  |           | tag    | descriptor    | 0x00 |
//           +------+-----+--  ...  --+--------+---------------+------+
//    descriptor  bit 7: variable length; bits 0..5: size
//
// HEADER_NULL: the single byte 0x84, skipped.
//
// Every CRC is Crc8 with initial value 0xFF.
inline constexpr unsigned char HEADER_1 = 0x80;
inline constexpr unsigned char HEADER_2 = 0x81;
inline constexpr unsigned char HEADER_CONT = 0x82;
inline constexpr unsigned char HEADER_DICTIONARY = 0x83;
inline constexpr unsigned char HEADER_NULL = 0x84;

inline constexpr std::size_t kHeader1Bytes = 1 + 4 + 1;
inline constexpr std::size_t kHeader2Bytes = 1 + 1 + 1;
inline constexpr std::size_t kHeaderContBytes = 1 + 1;
inline constexpr std::size_t kPacketCrcBytes = 1;
inline constexpr std::size_t kMaxPacketItemBytes = 255;
inline constexpr std::size_t kMaxPacketBytes =
    kHeader1Bytes + kMaxPacketItemBytes + kPacketCrcBytes;
static_assert(kMaxPacketBytes == 262);

inline constexpr unsigned char kCrcInitial = 0xFF;

// Ticks that are none. kNoTick is also handed to WriteData with the file magic
// and the dictionary, kContinuationTick with a continuation packet.
inline constexpr unsigned int kNoTick = 0xFFFFFFFF;
inline constexpr unsigned int kContinuationTick = 0xFFFFFFFE;
// What a recording goes on from behind a packet that tells `tick`.
inline unsigned int TickOrZero(unsigned int tick) {
  return tick == kNoTick || tick == kContinuationTick ? 0 : tick;
}

// An extract goes on past its end: what follows by less than ten seconds is copied too.
inline unsigned int EndOfExtract(unsigned int last_tick) {
  constexpr unsigned int kTicksPastEnd = 20;
  constexpr unsigned int kEndOfAllTicks = 0xFFFFFFFF;
  return last_tick > kEndOfAllTicks - kTicksPastEnd ? kEndOfAllTicks : last_tick + kTicksPastEnd;
}

inline constexpr unsigned int kTicksADay = 24 * 60 * 60 * 2;

// Whether `tick` comes before `highest` as ticks are counted. A lower number that is at
// most a day ahead of it does not: 32 bits of ticks have run out.
inline bool TicksWentBack(unsigned int tick, unsigned int highest) {
  return tick < highest && tick - highest > kTicksADay;
}

// First bytes of a flat metadata file: "f]S1".
inline constexpr unsigned char kFlatFileMagic[4] = {0x66, 0x5D, 0x53, 0x31};

// First byte of every item. On disk: these values may never change.
enum e_Tag : unsigned char {
  TAG_MAC = 0x02,
  TAG_TIME = 0x03,
  TAG_TIME_ZONE_NAME = 0x04,  // Deliberate: written with the configuration, accepted by no reader
  TAG_OFFICER = 0x05,
  TAG_DEPARTMENT = 0x06,
  TAG_VEHICLE = 0x07,
  TAG_BADGE_ID = 0x08,
  TAG_VERSION = 0x09,
  TAG_SERIAL_NUM = 0x10,
  TAG_TIME_ZONE = 0x11,
  TAG_POLICY_8 = 0x18,
  TAG_POLICY_16 = 0x19,  // reserved, written by no store
  TAG_POLICY_END = 0x1A,
  TAG_LOG = 0x20,
  TAG_TICK_ADJUST = 0x21,
  TAG_EMERGENCY_LIGHTS_ON = 0x34,
  TAG_EMERGENCY_LIGHTS_OFF = 0x35,
  TAG_SIREN_ON = 0x36,
  TAG_SIREN_OFF = 0x37,
  TAG_BRAKE_ON = 0x38,
  TAG_BRAKE_OFF = 0x39,
  TAG_COVERT_ON = 0x3A,
  TAG_COVERT_OFF = 0x3B,
  TAG_AUX_INPUT_ON = 0x3C,
  TAG_AUX_INPUT_OFF = 0x3D,
  TAG_DOOR_ON = 0x3E,
  TAG_DOOR_OFF = 0x3F,
  TAG_SYSTEM_POWER_ON = 0x40,
  TAG_SYSTEM_POWER_OFF = 0x41,
  TAG_ACCIDENT_DETECT_ON = 0x42,
  TAG_ACCIDENT_DETECT_OFF = 0x43,
  TAG_IGNITION_ON = 0x44,
  TAG_IGNITION_OFF = 0x45,
  TAG_RECORDING_ON = 0x46,
  TAG_RECORDING_OFF = 0x47,
  TAG_DOCKED_ON = 0x4A,
  TAG_DOCKED_OFF = 0x4B,
  TAG_CAMERA_DESC = 0x50,
  TAG_CAMERA_STATE = 0x51,
  TAG_VIDEO_STREAM_FORMAT = 0x54,
  TAG_VIDEO_STREAM_STATE = 0x55,
  TAG_BOOKMARK = 0x56,
  TAG_MIC_DESC = 0x58,
  TAG_MIC_DATA = 0x59,
  TAG_RADAR_DESC = 0x60,
  TAG_RADAR_DATA = 0x61,    // of radar 1; + id - 1 up to 0x67
  TAG_RADAR_TARGET = 0x68,  // of radar 1; + id - 1 up to 0x6E
  TAG_RADAR_STATE = 0x6F,
  TAG_SPEED_DESC = 0x70,
  TAG_SPEED_8 = 0x71,   // of device 1; + id - 1 up to 0x77
  TAG_SPEED_16 = 0x78,  // of device 1; + id - 1 up to 0x7E
  TAG_GPS_DESC = 0x90,
  TAG_GPS_ABS = 0x91,
  TAG_GPS_REL8 = 0x92,
  TAG_GPS_REL16 = 0x93,
  TAG_GPS_STATE = 0x94,
  TAG_LVS_STATE = 0xB0,
  TAG_BUTTON = 0xC0,
  TAG_VOLT_PERCENT = 0xD1,
  TAG_TEMP_DESC = 0xE0,
  TAG_TEMP = 0xE1,  // of sensor 0; + sensor up to 0xE4
  TAG_EOS = 0xF0,
  TAG_TEST = 0xF1,
};

// The records BIN_..._T in the families' headers are items as they lie in a
// packet: the tag first, bytes alone, so that no field needs an alignment and
// nothing is padded, whatever the machine. Numbers of several bytes are taken
// out with store/bytes.h. A text's count is one byte, and behind a record's head
// there is room for the longest; only so many bytes as it counts are looked at.
inline constexpr std::size_t kMaxItemTextBytes = 255;

// The tag dictionary as a store keeps it: the packet above, room for the
// largest. On disk only the first 2N + 3 bytes appear.
struct DICTIONARY_T {
  static constexpr std::size_t kMaxEntries = 255;

  unsigned char header = HEADER_DICTIONARY;
  unsigned char count = 0;
  unsigned char entries[2 * kMaxEntries] = {};
};
static_assert(sizeof(DICTIONARY_T) == 512);

}  // namespace vmr

#endif  // VMR_STORE_STREAM_FORMAT_H_
