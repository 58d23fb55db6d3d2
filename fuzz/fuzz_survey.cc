// Two ring images for those who look over, mend and save damaged stores. Built for
// rings of few clusters, since all of them are looked at each time.
#include "fuzz/fuzz_setup.h"
#include "fuzz/ring_walk.h"
#include "records/decoder.h"
#include "records/ring_source.h"
#include "tools/common/ticks.h"
#include "tools/ring/recorded_clock.h"
#include "tools/ring/report.h"
#include "tools/ring/salvage.h"
#include "tools/ring/scrub.h"
#include "tools/ring/written_images.h"

namespace {

using vmr::crash::CowFiles;
using vmr::crash::PathOf;
using vmr::fuzz::Require;
using vmr::fuzz::RingInput;
using namespace vmr::tool;  // what is tested

enum TargetFlag : unsigned int { kScrub = 32, kFirstIsSetAside = 64, kReport = 128 };

// Where nothing else is written meanwhile.
constexpr int kNew1 = vmr::crash::kTmp1;
constexpr int kNew2 = vmr::crash::kTmp2;

bool IsCluster(int cluster) { return cluster >= 0 && cluster < vmr::kClusterCount; }

void CheckFinding(const Finding& finding) {
  Require(finding.file >= 0 && finding.file <= 2, "a finding is about a file of two");
  Require(finding.good_file >= 0 && finding.good_file <= 2, "a good copy is in one of two files");
  Require(IsCluster(finding.first_cluster) && IsCluster(finding.last_cluster),
          "a finding is about clusters of the ring");
  Require(finding.Clusters() >= 1 && finding.Clusters() <= vmr::kClusterCount,
          "a finding is about clusters of the ring");
}

void CheckClock(const RecordedClock& clock, const RingInput& input) {
  const auto time_us = static_cast<std::int64_t>(input.tick_a) * 1000000;
  Require(clock.FirstTickFrom(time_us) <= kLastTick, "a time is a tick");
  Require(clock.LastTickUpTo(time_us) <= kLastTick, "a time is a tick");
  Require(clock.TimeAt(input.tick_b).has_value() == !clock.Empty(), "a tick has a time");
}

std::vector<Finding> Look(RingSurvey& survey, const RingInput& input) {
  survey.Read();
  Require(survey.Empty() || (IsCluster(survey.Newest()) && IsCluster(survey.Oldest())),
          "the ends of the recording are in the ring");
  CheckClock(survey.Clock(), input);
  std::vector<Finding> findings = FindAll(survey);
  for (const Finding& finding : findings) CheckFinding(finding);
  return findings;
}

void Describe(const RingSurvey& survey, const std::vector<Finding>& findings) {
  static const std::string kBase(vmr::crash::kBase);
  const RingReport report(kBase, survey, findings);
  const int code = report.ExitCode();
  Require(code == 0 || code == 3 || code == 4, "the exit code is one of three");
  Require(!report.Text().empty(), "there is something to say");
  Require(report.Json().at("findings").size() == findings.size(), "every finding is told");
}

// ---- Saving ------------------------------------------------------------------------

// How many packets the new files got.
unsigned long WriteSalvaged(const RingSalvage& salvage, CowFiles& files, WrittenImages& written) {
  TagCounts counts{};
  unsigned long packets = 0;
  int cluster = 0;
  for (const SalvagedCluster& from : salvage.Clusters()) {
    unsigned char image[vmr::kClusterBytes];
    const CopyFacts* same = nullptr;
    static_cast<void>(RingSalvage::MakeImage(from, image, counts, packets, same));  // else a mark
    written.Add(image, same);
    for (const int name : {kNew1, kNew2})
      files.SetPage(name, cluster, files.MakePage(image, vmr::kClusterBytes));
    ++cluster;
  }
  return packets;
}

unsigned long PacketsIn(const RingSurvey& survey) {
  unsigned long packets = 0;
  for (int cluster = 0; cluster < vmr::kClusterCount; ++cluster)
    if (survey.At(cluster).HoldsData()) packets += survey.At(cluster).Best().content.packets;
  return packets;
}

bool AreAlike(const CopyFacts& a, const CopyFacts& b) {
  return a.state == b.state && a.used_bytes == b.used_bytes && a.first_tick == b.first_tick &&
         a.content.packets == b.content.packets && a.content.items == b.content.items &&
         a.content.tags == b.content.tags && a.content.first_tick == b.content.first_tick &&
         a.content.last_tick == b.content.last_tick &&
         a.content.first_kind == b.content.first_kind && a.content.IsPure() == b.content.IsPure() &&
         a.content.wrong_st == b.content.wrong_st && a.content.ticks_fall == b.content.ticks_fall;
}

bool AreAlike(const RingSurvey& a, const RingSurvey& b) {
  bool alike = a.Newest() == b.Newest();
  for (int cluster = 0; cluster < vmr::kClusterCount; ++cluster)
    alike = alike && a.At(cluster).relation == b.At(cluster).relation &&
            AreAlike(a.At(cluster).Copy(1), b.At(cluster).Copy(1)) &&
            AreAlike(a.At(cluster).Copy(2), b.At(cluster).Copy(2));
  return alike;
}

void Save(RingSurvey& survey, const RingInput& input, CowFiles& files) {
  RingSalvage salvage(survey);
  if ((input.flags & kFirstIsSetAside) != 0)
    static_cast<void>(salvage.AddFile(PathOf(vmr::crash::kCorrupt1)));
  salvage.Arrange();
  Require(salvage.Clusters().size() <= static_cast<std::size_t>(vmr::kClusterCount),
          "what was saved fits a ring");
  for (const int name : {kNew1, kNew2}) vmr::fuzz::MakeEmptyRing(files, name);
  WrittenImages written;
  const unsigned long packets = WriteSalvaged(salvage, files, written);

  RingSurvey made(PathOf(kNew1), PathOf(kNew2));
  const std::vector<Finding> findings = Look(made, input);
  Require(Gravest(findings) != Severity::kLost, "nothing is lost of what was saved");
  Require(made.SearchOf(1).found && made.SearchOf(2).found, "what was saved can be searched");
  for (int cluster = 0; cluster < vmr::kClusterCount; ++cluster) {
    Require(made.At(cluster).relation == Relation::kEqual, "both new files are the same");
    Require(!made.At(cluster).Best().content.Faulty(), "only sound packets are saved");
  }
  RingSurvey compared(PathOf(kNew1), PathOf(kNew2));
  compared.Read(&written);
  Require(AreAlike(made, compared), "what is as it was written is surveyed without a walk");
  Require(PacketsIn(made) >= packets, "every saved packet is there");
  if (salvage.TooOld() == 0)
    Require(packets >= PacketsIn(survey), "every packet that can be read is saved");
}

// ---- Mending -----------------------------------------------------------------------

bool IsSame(const CopyFacts& a, const CopyFacts& b) {
  return a.used_bytes == b.used_bytes && a.first_tick == b.first_tick;
}

void Mend(RingSurvey& survey, const std::vector<Finding>& findings, const RingInput& input) {
  static const std::string kBase(vmr::crash::kBase);
  RingScrub scrub(kBase, survey);
  const bool done = scrub.Run();
  RingSurvey mended(PathOf(vmr::crash::kFile1), PathOf(vmr::crash::kFile2));
  const std::vector<Finding> left = Look(mended, input);
  Require(Gravest(left) <= Gravest(findings), "mending makes nothing worse");
  for (int cluster = 0; cluster < vmr::kClusterCount; ++cluster) {
    const ClusterFacts& before = survey.At(cluster);
    const ClusterFacts& after = mended.At(cluster);
    // Which of two copies in conflict counts follows from the file that a recorder
    // would go on with, and mending may make that the other one.
    if (before.relation == Relation::kConflict) {
      for (const int file : kFileNumbers)
        Require(IsSame(before.Copy(file), after.Copy(file)), "both copies in conflict stay");
      continue;
    }
    if (!before.Known()) continue;
    Require(after.Known() && IsSame(before.Best(), after.Best()), "the good copy stays");
    if (done && input.usual_files)
      Require(after.relation != Relation::kOneSound, "a bad copy is mended");
  }
}

// ---- Reading -----------------------------------------------------------------------

// Times by the program's own decoder, and that gaps and records alternate as they may.
class Times final : public vmr::records::Sink {
 public:
  explicit Times(RecordedClock& clock) : clock_(clock) {}
  void OnRecord(const vmr::records::Record& record) override {
    Require(record.place.cluster >= 0 && IsCluster(record.place.cluster),
            "a record stands in the ring");
    if (record.kind->id == vmr::records::KindId::kTime && record.tick != vmr::kNoTick)
      clock_.Add(record.tick, ValueOf(record, 0).number);
  }

