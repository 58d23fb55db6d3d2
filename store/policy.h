// Configuration policy family: the unit's configuration as small numbered items.
#ifndef VMR_STORE_POLICY_H_
#define VMR_STORE_POLICY_H_

#include <cstddef>

#include "host/records.h"

namespace vmr {

// A policy identifier, 1..254. On disk: these values may never change.
using e_CONFIG_LIST = unsigned char;

// The host records that hold policies, and whether they were ever reported.
struct PolicyMirror {
  SystemInfo system;
  Permissions permissions;
  VideoRecordingSettings recording;
  bool configuration_valid = false;
};

enum class PolicyType : unsigned char { kBool = 0, kUInt8 = 1, kUInt16 = 2 };

// One policy: its identifier, its type, the name that the viewer prints and the
// field that holds it. The writers and the decoder share the row, so they cannot
// disagree on the field. At most one field is set; with none the decoder rejects
// the identifier.
struct PolicyRow {
  e_CONFIG_LIST id;
  PolicyType type;
  const char* name;
  BoolItem SystemInfo::*system_bool = nullptr;
  UIntItem SystemInfo::*system_uint = nullptr;
  BoolItem Permissions::*permission_bool = nullptr;
  BoolItem VideoRecordingSettings::*recording_bool = nullptr;
  UIntItem VideoRecordingSettings::*recording_uint = nullptr;

  constexpr bool HasField() const {
    return system_bool != nullptr || system_uint != nullptr || permission_bool != nullptr ||
           recording_bool != nullptr || recording_uint != nullptr;
  }
  // The field in `policy`, null when the row's field is not of that kind.
  BoolItem* Bool(PolicyMirror& policy) const;
  UIntItem* Number(PolicyMirror& policy) const;
};
// Every row in the order of the list; behind its end row (identifier 255) stand
// the policies that have a field and no name.
struct PolicyList {
  const PolicyRow* rows;
  std::size_t count;

  const PolicyRow* begin() const { return rows; }
  const PolicyRow* end() const { return rows + count; }
};
PolicyList Policies();
// The row of an identifier, null when it holds nothing.
const PolicyRow* FindPolicy(e_CONFIG_LIST id);
// The display name of an identifier, "(unknown)" for one outside the list.
const char* PolicyName(e_CONFIG_LIST id);

// Policy8 item: one policy's value. Untimed, slack 2.
//
//    offset  0      1            2
//           +------+------------+---------------------------------+
//           | 0x18 | identifier | 0 or 1, or the number's low byte |
//           +------+------------+---------------------------------+
inline constexpr std::size_t kPolicy8Bytes = 1 + 1 + 1;
struct BIN_POLICY_8_T {
  unsigned char id;
  unsigned char value;
};

// Tag 0x19 is reserved for a 16-bit policy item. Nothing writes it; a reader
// skips four bytes.
inline constexpr std::size_t kPolicy16Bytes = 4;

// The end item, tag 0x1A, one byte: closes every configuration section, and by
// that marks every full dump.
inline constexpr std::size_t kPolicyEndBytes = 1;

}  // namespace vmr

#endif  // VMR_STORE_POLICY_H_
