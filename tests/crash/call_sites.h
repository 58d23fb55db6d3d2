// Where the library makes its calls on a recording's files.
#ifndef VMR_TESTS_CRASH_CALL_SITES_H_
#define VMR_TESTS_CRASH_CALL_SITES_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tests/crash/cow_files.h"

namespace vmr::crash {

// One place in the source: the file in backends/ and the operation called there.
struct CallSite {
  const char* name;
  const char* source;
  const char* operation;
};
// All of them; a test compares their numbers with the source.
const std::vector<CallSite>& CallSites();

// The call is the second opening, or the closing, of a descriptor 0.
bool OpensTwice(const std::vector<Done>& calls, std::size_t at);

// Which of them faults have struck.
class StruckSites {
 public:
  // The call at `at` was struck: counts the sites that it came from. `abandoned`:
  // by a store that went without being closed.
  void Note(const std::vector<Done>& calls, std::size_t at, bool abandoned = false);
  // How often each was struck; all sites are there.
  const std::map<std::string, long>& Counts() const { return counts_; }

 private:
  std::map<std::string, long> counts_ = ZeroEach();

  static std::map<std::string, long> ZeroEach();
};

}  // namespace vmr::crash

#endif  // VMR_TESTS_CRASH_CALL_SITES_H_