 private:
  RecordedClock& clock_;
};

void Decode(const RingInput& input) {
  vmr::records::RingProblem problem{};
  const auto source = vmr::records::RingSource::Open(PathOf(vmr::crash::kFile1),
                                                     PathOf(vmr::crash::kFile2), problem);
  if (source == nullptr) return;
  RecordedClock clock;
  Times times(clock);
  vmr::records::Decoder(*source, times).Run();
  CheckClock(clock, input);
}

void Read(const RingInput& input, const CowFiles& files) {
  vmr::DataStoreNormal ring(vmr::crash::kBase);
  if (ring.OpenReadOnly() == 0) return;
  vmr::fuzz::SearchTicks(ring, input, files);
  vmr::fuzz::ReadEverything(ring, input);
  ring.Close();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  static CowFiles files;
  files.TakeOtherPathsForFlat();  // the name of a temporary file is drawn
  vmr::fuzz::InputBytes bytes(data, size);
  const RingInput input = vmr::fuzz::MakeRing(bytes, files);
  if ((input.flags & kFirstIsSetAside) != 0)
    files.Rename(PathOf(vmr::crash::kFile1), PathOf(vmr::crash::kCorrupt1));
  files.ForgetCalls();
  if (input.read_only) Read(input, files);
  if (input.read_only) Decode(input);
  RingSurvey survey(PathOf(vmr::crash::kFile1), PathOf(vmr::crash::kFile2));
  const std::vector<Finding> findings = Look(survey, input);
  if ((input.flags & kReport) != 0 && vmr::fuzz::IsOneIn(3)) Describe(survey, findings);
  if (survey.IsOfTwoRecordings()) {
    Require(findings.back().Is(finding_kind::kTwoRecordings),
            "two recordings are told");  // and left
  } else if ((input.flags & kScrub) == 0) {
    Save(survey, input, files);
    Require(files.ChangesBeside(vmr::crash::kAnyName) == 0, "a store that is saved is only read");
  } else {
    Mend(survey, findings, input);
  }
  Require(files.OpenDescriptors() <= 4, "files are closed");
  return 0;
}
