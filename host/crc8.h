// The unit's CRC-8 service.
#ifndef VMR_HOST_CRC8_H_
#define VMR_HOST_CRC8_H_

namespace vmr {

// CRC-8 with polynomial x^8 + x^2 + x + 1 (0x07), most significant bit first,
// no reflection, no final XOR. `initial` is the register before the first
// byte; passing an earlier result continues it. Initial 0 gives 0xF4 for the
// nine ASCII bytes "123456789" (the catalogue's CRC-8/SMBUS).
[[nodiscard]] unsigned char Crc8(const unsigned char* data, unsigned int length,
                                 unsigned char initial);

}  // namespace vmr

#endif  // VMR_HOST_CRC8_H_
