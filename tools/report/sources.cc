#include "tools/report/sources.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "backends/file_io.h"
#include "tools/common/sha256.h"
#include "tools/read/phrase.h"

namespace vmr::tool {

SourceFiles::Look SourceFiles::LookAt(const std::string& path) {
  Look look;
  look.path = path;
  struct stat status {};
  look.is_there = stat(path.c_str(), &status) == 0;
  if (!look.is_there) {
    look.problem = TextOfErrno();
    return look;
  }
  constexpr std::int64_t kSecond_ns = 1000000000;
  look.bytes = status.st_size;
  look.changed_ns = status.st_mtim.tv_sec * kSecond_ns + status.st_mtim.tv_nsec;
  return look;
}

SourceFiles::SourceFiles(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) looks_.push_back(LookAt(path));
}

std::vector<CaseSource> SourceFiles::Digest() const {
  std::vector<CaseSource> sources;
  for (const Look& look : looks_) {
    CaseSource source;
    source.path = EscapedText(look.path);
    source.file_name = std::filesystem::path(look.path).filename();
    source.bytes = look.bytes;
    source.problem = look.problem;
    source.is_there = look.is_there;
    if (look.is_there) {
      const int fd = OpenFile(look.path, O_RDONLY);
      if (IsOpenDescriptor(fd)) source.sha256 = Sha256OfFile(fd);
      if (!source.sha256) source.problem = TextOfErrno();
      if (IsOpenDescriptor(fd)) static_cast<void>(CloseFile(fd));  // nothing was written
      if (!(LookAt(look.path) == look)) {
        source.sha256.reset();
        source.problem = "was changed while it was read";
      }
    }
    sources.push_back(std::move(source));
  }
  return sources;
}

// Of both files as one: it is not either that is wrong.
bool SourceFiles::PutContradiction(const std::vector<FileHealth>& health,
                                   CaseRecording& recording) {
  const auto found = std::find_if(health.begin(), health.end(),
                                  [](const FileHealth& file) { return file.contradicted > 0; });
  if (found == health.end()) return false;
  recording.findings.push_back(
      {"gap",
       fmt::format("{}: {}; those of one file are shown", Counted(found->contradicted, "cluster"),
                   kConflictWords),
       std::nullopt});
  return true;
}

// Packets go to the two files in turns: the newest one is in one of them for a while.
bool SourceFiles::PutMissing(CaseRecording& recording) {
  if (!recording.is_store) return false;
  bool is_missing = false;
  for (const CaseSource& source : recording.sources) {
    if (source.is_there) continue;
    is_missing = true;
    recording.findings.push_back(
        {"gap",
         fmt::format("{}: {}; the newest packets may stand in this file alone", source.path,
                     source.problem),
         std::nullopt});
  }
  return is_missing;
}

bool SourceFiles::PutDamage(const OpenedRecording& opened, CaseRecording& recording) {
  std::vector<CaseSource>& sources = recording.sources;
  const std::vector<FileHealth> health = CompareFiles(opened);
  for (std::size_t i = 0; i < health.size() && i < sources.size(); ++i) {
    if (health[i].IsSound() || !sources[i].problem.empty()) continue;
    sources[i].damage = HealthWords(health[i]);
    // What the files contradict each other in is a finding of its own.
    if (health[i].bad == 0 && health[i].lacking == 0 && !health[i].has_wrong_size) continue;
    recording.findings.push_back(
        {"note", fmt::format("{}: {}", sources[i].path, sources[i].damage), std::nullopt});
  }
  const bool contradict = PutContradiction(health, recording);
  const bool is_missing = PutMissing(recording);
  const bool is_whole = !contradict && !is_missing;
  if (recording.is_store || recording.bad_places == 0) return is_whole;
  const std::string words =
      Counted(static_cast<std::uint64_t>(recording.bad_places), "damaged place");
  for (CaseSource& source : sources) source.damage = words;
  return is_whole;
}

}  // namespace vmr::tool
