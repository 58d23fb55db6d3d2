#include "tools/ring/scrub.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>

#include "backends/cluster_format.h"
#include "backends/file_io.h"
#include "host/file_ops.h"
#include "tools/common/console.h"
#include "tools/common/output_file.h"
#include "tools/ring/report.h"

namespace vmr::tool {
namespace {

bool IsOfWrongSize(FileProblem problem) {
  return problem == FileProblem::kMissing || problem == FileProblem::kShort ||
         problem == FileProblem::kLong;
}

}  // namespace

bool RingScrub::Run() {
  if (!ClearWhatHeldNothing()) return false;
  const int first = survey_.SearchOf(1).found && !survey_.SearchOf(2).found ? 2 : 1;
  const bool done = BuildAnew(first) && BuildAnew(OtherFile(first)) &&
                    RewriteCopies(first, Repair::kMend) &&
                    RewriteCopies(OtherFile(first), Repair::kMend) &&
                    RewriteCopies(first, Repair::kBringUpToDate) &&
                    RewriteCopies(OtherFile(first), Repair::kBringUpToDate);
  Tell();
  return done;
}

bool RingScrub::Fail(int file, const char* what) const {
  Say(fmt::format("{}: {}: {}", RingFileName(base_, file), what, TextOfErrno()));
  return false;
}

// ---- Nothing at all --------------------------------------------------------------------

// They may be on the path of every search, so what else can be done is looked for anew.
bool RingScrub::ClearWhatHeldNothing() {
  std::vector<int> clusters;
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    if (HeldNothing(cluster)) clusters.push_back(cluster);
  if (clusters.empty()) return true;
  for (const int file : kFileNumbers)
    if (!Clear(file, clusters)) return false;
  survey_.Read();
  return true;
}

// The clusters that are known before and behind it were never written, and nothing that
// looks like a packet is left in it.
bool RingScrub::HeldNothing(int cluster) const {
  if (survey_.At(cluster).relation != Relation::kNoneSound) return false;
  int before = cluster, behind = cluster;
  while (before >= 0 && !survey_.At(before).Known()) --before;
  while (behind < kClusterCount && !survey_.At(behind).Known()) ++behind;
  if (before < 0 || survey_.At(before).HoldsData()) return false;
  if (behind < kClusterCount && survey_.At(behind).HoldsData()) return false;
  for (const int file : kFileNumbers) {
    unsigned char image[kClusterBytes];
    const CopyState state = survey_.File(file).Read(cluster, image);
    const bool is_legible = state == CopyState::kBadCrc || state == CopyState::kBadSize;
    if (!is_legible && state != CopyState::kAbsent) return false;
    if (is_legible && WalkCluster(image, kClusterBytes).packets > 0) return false;
  }
  return true;
}

bool RingScrub::Clear(int file, const std::vector<int>& clusters) {
  if (survey_.File(file).Problem() != FileProblem::kNone) return true;
  unsigned char image[kClusterBytes];
  FillNeverWritten(image, kClusterBytes);
  const int fd = OpenFile(survey_.File(file).Path(), O_WRONLY);
  if (!IsOpenDescriptor(fd)) return Fail(file, "cannot be written");
  bool written = true;
  for (const int cluster : clusters) {
    const off_t offset = off_t{cluster} * kClusterBytes;
    written =
        written && SeekFile(fd, offset, SEEK_SET) == offset && WriteWhole(fd, image, kClusterBytes);
  }
  if (!SyncAndClose(fd) || !written) return Fail(file, "cannot be written");
  for (const int cluster : clusters)
    account_ += fmt::format("{} {}: cleared, nothing was ever recorded there\n",
                            survey_.File(file).Path(), ClusterText(cluster, cluster));
  return true;
}

// ---- A whole file -------------------------------------------------------------------

// Under a temporary name until it is complete.
bool RingScrub::BuildAnew(int file) {
  if (!IsOfWrongSize(survey_.File(file).Problem())) return true;
  bool any = false;
  for (int cluster = 0; cluster < kClusterCount; ++cluster)
    any = any || survey_.At(cluster).Known();
  if (!any) return true;  // there is nothing to build it from
  OutputFile out(RingFileName(base_, file), true, "scrub");
  if (!out.Open()) return false;
  if (!WriteAll(file, out.TemporaryPath())) return Fail(file, "cannot be built anew");
  if (!out.Publish()) return false;
  account_ += fmt::format("{}: built anew, from {}\n", RingFileName(base_, file),
                          RingFileName(base_, OtherFile(file)));
  return true;
}

// Where no copy is sound, or the cluster is left alone, the new file gets what the
// old one has there: zeros where it has nothing, which no reader takes for a cluster.
bool RingScrub::WriteAll(int file, const std::string& path) {
  if (FileOps::Current().Chmod(path.c_str(), kRingFileMode) != 0) return false;
  const int fd = OpenFile(path, O_WRONLY);
  if (!IsOpenDescriptor(fd)) return false;
  bool written = true;
  for (int cluster = 0; cluster < kClusterCount && written; ++cluster) {
    unsigned char image[kClusterBytes];
    const ClusterFacts& facts = survey_.At(cluster);
    const int source = facts.Known() && !IsLeftAlone(facts, file) ? facts.best : file;
    const CopyState state = survey_.File(source).ReadInTurn(cluster, image);
    const bool as_judged = !facts.Known() || state == facts.Copy(source).state;
    if (!as_judged) errno = EIO;
    written = as_judged && WriteWhole(fd, image, kClusterBytes);
  }
  return SyncAndClose(fd) && written;
}

// ---- Single clusters ------------------------------------------------------------------

// A copy that holds packets which no other copy has is not written over:
// `vmr recover` can still save them.
bool RingScrub::IsLeftAlone(const ClusterFacts& facts, int file) const {
  return facts.relation == Relation::kConflict ||
         (facts.relation == Relation::kMisplaced && survey_.HoldsLatest(facts.Copy(file)));
}

RingScrub::Repair RingScrub::RepairOf(int cluster, int file) const {
  const ClusterFacts& facts = survey_.At(cluster);
  if (facts.best != OtherFile(file) || IsLeftAlone(facts, file)) return Repair::kNone;
  if (facts.relation == Relation::kOneSound) return Repair::kMend;
  const bool lesser = facts.relation == Relation::kFaulty || facts.relation == Relation::kShorter ||
                      facts.relation == Relation::kOlder ||
                      facts.relation == Relation::kWrongTick ||
                      facts.relation == Relation::kMisplaced;
  return lesser && MendedFileIsSearchable(OtherFile(file)) ? Repair::kBringUpToDate : Repair::kNone;
}

// A copy with a right CRC may be on the path of the search. It is left alone where
// nothing but its file can be searched: a power cut while it is written would
// leave neither. What could be mended has been by then.
bool RingScrub::MendedFileIsSearchable(int file) const {
  const FileProblem problem = survey_.File(file).Problem();
  return problem != FileProblem::kNotRegular && survey_.SearchOfBest().found;
}

bool RingScrub::RewriteCopies(int file, Repair wanted) {
  if (survey_.File(file).Problem() != FileProblem::kNone) return true;
  int fd = -1;
  for (int cluster = 0; cluster < kClusterCount; ++cluster) {
    if (RepairOf(cluster, file) != wanted) continue;
    if (fd < 0) fd = OpenFile(RingFileName(base_, file), O_WRONLY);
    if (!IsOpenDescriptor(fd)) return Fail(file, "cannot be written");
    if (!RewriteCopy(fd, cluster, file)) {
      Fail(file, "cannot be written");
      static_cast<void>(CloseFile(fd));  // it has failed already
      return false;
    }
    Note(wanted, cluster, file);
  }
  if (fd < 0) return true;
  return SyncAndClose(fd) || Fail(file, "cannot be synced");
}

bool RingScrub::RewriteCopy(int fd, int cluster, int file) {
  unsigned char image[kClusterBytes];
  const off_t offset = off_t{cluster} * kClusterBytes;
  if (!ReadGoodTwin(cluster, file, image)) return errno = EIO, false;
  return SeekFile(fd, offset, SEEK_SET) == offset && WriteWhole(fd, image, kClusterBytes);
}

// Its CRC has been checked again, and it is what was judged to be the good one.
bool RingScrub::ReadGoodTwin(int cluster, int file, unsigned char* image) {
  const CopyFacts& judged = survey_.At(cluster).Best();
  return survey_.File(OtherFile(file)).Read(cluster, image) == judged.state &&
         ClusterSize(image) == judged.used_bytes && ClusterSt(image) == judged.first_tick;
}

void RingScrub::Note(Repair repair, int cluster, int file) {
  for (Done& done : done_)
    if (done.repair == repair && done.file == file && done.last + 1 == cluster) {
      done.last = cluster;
      return;
    }
  done_.push_back({repair, file, cluster, cluster});
}

void RingScrub::Tell() {
  for (const Done& done : done_)
    account_ += fmt::format("{} {}: {} from {}\n", RingFileName(base_, done.file),
                            ClusterText(done.first, done.last),
                            done.repair == Repair::kMend ? "mended" : "brought up to date",
                            RingFileName(base_, OtherFile(done.file)));
}

}  // namespace vmr::tool
