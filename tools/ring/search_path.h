// Which clusters a recorder looks at to find where a recording ends.
#ifndef VMR_TOOLS_RING_SEARCH_PATH_H_
#define VMR_TOOLS_RING_SEARCH_PATH_H_

#include <vector>

namespace vmr::tool {

struct SearchResult {
  bool found = false;
  int newest = -1;        // valid when found
  std::vector<int> path;  // the clusters read, in order; the last one stopped a search that failed
};

// Runs the library's own search over first ticks, one for each of 32768 clusters;
// kUnreadableSt stands for a cluster that cannot be read.
SearchResult SearchLastPosition(const std::vector<unsigned int>& first_ticks);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RING_SEARCH_PATH_H_
