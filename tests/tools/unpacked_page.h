// The data of a page that `vmr report` has made, unpacked without the code under test.
#ifndef VMR_TESTS_TOOLS_UNPACKED_PAGE_H_
#define VMR_TESTS_TOOLS_UNPACKED_PAGE_H_

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

namespace vmr::test {

inline std::string Decoded64(const std::string& text) {
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (const char c : text) {
    const std::size_t digit = digits.find(c);
    if (digit == std::string::npos) {
      EXPECT_EQ(c, '=') << "is no digit of base64";
      continue;
    }
    bits = bits << 6 | static_cast<std::uint32_t>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

inline std::string Inflated(const std::string& packed) {
  z_stream stream{};
  EXPECT_EQ(inflateInit(&stream), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  std::string bytes;
  int result = Z_OK;
  while (result == Z_OK) {
    Bytef piece[65536];
    stream.next_out = piece;
    stream.avail_out = sizeof piece;
    result = inflate(&stream, Z_NO_FLUSH);
    bytes.append(reinterpret_cast<char*>(piece), sizeof piece - stream.avail_out);
  }
  EXPECT_EQ(result, Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0U) << "something stands behind the data";
  inflateEnd(&stream);
  return bytes;
}

inline nlohmann::json ColumnOf(const nlohmann::json& said, const std::string& columns) {
  nlohmann::json numbers = nlohmann::json::array();
  std::size_t at = said["at"];
  const std::size_t end = at + said["bytes"].get<std::size_t>();
  EXPECT_LE(end, columns.size());
  std::int64_t number = 0;
  while (at < end) {
    std::uint64_t value = 0;
    int shift = 0;
    unsigned char byte = 0x80;
    for (; (byte & 0x80) != 0 && at < end; shift += 7) {
      byte = static_cast<unsigned char>(columns[at++]);
      value |= static_cast<std::uint64_t>(byte & 0x7F) << shift;
    }
    number += static_cast<std::int64_t>(value >> 1) ^ -static_cast<std::int64_t>(value & 1);
    numbers.push_back(number);
  }
  EXPECT_EQ(numbers.size(), said["count"]);
  return numbers;
}

// Columns in the place of what says where they stand.
inline void PutColumns(const std::string& columns, nlohmann::json& value) {
  if (value.is_object() && value.contains("at") && value.contains("count"))
    value = ColumnOf(value, columns);
  else if (value.is_structured())
    for (nlohmann::json& inner : value) PutColumns(columns, inner);
}

// Of a page's text; null when there is none.
inline nlohmann::json DataOf(const std::string& page) {
  const std::string begin = "id=\"vmr-data\">";
  const std::size_t from = page.find(begin);
  if (from == std::string::npos) return {};
  const std::size_t to = page.find('<', from);
  const std::string bytes =
      Inflated(Decoded64(page.substr(from + begin.size(), to - from - begin.size())));
  std::size_t size = 0;
  for (const std::size_t i : {3U, 2U, 1U, 0U})
    size = size << 8 | static_cast<unsigned char>(bytes.at(i));
  nlohmann::json header = nlohmann::json::parse(bytes.substr(4, size));
  PutColumns(bytes.substr(4 + size), header);
  return header;
}

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_UNPACKED_PAGE_H_
