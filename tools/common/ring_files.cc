#include "tools/common/ring_files.h"

#include <fmt/format.h>

namespace vmr::tool {

std::string RingFileName(const std::string& base, int number) {
  return fmt::format("{}_{}.mtd", base, number);
}

}  // namespace vmr::tool
