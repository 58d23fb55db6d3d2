#include "tools/lake/contents.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

#include "backends/file_io.h"
#include "tools/lake/scratch.h"
#include "tools/read/columns.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

std::string PathOf(const std::string& root, const std::string& name) {
  return ContentsFolder(root) + "/" + name + ".json";
}

std::optional<std::string> TextOfFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

Json JsonOf(const Contents& contents) {
  return {{"complete", contents.complete},
          {"packets_sha256", contents.packets.all},
          {"first_packet_sha256", contents.packets.first},
          {"packets_bytes", contents.packets.bytes},
          {"pieces_sha256", contents.packets.pieces},
          {"files", contents.files}};
}

// No file elsewhere is ever taken for one of the lake.
bool StaysInside(const std::string& file) {
  const fs::path path(file);
  for (const fs::path& part : path)
    if (part == ".." || part == "_vmr") return false;
  return path.is_relative();
}

}  // namespace

std::optional<Contents> ReadContents(const std::string& root, const std::string& name) try {
  const auto text = TextOfFile(PathOf(root, name));
  if (!text) return std::nullopt;
  const Json json = Json::parse(*text);
  Contents contents;
  contents.complete = json.at("complete").get<bool>();
  contents.packets.all = json.at("packets_sha256").get<std::string>();
  contents.packets.first = json.at("first_packet_sha256").get<std::string>();
  contents.packets.bytes = json.at("packets_bytes").get<std::uint64_t>();
  contents.packets.pieces = json.at("pieces_sha256").get<std::vector<std::string>>();
  for (const std::string file : json.at("files"))
    if (StaysInside(file)) contents.files.insert(file);
  return contents;
} catch (const nlohmann::json::exception&) {
  return std::nullopt;
}

bool WriteContents(const std::string& root, const std::string& name, const Contents& contents,
                   const std::string& scratch) {
  const std::string text = JsonOf(contents).dump(1) + "\n";
  const std::string path = PathOf(root, name), temporary = scratch + "/contents";
  if (TextOfFile(path) == text) return true;
  constexpr mode_t kUsual = 0666;
  const int fd = OpenFile(temporary, O_WRONLY | O_CREAT | O_TRUNC, kUsual);
  if (fd < 0) return false;
  const bool written = WriteWhole(fd, text.data(), text.size());
  return SyncAndClose(fd) && written && std::rename(temporary.c_str(), path.c_str()) == 0 &&
         SyncDirectoryOf(path);
}

void RemoveContents(const std::string& root, const std::string& name) {
  RemoveIfThere(PathOf(root, name));
}

std::set<std::string> FindFiles(const std::string& root, const std::string& name) {
  std::set<std::string> found;
  std::error_code error;
  const std::string file = name + ".parquet";
  const auto look_at = [&](const fs::path& folder) {
    if (fs::exists(folder / file, error))
      found.insert((folder / file).lexically_relative(root).string());
  };
  for (const char* const table : {kRecordingsTable, kGapsTable}) look_at(fs::path(root) / table);
  for (const fs::directory_entry& kind : fs::directory_iterator(root, error))
    if (kind.path().filename().string().rfind("kind=", 0) == 0)
      for (const fs::directory_entry& date : fs::directory_iterator(kind.path(), error))
        look_at(date.path());
  return found;
}

}  // namespace vmr::tool
