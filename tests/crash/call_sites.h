// Where the library makes its calls on a recording's files, and which of these
// places faults have struck.
//
// A place is known where mark_calls.py has marked it. A program made of the library
// without marks knows of none, and its calls come from nowhere.
#ifndef VMR_TESTS_CRASH_CALL_SITES_H_
#define VMR_TESTS_CRASH_CALL_SITES_H_

#include <array>
#include <cstddef>
#include <vector>

namespace vmr::crash {

struct CallSite {
  const char* name;   // function and operation, "FileStore::StatFile.Stat"
  const char* place;  // file and line
};
// All that are marked, by their numbers.
const std::vector<CallSite>& CallSites();
// Said by the list that mark_calls.py makes. Returns true.
bool UseCallSites(std::vector<CallSite> sites);

// The numbers of the sites that a call comes through, the outermost first.
struct SiteChain {
  std::array<short, 6> numbers;
  short count;
};
const SiteChain& SitesNow();

// One site more while it lives.
class Within {
 public:
  explicit Within(int number);
  ~Within();
  Within(const Within&) = delete;
  Within& operator=(const Within&) = delete;
};

// What a marked call looks like.
template <typename Action>
auto At(int number, Action action) {
  const Within within(number);
  return action();
}

// How often faults have struck each site.
class StruckSites {
 public:
  void Note(const SiteChain& sites);
  long Count(std::size_t number) const { return counts_[number]; }
  // Struck calls that came from no site.
  long FromNowhere() const { return from_nowhere_; }

 private:
  std::vector<long> counts_ = std::vector<long>(CallSites().size());
  long from_nowhere_ = 0;
};

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_CALL_SITES_H_
