#include "tools/ring/search_path.h"

#include "backends/cluster_format.h"
#include "backends/last_position.h"

namespace vmr::tool {
namespace {

// Notes what is asked for, each cluster once, as a recorder reads it once.
class NotedTicks final : public FirstTicks {
 public:
  NotedTicks(const std::vector<unsigned int>& first_ticks, std::vector<int>& path)
      : first_ticks_(first_ticks), path_(path), asked_(first_ticks.size()) {}

  unsigned int At(int cluster) override {
    const auto index = static_cast<std::size_t>(cluster);
    const unsigned int st = first_ticks_.at(index);
    // One that it could not read it tries again each time.
    if (!asked_[index] || st == kUnreadableSt) path_.push_back(cluster);
    asked_[index] = true;
    return st;
  }

 private:
  const std::vector<unsigned int>& first_ticks_;
  std::vector<int>& path_;
  std::vector<bool> asked_;
};

}  // namespace

SearchResult SearchLastPosition(const std::vector<unsigned int>& first_ticks) {
  SearchResult result;
  NotedTicks ticks(first_ticks, result.path);
  const LastPosition position =
      vmr::SearchLastPosition(ticks, static_cast<int>(first_ticks.size()));
  result.found = position.Found();
  if (result.found) result.newest = position.newest;
  return result;
}

}  // namespace vmr::tool
