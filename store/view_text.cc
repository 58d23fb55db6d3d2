#include "store/view_text.h"

#include <cstdio>
#include <limits>

namespace vmr {
namespace {

using view_text::cursor;

// Where it fails stdio remembers that.
void HandToStdio(const char* text, std::size_t bytes) {
  if (bytes > 0) static_cast<void>(std::fwrite(text, 1, bytes, stdout));
}

void Empty() {
  HandToStdio(cursor.begin, static_cast<std::size_t>(cursor.at - cursor.begin));
  cursor.at = cursor.begin;
}

int DigitsOf(unsigned int value) {
  int digits = 1;
  for (; value >= 1000; value /= 1000) digits += 3;
  return digits + (value >= 10 ? 1 : 0) + (value >= 100 ? 1 : 0);
}

}  // namespace

ViewBatch::ViewBatch() : is_outer_(cursor.begin == nullptr) {
  if (is_outer_) cursor = {text_.data(), text_.data() + kBytes, text_.data()};
}

ViewBatch::~ViewBatch() {
  if (!is_outer_) return;
  Empty();
  cursor = {};
}

namespace view_text {

char* PutLarge(char* at, unsigned int value) {
  static_assert(std::numeric_limits<unsigned int>::digits10 + 2 <= kNumberBytes);
  const int digits = DigitsOf(value);
  char* const end = at + digits;
  for (char* pair = end; value > 0; value /= 100)
    if (value >= 10)
      PutPair(pair -= 2, value % 100);
    else
      Put(pair - 1, static_cast<char>('0' + value));
  return end;
}

char* Put(char* at, Wide5 piece) {
  for (int digits = DigitsOf(piece.value); digits < 5; ++digits) at = Put(at, ' ');
  return Put(at, piece.value);
}

char* PutLargeHex(char* at, unsigned int value, const char* digits) {
  constexpr int kDigitBits = 4;
  constexpr int kHighestShift = std::numeric_limits<unsigned int>::digits - kDigitBits;
  int shift = kDigitBits;
  while (shift < kHighestShift && value >> (shift + kDigitBits) != 0) shift += kDigitBits;
  for (; shift >= 0; shift -= kDigitBits) at = Put(at, digits[value >> shift & 0xF]);
  return at;
}

char* MakeRoom(std::size_t bytes) {
  Empty();
  return static_cast<std::size_t>(cursor.end - cursor.at) >= bytes ? cursor.at : nullptr;
}

void Write(std::string_view text) { HandToStdio(text.data(), text.size()); }

}  // namespace view_text
}  // namespace vmr
