// Takes a fuzzer's input apart.
#ifndef VMR_FUZZ_INPUT_BYTES_H_
#define VMR_FUZZ_INPUT_BYTES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "store/bytes.h"

namespace vmr::fuzz {

// Numbers are least significant byte first; behind the input's end they are 0.
//
// Owns     nothing; the bytes must outlive it.
class InputBytes {
 public:
  struct Span {
    const std::uint8_t* data;
    std::size_t size;
  };

  InputBytes(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  bool AtEnd() const { return left_ == 0; }
  std::uint8_t Byte() {
    const Span one = Take(1);
    return one.size == 1 ? one.data[0] : std::uint8_t{0};
  }
  std::uint16_t Le16() {
    const Span two = Take(2);
    return two.size == 2 ? GetLe16(two.data) : std::uint16_t{0};
  }
  std::uint32_t Le32() {
    const Span four = Take(4);
    return four.size == 4 ? GetLe32(four.data) : std::uint32_t{0};
  }
  // As many as there are, `size` at most.
  Span Take(std::size_t size) {
    const Span taken{data_, std::min(size, left_)};
    data_ += taken.size;
    left_ -= taken.size;
    return taken;
  }
  Span Rest() { return Take(left_); }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace vmr::fuzz

#endif  // VMR_FUZZ_INPUT_BYTES_H_
