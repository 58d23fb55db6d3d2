// `vmr export --layout lake`.
#ifndef VMR_TOOLS_LAKE_LAKE_EXPORT_H_
#define VMR_TOOLS_LAKE_LAKE_EXPORT_H_

#include <string>
#include <vector>

namespace vmr::tool {

// As the command line has it.
struct LakeOptions {
  std::string root;
  std::vector<std::string> paths;  // folders stand for the recordings in them
  std::string paths_from;          // a file of paths, "-": standard input; empty: `paths`
  bool digests_files = false;
};

// A line of JSON on standard output for each recording, once its files are in place. Of
// `paths_from` one line is read, its recording converted and its answer written before the next
// is read. Returns the gravest exit code.
int ExportToLake(const LakeOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_LAKE_EXPORT_H_
