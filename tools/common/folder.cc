#include "tools/common/folder.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>
#include <set>

#include "tools/common/flat_file.h"
#include "tools/common/store_path.h"

namespace vmr::tool {
namespace {

namespace fs = std::filesystem;

// By its name.
std::optional<std::string> StoreOf(const fs::path& path) {
  return RingBaseOf(path.extension() == kSetAsideEnding
                        ? fs::path(path).replace_extension().string()
                        : path.string());
}

// As which recording the file is to be read; nothing: it is none.
std::optional<std::string> RecordingOf(const fs::directory_entry& entry) {
  const fs::path& path = entry.path();
  std::error_code error;
  if (path.filename().string().front() == '.' || !entry.is_regular_file(error)) return std::nullopt;
  if (auto base = StoreOf(path)) return base;
  if (LookWhetherFlat(path) == FlatLook::kOther) return std::nullopt;
  return path.string();
}

}  // namespace

Folder LookInto(const std::string& folder) {
  std::set<std::string> found;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    if (auto recording = RecordingOf(*entry)) found.insert(std::move(*recording));
  if (error) return {{}, fmt::format("{}: {}", folder, error.message())};
  if (found.empty()) return {{}, fmt::format("{}: neither stores nor flat files in it", folder)};
  return {{found.begin(), found.end()}, {}};
}

}  // namespace vmr::tool
