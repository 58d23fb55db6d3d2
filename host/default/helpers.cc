#include <cstring>

#include "host/gps_util.h"
#include "host/string_utilities.h"

namespace vmr {

GpsUtil* GpsUtil::Instance() {
  static GpsUtil util;
  return &util;
}

int GpsUtil::CalcGpsSeconds(int fraction) const {
  // 64 bits: a damaged recording can carry any fraction.
  return static_cast<int>(static_cast<long long>(fraction) * 60 / 10000);
}

unsigned int StringUtilities::SafeStrCpyCnt(char* dest, const char* source, unsigned int size) {
  if (size == 0) return 0;
  const std::size_t count = source == nullptr ? 0 : strnlen(source, size - 1);
  if (count > 0) memcpy(dest, source, count);
  dest[count] = '\0';
  return static_cast<unsigned int>(count);
}

}  // namespace vmr
