#include "tools/read/follow_cursor.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <array>
#include <nlohmann/json.hpp>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "host/file_ops.h"

namespace vmr::tool {
namespace {

using nlohmann::json;

constexpr const char* kFormat = "vmr_cursor";
constexpr int kVersion = 1;

template <typename Number>
bool Take(const json& object, const char* name, std::uint64_t highest, Number& number) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_number_unsigned()) return false;
  const auto value = found->get<std::uint64_t>();
  number = static_cast<Number>(value);
  return value <= highest;
}

bool Take(const json& object, const char* name, std::string& text) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_string()) return false;
  text = found->get<std::string>();
  return true;
}

bool TakeOutput(const json& object, std::optional<OutputLength>& output) {
  const auto found = object.find("output");
  if (found == object.end()) return true;
  OutputLength length;
  if (!found->is_object() || !Take(*found, "device", UINT64_MAX, length.device) ||
      !Take(*found, "inode", UINT64_MAX, length.inode) ||
      !Take(*found, "bytes", UINT64_MAX, length.bytes))
    return false;
  output = length;
  return true;
}

bool TakePlace(const json& object, RingPlace& place) {
  const auto found = object.find("cluster");
  if (found != object.end() && found->is_null()) return true;
  return Take(object, "cluster", kClusterCount - 1, place.cluster) &&
         Take(object, "bytes", kMaxClusterPayload, place.bytes) &&
         Take(object, "first_tick", kNoTick, place.first_tick) &&
         Take(object, "hash", UINT64_MAX, place.hash);
}

std::optional<FollowCursor> Parse(const std::string& text) {
  const json object = json::parse(text, nullptr, false);
  int version = 0;
  FollowCursor cursor;
  if (!object.is_object() || !Take(object, kFormat, kVersion, version) || version != kVersion ||
      !TakePlace(object, cursor.place) || !Take(object, "tick", kNoTick, cursor.tick) ||
      !Take(object, "mac", cursor.mac) || !Take(object, "serial_number", cursor.serial_number) ||
      !TakeOutput(object, cursor.output))
    return std::nullopt;
  return cursor;
}

std::string TextOf(const FollowCursor& cursor) {
  json object = {{kFormat, kVersion},           {"cluster", nullptr},
                 {"bytes", cursor.place.bytes}, {"first_tick", cursor.place.first_tick},
                 {"hash", cursor.place.hash},   {"tick", cursor.tick},
                 {"mac", cursor.mac},           {"serial_number", cursor.serial_number}};
  if (cursor.place.cluster >= 0) object["cluster"] = cursor.place.cluster;
  if (cursor.output)
    object["output"] = {{"device", cursor.output->device},
                        {"inode", cursor.output->inode},
                        {"bytes", cursor.output->bytes}};
  return object.dump() + "\n";
}

bool Write(int fd, const std::string& text) {
  const bool written = WriteWhole(fd, text.data(), text.size());
  const int error = errno;
  const bool closed = SyncAndClose(fd);
  if (!written) errno = error;
  return written && closed;
}

}  // namespace

std::optional<FollowCursor> LoadCursor(const std::string& path, std::string& error) {
  constexpr std::size_t kMostBytes = 4096;
  error.clear();
  struct stat status {};
  if (FileOps::Current().Stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) error = fmt::format("{}: {}", path, TextOfErrno());
    return std::nullopt;
  }
  const int fd = S_ISREG(status.st_mode) ? OpenFile(path, O_RDONLY) : -1;
  std::array<char, kMostBytes> bytes{};
  const ssize_t count = fd < 0 ? -1 : ReadFile(fd, bytes.data(), bytes.size());
  if (fd >= 0) static_cast<void>(CloseFile(fd));  // nothing was written
  auto cursor =
      count < 0 ? std::nullopt : Parse(std::string(bytes.data(), static_cast<std::size_t>(count)));
  if (!cursor) error = fmt::format("{}: is no cursor of vmr follow; it is left as it is", path);
  return cursor;
}

bool SaveCursor(const std::string& path, const FollowCursor& cursor, std::string& error) {
  constexpr mode_t kMode = 0666;
  const std::string made = path + ".vmr-new";
  const int fd = OpenFile(made, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, kMode);
  if (IsOpenDescriptor(fd) && Write(fd, TextOf(cursor)) &&
      FileOps::Current().Rename(made.c_str(), path.c_str()) == 0)
    return true;
  error = fmt::format("{}: {}", path, TextOfErrno());
  return false;
}

}  // namespace vmr::tool
