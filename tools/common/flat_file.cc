#include "tools/common/flat_file.h"

#include <errno.h>
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "backends/file_io.h"
#include "store/packet_format.h"
#include "store/stream_format.h"
#include "store/tag_catalogue.h"

namespace vmr::tool {
namespace {

constexpr std::size_t kMagicBytes = sizeof(kFlatFileMagic);

// As many bytes as there are. False, and errno.
bool ReadHead(const std::string& path, std::vector<unsigned char>& head) {
  constexpr std::size_t kHeadBytes = 4096;
  const int fd = OpenFile(path, O_RDONLY | O_NONBLOCK);
  if (!IsOpenDescriptor(fd)) return false;
  head.resize(kHeadBytes);
  const ssize_t count = ReadFile(fd, head.data(), head.size());
  const int error = errno;
  static_cast<void>(CloseFile(fd));  // nothing was written
  errno = error;
  head.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return count >= 0;
}

}  // namespace

std::vector<unsigned char> OwnDictionary() {
  std::vector<unsigned char> packet = {HEADER_DICTIONARY, 0};
  for (const TagRow& row : Tags()) {
    if (!row.listed) continue;
    ++packet[1];
    packet.push_back(row.tag);
    packet.push_back(static_cast<unsigned char>((row.variable ? 0x80U : 0U) | row.size));
  }
  packet.push_back(0);
  return packet;
}

FlatLook LookWhetherFlat(const std::string& path) {
  std::vector<unsigned char> head;
  if (!ReadHead(path, head)) return FlatLook::kUnreadable;
  if (head.size() < kMagicBytes) return FlatLook::kOther;
  if (std::memcmp(head.data(), kFlatFileMagic, kMagicBytes) == 0) return FlatLook::kFlat;
  const std::vector<unsigned char> dictionary = OwnDictionary();
  const bool has_dictionary = head.size() >= kMagicBytes + dictionary.size() &&
                              std::equal(dictionary.begin(), dictionary.end(),
                                         head.begin() + static_cast<std::ptrdiff_t>(kMagicBytes));
  return has_dictionary ? FlatLook::kDamaged : FlatLook::kOther;
}

}  // namespace vmr::tool
