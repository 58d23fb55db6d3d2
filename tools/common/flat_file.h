// Tells flat files from others by how they begin.
#ifndef VMR_TOOLS_COMMON_FLAT_FILE_H_
#define VMR_TOOLS_COMMON_FLAT_FILE_H_

#include <string>
#include <vector>

namespace vmr::tool {

enum class FlatLook : unsigned char {
  kFlat,
  kDamaged,     // a dictionary stands behind other bytes than a flat file begins with
  kOther,       // something else
  kUnreadable,  // errno says why
};
// Reads no more than the beginning, and never waits for a pipe.
FlatLook LookWhetherFlat(const std::string& path);

// The dictionary that this version writes, as a packet.
std::vector<unsigned char> OwnDictionary();

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_FLAT_FILE_H_
