// Compares fuzz/tags.dict, which helps a fuzzer to write packets, with the catalogue
// of tags; with --write it makes the file.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "store/bytes.h"
#include "store/tag_catalogue.h"

namespace {

using vmr::TagRow;

constexpr std::uint32_t kSpecialTicks[] = {0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD, 0xFFFFFFFC};
constexpr unsigned char kHeaders[] = {vmr::HEADER_1, vmr::HEADER_2, vmr::HEADER_CONT,
                                      vmr::HEADER_DICTIONARY, vmr::HEADER_NULL};

// One entry: a name and the bytes.
std::string Entry(const std::string& name, const std::string& bytes) {
  std::string line = name + "=\"";
  for (const char byte : bytes) {
    char text[8];
    std::snprintf(text, sizeof(text), "\\x%02X", static_cast<unsigned char>(byte));
    line += text;
  }
  return line + "\"\n";
}

std::string Named(const char* what, unsigned int number) {
  char name[32];
  std::snprintf(name, sizeof(name), "%s_%02X", what, number);
  return name;
}

// The item with nothing in it, and in a packet of its own.
std::string EntriesOf(const TagRow& row) {
  std::string item(row.size, '\0');
  item[0] = static_cast<char>(row.tag);
  std::string packet = {static_cast<char>(vmr::HEADER_2), 1, static_cast<char>(item.size())};
  packet += item + '\0';
  return Entry(Named("item", row.tag), item) + Entry(Named("packet", row.tag), packet);
}

std::string Dictionary() {
  std::string text =
      "# Made by fuzz_tags_dictionary --write from the catalogue of tags; a test compares.\n";
  for (const TagRow& row : vmr::Tags()) text += EntriesOf(row);
  for (const unsigned char header : kHeaders)
    text += Entry(Named("header", header), {static_cast<char>(header)});
  for (const std::uint32_t tick : kSpecialTicks) {
    unsigned char bytes[4];
    vmr::PutLe32(bytes, tick);
    text += Entry(Named("tick", tick), std::string(std::begin(bytes), std::end(bytes)));
  }
  return text + Entry("magic",
                      std::string(std::begin(vmr::kFlatFileMagic), std::end(vmr::kFlatFileMagic)));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--write") == 0) {
    std::ofstream(argv[2]) << Dictionary();
    return 0;
  }
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_tags_dictionary [--write] FILE\n");
    return 2;
  }
  std::ifstream file(argv[1]);
  const std::string held{std::istreambuf_iterator<char>(file), {}};
  if (held == Dictionary()) return 0;
  std::fprintf(stderr, "%s: is not what the catalogue says; make it anew with --write\n", argv[1]);
  return 1;
}
