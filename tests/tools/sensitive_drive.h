// A drive that nobody else is to know of, and how what it tells could stand in a file.
#ifndef VMR_TESTS_TOOLS_SENSITIVE_DRIVE_H_
#define VMR_TESTS_TOOLS_SENSITIVE_DRIVE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tests/tools/ring_images.h"

namespace vmr::test {

inline const char* const kDriveTime = "03 00 94 35 77";  // 2033-05-18T03:33:20Z
inline const char* const kDriver = "Wilhelmina Quist";

inline Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string TextItem(unsigned char tag, const std::string& text) {
  return std::string{static_cast<char>(tag), static_cast<char>(text.size())} + text;
}

// In the south-east. Cluster n begins at tick 100 n + 10; the position is told whole in every
// other one.
inline Bytes SensitiveDrive(int cluster) {
  const auto tick = static_cast<std::uint32_t>(100 * cluster + 10);
  const Bytes who =
      BytesOf(TextItem(0x05, kDriver) + TextItem(0x07, kDriver) + TextItem(0x20, kDriver));
  const auto minutes = static_cast<unsigned char>(7 - cluster / 2);
  const Bytes start =
      cluster % 2 != 0 ? B("71 20") : B("91 02 14") + Bytes{minutes} + B("39 05 64 03 41 08");
  return ClusterOf(
      tick, FullPacket(tick, B(cluster == 0 ? kDriveTime : "56") + who + start) +
                FullPacket(tick + 20, B("02 00 00 1B 21 AB CD EF 11 0A") + BytesOf("Asia/Tokyo")) +
                FullPacket(tick + 40, B("93 39 30 C7 CF")) +  // 12345 north, -12345 west
                FullPacket(tick + 41, B("92 7B 85 71 22")) + FullPacket(tick + 50, B("36")));
}

// The same; cluster 3 is lost, and in cluster 5 a name stands in a packet with a wrong CRC.
inline Bytes DamagedSensitiveDrive(int cluster) {
  if (cluster == 3) return Bytes(kImageBytes, 0xEE);
  if (cluster != 5) return SensitiveDrive(cluster);
  Bytes flipped = FullPacket(515, BytesOf(TextItem(0x05, kDriver)));
  flipped.back() ^= 1;
  return ClusterOf(510, FullPacket(510, B("36")) + flipped + FullPacket(550, B("37")));
}

// Who drove it, and the unit's address.
inline std::vector<std::string> WritingsOfIdentity() {
  return {"Wilhelmina", "Quist",    "ilhelm", "1b:21:ab",     "1B21AB",
          "1B 21 AB",   "1B:21:AB", "1b21ab", "\x1B\x21\xAB", "\xAB\x21\x1B"};
}

// A number as it may lie in a file, least or most significant byte first.
inline std::vector<std::string> Packed(std::int32_t number) {
  std::string le;
  for (int shift = 0; shift < 32; shift += 8)
    le += static_cast<char>(static_cast<std::uint32_t>(number) >> shift);
  return {le, std::string(le.rbegin(), le.rend())};
}

// Of cluster 2: 20 degrees 6.1337 minutes south, 100 degrees 3.2113 minutes east, and behind the
// first way; that way, and the time zone.
inline std::vector<std::string> WritingsOfPlaces() {
  const std::int32_t latitude_tts = -12061337, longitude_tts = 60032113, way_tts = 12345;
  std::vector<std::string> writings = {"20.10",       "100.05",   "6.1337",      "3.2113",
                                       "12061337",    "60032113", "14 06 39 05", "64 03  41 08",
                                       "39 30 C7 CF", "Tokyo"};
  for (const std::int32_t number :
       {latitude_tts, -latitude_tts, longitude_tts, -longitude_tts, latitude_tts + way_tts,
        -latitude_tts - way_tts, longitude_tts + way_tts, -longitude_tts - way_tts})
    for (const std::string& packed : Packed(number)) writings.push_back(packed);
  for (const char* bytes : {"\x14\x06\x39\x05", "\x64\x03\x41\x08", "\x39\x30\xC7\xCF"})
    writings.emplace_back(bytes);
  return writings;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_SENSITIVE_DRIVE_H_
