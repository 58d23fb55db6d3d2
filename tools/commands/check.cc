#include "tools/commands/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <set>
#include <utility>

#include "backends/file_io.h"
#include "tools/commands/command.h"
#include "tools/commands/reading_options.h"
#include "tools/common/console.h"
#include "tools/common/file_digest.h"
#include "tools/common/flat_file.h"
#include "tools/common/folder.h"
#include "tools/common/store_path.h"
#include "tools/ring/flat_check.h"
#include "tools/ring/report.h"
#include "tools/ring/surveyed_store.h"

namespace vmr::tool {
namespace {

using nlohmann::ordered_json;

constexpr const char* kHelp = "Looks stores and flat files over for damage";

constexpr const char* kFooter =
    R"(PATH is the base path of a store, either of its two files, a flat file such as
an extract, a file that a recorder set aside, or a folder of these. Of a store
every cluster of both files is read and compared with its twin, and so are the
packets and items in it and the order of ticks; of a flat file every packet. Each
finding is a line: which file, where, which ticks and times, and whether there is
a good copy. "normal" lines are no damage. Times are those of the recorded time
zone, with their offset, or of the one that --time-zone names (America/Chicago, UTC,
local: this machine's); UTC where none is recorded, and always in JSON.

Examples:
  vmr check trips/car7                  what there is to say, as text
  vmr check trips/car7 --format json    for programs; docs/check.md has the fields
  vmr check evidence.mtd trips/*.mtd    an extract, and several stores
  vmr check trips                       all that is in the folder

--digest adds the SHA-256 digests of the files that were looked at, so that all
that is printed can be given to `sha256sum -c`; the rest stands behind #. Of files
that are recorded into it is said that their digests are those of a moment.

Nothing is changed, and stores may be recorded into meanwhile. `vmr scrub` mends
what has a good copy, `vmr recover` saves what is left of the rest. Of several
paths one that cannot be checked does not keep the others from being checked.

Exit codes: 0 success, 1 something could not be checked, 2 wrong usage, 3
something is lost, 4 damaged but nothing is lost; of several the first of 1, 3, 4.
Success means that all is sound.
Environment: VMR_LOG, what is logged; see vmr --help.)";

bool IsJson(const std::string& format) {
  if (format != "text" && format != "json")
    RefuseUsage("--format " + format + ": neither text nor json");
  return format == "json";
}

std::function<int()> AddOptions(CLI::App& parser) {
  const auto options = std::make_shared<CheckOptions>();
  parser.add_option("PATH", options->paths, "A store, a flat file, a folder; repeatable")
      ->required()
      ->type_name("");
  parser
      .add_option_function<std::string>(
          "--format", [options](const std::string& format) { options->json = IsJson(format); },
          "text (the default) or json")
      ->type_name("FORMAT");
  AddTimeZone(parser, options->time_zone);
  parser.add_flag("--digest", options->digest, "Print digests that sha256sum -c reads");
  parser.final_callback([options] {
    CheckTimeZone(options->time_zone);
    for (const std::string& path : options->paths)
      if (path.empty()) RefuseUsage("PATH is empty");
  });
  return [options] { return Check(*options); };
}

// What there is to look at, and what is said of it.
class Checks {
 public:
  explicit Checks(const CheckOptions& options)
      : time_zone_(options.time_zone), as_json_(options.json), digests_(options.digest) {}

  void Add(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
      AddFolder(path);
    else
      AddOne(path);
  }

  int Finish() {
    if (as_json_ && is_one_ && !all_.empty()) all_ = ordered_json(all_[0]);
    if (as_json_ && !all_.empty()) fmt::print("{}\n", all_.dump(2, ' ', false, kReplace));
    return FinishOutput(exit_code_);
  }
  void ExpectSeveral() { is_one_ = false; }

 private:
  static constexpr auto kReplace = ordered_json::error_handler_t::replace;

  void AddFolder(const std::string& folder) {
    ExpectSeveral();
    const Folder found = LookInto(folder);
    if (!found.error.empty()) return Fail(found.error);
    for (const std::string& path : found.recordings) AddOne(path);
  }

  // A store that is named by both of its files is looked at once.
  void AddOne(const std::string& path) {
    const Recording recording = FindRecording(path, PathKind::kDetect);
    const bool is_store = recording.error.empty() && recording.ring;
    if (!names_.insert(is_store ? recording.path : path).second) return;
    UseZoneOf(path);
    if (recording.error.empty() && !recording.ring && LooksFlat(path))
      CheckFlat(path);
    else
      CheckStore(path);
  }

  // What cannot be read tells none.
  void UseZoneOf(const std::string& path) const {
    const OpenedRecording recording = OpenRecording(path, PathKind::kDetect);
    if (recording.source != nullptr || time_zone_ != kRecordedZone)
      UseZone(time_zone_, recording);
    else
      UseTimeZone("UTC");
  }
  static bool LooksFlat(const std::string& path) {
    const FlatLook look = LookWhetherFlat(path);
    return look == FlatLook::kFlat || look == FlatLook::kDamaged;
  }

  void CheckFlat(const std::string& path) {
    FlatCheck check(path);
    if (!check.Read()) return Fail(fmt::format("{}: {}", path, TextOfErrno()));
    Tell(check.ExitCode(), check, {path});
  }

  void CheckStore(const std::string& path) {
    const auto files = FilesToSurvey(path);
    if (!files) return Worsen(kExitFailure);
    RingSurvey survey(files->path1, files->path2);
    survey.Read();
    if (!CouldBeRead(survey)) return Worsen(kExitFailure);
    if (files->in_use) SayWhatWasSetAside(files->name, {}, "vmr recover with ");
    const std::vector<Finding> findings = FindAll(survey);
    const RingReport report(files->name, survey, findings);
    std::vector<std::string> paths = {files->path1};
    if (!files->path2.empty()) paths.push_back(files->path2);
    Tell(report.ExitCode(), report, paths);
  }

  template <typename Report>
  void Tell(int exit_code, const Report& report, const std::vector<std::string>& paths) {
    Worsen(exit_code);
    std::vector<FileDigest> digests;
    if (digests_) digests = DigestsOf(paths);
    if (as_json_)
      all_.push_back(WithDigests(report.Json(), digests));
    else
      fmt::print("{}{}", std::exchange(has_told_, true) ? (digests_ ? "#\n" : "\n") : "",
                 digests_ ? WithDigests(report.Text(), digests) : report.Text());
  }

  static std::string WithDigests(const std::string& report,
                                 const std::vector<FileDigest>& digests) {
    std::string text = AsRemarks(report);
    for (const FileDigest& digest : digests) text += DigestText(digest);
    return text;
  }
  ordered_json WithDigests(ordered_json report, const std::vector<FileDigest>& digests) const {
    for (const FileDigest& digest : digests) {
      ordered_json told = {{"file", digest.path}};
      if (!digest.sha256.empty()) told["sha256"] = digest.sha256;
      if (!digest.error.empty()) told["error"] = digest.error;
      if (digest.is_moving) told["moving"] = true;
      report["digests"].push_back(told);
    }
    return report;
  }

  void Fail(const std::string& why) {
    Say(why);
    Worsen(kExitFailure);
  }

  void Worsen(int exit_code) {
    static constexpr int kByGravity[] = {kExitSuccess, kExitDamaged, kExitPartial, kExitFailure};
    const auto gravity = [](int code) {
      return std::find(std::begin(kByGravity), std::end(kByGravity), code);
    };
    if (gravity(exit_code) > gravity(exit_code_)) exit_code_ = exit_code;
  }

  std::string time_zone_;
  bool as_json_;
  bool digests_;
  bool is_one_ = true;
  bool has_told_ = false;
  std::set<std::string> names_;
  ordered_json all_ = ordered_json::array();
  int exit_code_ = kExitSuccess;
};

}  // namespace

constexpr Command kCheckCommand = {"check", kHelp, kFooter, AddOptions};

int Check(const CheckOptions& options) {
  Checks checks(options);
  if (options.paths.size() > 1) checks.ExpectSeveral();
  for (const std::string& path : options.paths) checks.Add(path);
  return checks.Finish();
}

}  // namespace vmr::tool
