// Identity family: officer, vehicle, department, serial number, time zone, MAC
// address, version texts and free texts.
#ifndef VMR_STORE_IDENTITY_H_
#define VMR_STORE_IDENTITY_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/records.h"
#include "store/stream_format.h"

namespace vmr {

// A component of the unit. On disk: these values may never change.
enum e_COMPONENT : std::uint32_t {
  COMPONENT_INVALID = 0,
  COMPONENT_MAINBOARD = 1,
  COMPONENT_SYSTEM_SOFTWARE = 2,
  COMPONENT_IOP = 3,
  COMPONENT_SYSTEM_FPGA = 4,
  COMPONENT_FRONT_PANEL = 5,
  COMPONENT_PENDRY = 6,
  COMPONENT_SPLIT_SCREEN_FPGA = 7,
  COMPONENT_POWER_BOARD_SOFTWARE = 8,
  COMPONENT_POWER_BOARD_HARDWARE = 9
};
inline constexpr unsigned int kComponentCount = 10;
// As the viewer prints it; `component` is below kComponentCount.
const char* ComponentName(e_COMPONENT component);
inline constexpr std::size_t kMacBytes = 6;

// The texts that have a string item.
enum class StringId {
  kLog,
  kOfficer,
  kVehicle,
  kDepartment,
  kTimeZone,
  kTest,
  kBadgeId,
  kSerialNumber,
  kTimeZoneName
};
struct StringRow {
  StringId id;
  e_Tag tag;
};
// The row of a tag, null for a tag of no string item.
[[nodiscard]] const StringRow* FindStringRow(e_Tag tag);

struct IdentityMirror {
  Officer officer;
  VehicleInfo vehicle;
  DepartmentInfo department;
  std::string serial_number;
  unsigned char mac[kMacBytes] = {};
  std::string versions[kComponentCount];
};

// String item. Untimed. Deliberate: n is the text's length modulo 256, and that
// many bytes follow, so that 300 characters are recorded as their first 44.
//
//    offset  0     1     2
//           +-----+-----+--  ...  --+
//           | tag |  n  | n chars   |
//           +-----+-----+--  ...  --+
inline constexpr std::size_t kStringHeadBytes = 1 + 1;

// MAC item. Untimed.
//
//    offset  0      1      2                              8
//           +------+------+-----------------------------+
//           | 0x02 | 0x00 | the six bytes in their order |
//           +------+------+-----------------------------+
inline constexpr std::size_t kMacHeadBytes = 1 + 1;
inline constexpr std::size_t kMacItemBytes = kMacHeadBytes + kMacBytes;

// Version item. Untimed, slack 4.
//
//    offset  0      1           2     3
//           +------+-----------+-----+--  ...  --+
//           | 0x09 | component |  n  | n chars   |
//           +------+-----------+-----+--  ...  --+
inline constexpr std::size_t kVersionHeadBytes = 1 + 1 + 1;

}  // namespace vmr

#endif  // VMR_STORE_IDENTITY_H_
