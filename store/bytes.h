// Byte order of everything on disk. The order is part of every call, because
// the stream mixes orders field by field; nothing is cast onto a buffer, so the
// same code runs on the big-endian unit and on a little-endian PC.
#ifndef VMR_STORE_BYTES_H_
#define VMR_STORE_BYTES_H_

#include <cstdint>

namespace vmr {

inline void PutLe16(unsigned char* to, std::uint16_t value) {
  to[0] = static_cast<unsigned char>(value);
  to[1] = static_cast<unsigned char>(value >> 8);
}

inline void PutLe32(unsigned char* to, std::uint32_t value) {
  PutLe16(to, static_cast<std::uint16_t>(value));
  PutLe16(to + 2, static_cast<std::uint16_t>(value >> 16));
}

inline void PutBe16(unsigned char* to, std::uint16_t value) {
  to[0] = static_cast<unsigned char>(value >> 8);
  to[1] = static_cast<unsigned char>(value);
}

inline void PutBe32(unsigned char* to, std::uint32_t value) {
  PutBe16(to, static_cast<std::uint16_t>(value >> 16));
  PutBe16(to + 2, static_cast<std::uint16_t>(value));
}

inline std::uint16_t GetLe16(const unsigned char* from) {
  return static_cast<std::uint16_t>(from[0] | from[1] << 8);
}

inline std::uint32_t GetLe32(const unsigned char* from) {
  return GetLe16(from) | static_cast<std::uint32_t>(GetLe16(from + 2)) << 16;
}

inline std::uint16_t GetBe16(const unsigned char* from) {
  return static_cast<std::uint16_t>(from[0] << 8 | from[1]);
}

inline std::uint32_t GetBe32(const unsigned char* from) {
  return static_cast<std::uint32_t>(from[0]) << 24 | static_cast<std::uint32_t>(from[1]) << 16 |
         static_cast<std::uint32_t>(from[2]) << 8 | from[3];
}

inline std::uint32_t SwapBytes32(std::uint32_t value) {
  return value >> 24 | (value >> 8 & 0xFF00) | (value << 8 & 0xFF0000) | value << 24;
}

}  // namespace vmr

#endif  // VMR_STORE_BYTES_H_
