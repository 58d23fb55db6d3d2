// Text of the view on its way to standard output: printf for the few forms that a
// listing has. Finding out what a format asks for takes printf longer than decoding and
// printing an item takes here.
#ifndef VMR_STORE_VIEW_TEXT_H_
#define VMR_STORE_VIEW_TEXT_H_

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace vmr {

// Gathers what its thread prints while it lives, and hands it to stdio when it is full
// and when it ends. One within another leaves that to the outer one.
//
// Owns     its room, on the stack.
// Threads  gathers for the thread that made it, and ends there.
// Errors   those of stdio, which shows them as ferror(stdout).
class ViewBatch {
 public:
  ViewBatch();
  ~ViewBatch();
  ViewBatch(const ViewBatch&) = delete;
  ViewBatch& operator=(const ViewBatch&) = delete;

 private:
  static constexpr std::size_t kBytes = std::size_t{8} * 1024;

  const bool is_outer_;
  std::array<char, kBytes> text_;  // of no value until something is put there
};

// ---- What a text is made of, beside texts, characters and plain numbers ---------

// At least two digits: %02d. A sign counts as one.
struct Dec2 {
  int value;
};
// At least five places, blanks in front: %5u.
struct Wide5 {
  unsigned int value;
};
// At least two digits: %02X and %02x.
struct Hex2 {
  unsigned int value;
};
struct LowerHex2 {
  unsigned int value;
};

namespace view_text {

// Where the next byte goes. All null without a batch.
struct Cursor {
  char* at;
  char* end;
  char* begin;
};
inline thread_local Cursor cursor{};

// Two digits at a time.
struct DigitPairs {
  char text[2 * 100];
};
constexpr DigitPairs MakeDigitPairs() {
  DigitPairs pairs{};
  for (int n = 0; n < 100; ++n) {
    pairs.text[2 * n] = static_cast<char>('0' + n / 10);
    pairs.text[2 * n + 1] = static_cast<char>('0' + n % 10);
  }
  return pairs;
}
inline constexpr DigitPairs kDigitPairs = MakeDigitPairs();

// No number takes more bytes.
inline constexpr std::size_t kNumberBytes = 12;

// A literal: how long it is is known before it is printed.
template <std::size_t kSize>
struct Literal {
  const char* text;
};

// Each puts one piece down where there is room for it, and returns where it ends.
inline char* Put(char* at, char piece) {
  *at = piece;
  return at + 1;
}
inline char* Put(char* at, std::string_view piece) { return at + piece.copy(at, piece.size()); }
template <std::size_t kSize>
char* Put(char* at, Literal<kSize> piece) {
  memcpy(at, piece.text, kSize);
  return at + kSize;
}
inline char* PutPair(char* at, unsigned int below_100) {
  constexpr std::size_t kPairBytes = 2;
  memcpy(at, &kDigitPairs.text[kPairBytes * below_100], kPairBytes);
  return at + kPairBytes;
}
char* PutLarge(char* at, unsigned int value);
inline char* Put(char* at, unsigned int value) {
  if (value < 10) return Put(at, static_cast<char>('0' + value));
  return value < 100 ? PutPair(at, value) : PutLarge(at, value);
}
inline char* Put(char* at, int value) {
  if (value >= 0) return Put(at, static_cast<unsigned int>(value));
  return Put(Put(at, '-'), 0U - static_cast<unsigned int>(value));
}
inline char* Put(char* at, Dec2 piece) {
  const auto value = static_cast<unsigned int>(piece.value);
  return value < 100 ? PutPair(at, value) : Put(at, piece.value);
}
char* Put(char* at, Wide5 piece);
char* PutLargeHex(char* at, unsigned int value, const char* digits);
inline char* PutHex(char* at, unsigned int value, const char* digits) {
  if (value > 0xFF) return PutLargeHex(at, value, digits);
  return Put(Put(at, digits[value >> 4]), digits[value & 0xF]);
}
inline char* Put(char* at, Hex2 piece) { return PutHex(at, piece.value, "0123456789ABCDEF"); }
inline char* Put(char* at, LowerHex2 piece) { return PutHex(at, piece.value, "0123456789abcdef"); }

inline std::size_t Bound(std::string_view piece) { return piece.size(); }
template <std::size_t kSize>
constexpr std::size_t Bound(Literal<kSize> /*piece*/) {
  return kSize;
}
template <typename Number>
constexpr std::size_t Bound(Number /*piece*/) {
  return kNumberBytes;
}

// Finds out once how long a text is.
template <typename Piece>
auto Measured(const Piece& piece) {
  if constexpr (std::is_array_v<Piece>)
    return Literal<std::extent_v<Piece> - 1>{piece};
  else if constexpr (std::is_convertible_v<Piece, const char*>)
    return std::string_view(piece);
  else
    return piece;
}

// Null when there are never that many bytes.
char* MakeRoom(std::size_t bytes);
void Write(std::string_view text);

template <typename Piece>
void PrintAlone(const Piece& piece) {
  char text[kNumberBytes];
  Write({text, static_cast<std::size_t>(Put(text, piece) - text)});
}
template <std::size_t kSize>
void PrintAlone(Literal<kSize> piece) {
  Write({piece.text, kSize});  // NOLINT(bugprone-string-constructor): "" is a literal, too
}
inline void PrintAlone(std::string_view piece) { Write(piece); }

template <typename... Pieces>
inline void Print(const Pieces&... pieces) {
  const std::size_t bytes = (Bound(pieces) + ...);
  char* at = cursor.at;
  if (static_cast<std::size_t>(cursor.end - at) < bytes || at == nullptr) at = MakeRoom(bytes);
  if (at == nullptr) return (PrintAlone(pieces), ...);
  ((at = Put(at, pieces)), ...);
  cursor.at = at;
}

}  // namespace view_text

// Prints the pieces one behind the other: literals, texts (as far as their NUL, or a
// whole string_view), single characters, numbers, and the forms above. Not inlined: it is
// in the way of decoders that mostly do not print.
template <typename... Pieces>
[[gnu::noinline]] void PrintText(const Pieces&... pieces) {
  view_text::Print(view_text::Measured(pieces)...);
}

}  // namespace vmr

#endif  // VMR_STORE_VIEW_TEXT_H_
