// The list of call sites against the source: a call that is added, taken away or
// moved to another file must be added, taken away or moved in the list, and from
// then on be struck by the failing calls.
#include "tests/crash/call_sites.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace vmr::crash {
namespace {

using Numbers = std::map<std::string, int>;  // by "file_store.cc SyncFile"

const char* const kBackends = VMR_SOURCE_DIR "/backends";

std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream source(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(source, line);)
    lines.push_back(line.substr(0, line.find("//")));
  return lines;
}

// The functions that file_io.h declares: they begin a line, and are not inline.
std::set<std::string> Wrappers() {
  std::set<std::string> names;
  const std::regex declaration("^(?!inline|static)\\w[\\w ]* (\\w+)\\(");
  std::smatch found;
  for (const std::string& line : LinesOf(std::string(kBackends) + "/file_io.h"))
    if (std::regex_search(line, found, declaration)) names.insert(found[1]);
  return names;
}

// Calls stand in functions, which are indented.
void CountCalls(const std::string& file, const std::regex& call, Numbers* numbers) {
  for (const std::string& line : LinesOf(std::string(kBackends) + "/" + file)) {
    if (line.empty() || line[0] != ' ') continue;
    for (std::sregex_iterator at(line.begin(), line.end(), call), end; at != end; ++at)
      ++(*numbers)[file + " " + (*at)[1].str()];
  }
}

TEST(CallSites, AreTheOnesInTheSource) {
  std::string names;
  for (const std::string& name : Wrappers())
    if (name != "RemoveIfThere" &&  // has no result that could be wrong
        name != "WriteWhole")       // listed by the call that it makes
      names += "|" + name;
  ASSERT_GE(Wrappers().size(), 7U);
  const std::regex wrapped("\\b(" + names.substr(1) + ")\\(");
  const std::regex direct("FileOps::Current\\(\\)\\s*\\.(\\w+)\\(");
  Numbers in_source;
  for (const auto& entry : std::filesystem::directory_iterator(kBackends)) {
    if (entry.path().extension() != ".cc") continue;
    CountCalls(entry.path().filename(), wrapped, &in_source);
    CountCalls(entry.path().filename(), direct, &in_source);
  }
  Numbers listed;
  for (const CallSite& site : CallSites())
    ++listed[std::string(site.source) + " " + site.operation];
  EXPECT_EQ(listed, in_source);
}

TEST(CallSites, HaveNamesOfTheirOwn) {
  EXPECT_EQ(StruckSites().Counts().size(), CallSites().size());
}

}  // namespace
}  // namespace vmr::crash
