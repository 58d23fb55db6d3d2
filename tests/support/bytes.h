// Bytes as tests write them: B("80 04 03 02 01").
#ifndef VMR_TESTS_SUPPORT_BYTES_H_
#define VMR_TESTS_SUPPORT_BYTES_H_

#include <cstdlib>
#include <string>
#include <vector>

namespace vmr::test {

using Bytes = std::vector<unsigned char>;

// Two hexadecimal digits a byte, blanks between bytes.
inline Bytes B(const std::string& hex) {
  Bytes bytes;
  const char* at = hex.c_str();
  for (char* end = nullptr;; at = end) {
    const unsigned long byte = std::strtoul(at, &end, 16);
    if (end == at) return bytes;
    bytes.push_back(static_cast<unsigned char>(byte));
  }
}

inline Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_BYTES_H_
