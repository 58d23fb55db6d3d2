#include "tools/ring/surveyed_store.h"

#include <fmt/format.h>

#include <algorithm>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "host/file_ops.h"
#include "records/cluster_reader.h"
#include "tools/common/console.h"
#include "tools/common/flat_file.h"
#include "tools/common/ring_opening.h"
#include "tools/common/store_path.h"

namespace vmr::tool {

namespace {

bool Exists(const std::string& path) {
  struct stat status {};
  return FileOps::Current().Stat(path.c_str(), &status) == 0;
}

// A store whose files were both set aside, or what is left of them.
std::optional<StoreFiles> FindSetAside(const std::string& base) {
  StoreFiles files{base, RingFileName(base, 1) + kSetAsideEnding,
                   RingFileName(base, 2) + kSetAsideEnding, false};
  const bool first = Exists(files.path1), second = Exists(files.path2);
  if (!first && !second) return std::nullopt;
  // A recorder sets one aside: the other was removed, or is there under its own name.
  if (!first) files.path1.swap(files.path2);
  if (!first || !second) files.path2.clear();
  return files;
}

// Of its size, or with a cluster where the first ones stand.
bool LooksLikeRingFile(const std::string& path) {
  constexpr int kLooks = 16;
  struct stat status {};
  if (FileOps::Current().Stat(path.c_str(), &status) != 0) return false;
  if (status.st_size == records::kRingFileBytes) return true;
  records::ClusterReader file;
  if (!file.Open(path)) return false;
  for (int cluster = 0; cluster < kLooks; ++cluster)
    if (file.Read(cluster) != nullptr) return true;
  return false;
}

}  // namespace

std::optional<StoreFiles> FilesToSurvey(const std::string& store) {
  const Recording recording = FindRecording(store, PathKind::kDetect);
  if (recording.error.empty() && recording.ring)
    return StoreFiles{recording.path, RingFileName(recording.path, 1),
                      RingFileName(recording.path, 2)};
  if (!recording.error.empty()) {
    if (auto aside = FindSetAside(store)) return aside;
    Say(recording.error);
    return std::nullopt;
  }
  const FlatLook look = LookWhetherFlat(store);
  if (look != FlatLook::kOther) {
    Say(fmt::format("{}: {}", store,
                    look == FlatLook::kUnreadable ? TextOfErrno() : "is a flat file, not a store"));
    return std::nullopt;
  }
  if (LooksLikeRingFile(store)) return StoreFiles{store, store, "", false};
  Say(fmt::format("{}: is neither a flat metadata file nor a file of a store", store));
  return std::nullopt;
}

std::optional<std::string> RingToSurvey(const std::string& store) {
  const auto files = FilesToSurvey(store);
  if (!files || files->in_use) return files ? std::optional(files->name) : std::nullopt;
  Say(
      fmt::format("{0}: no store that is recorded into; `vmr recover {0} OUT` makes one of what "
                  "is good in it",
                  store));
  return std::nullopt;
}

bool CouldBeRead(const RingSurvey& survey) {
  if (survey.File(1).IsOpen() || survey.File(2).IsOpen()) return true;
  for (const int file : kFileNumbers)
    if (survey.File(file).Problem() == FileProblem::kNotOpened)
      return Say(fmt::format("{}: {}", survey.File(file).Path(), survey.File(file).Reason())),
             false;
  return Say(fmt::format("{}: no regular file", survey.File(1).Path())), false;
}

bool BothCouldBeRead(const RingSurvey& survey) {
  for (const int file : kFileNumbers)
    if (survey.File(file).Problem() == FileProblem::kNotOpened)
      return Say(fmt::format("{}: {}", survey.File(file).Path(), survey.File(file).Reason())),
             false;
  return CouldBeRead(survey);
}

bool IsOneRecording(const RingSurvey& survey, const std::string& name) {
  if (!survey.IsOfTwoRecordings()) return true;
  SayTwoRecordings(name, survey.File(1).Path(), survey.File(2).Path());
  return false;
}

void SayWhatWasSetAside(const std::string& base, const std::vector<std::string>& given,
                        const char* command) {
  for (const int number : kFileNumbers) {
    const std::string path = RingFileName(base, number) + kSetAsideEnding;
    struct stat status {};
    const auto same = [&path](const std::string& file) { return SameFile(path, file); };
    if (FileOps::Current().Stat(path.c_str(), &status) != 0 ||
        std::any_of(given.begin(), given.end(), same))
      continue;
    Say(fmt::format("{}: was set aside by a recorder; {}--corrupt {} adds what it holds", path,
                    command, path));
  }
}

}  // namespace vmr::tool
