// What is gathered of recordings that are read one after the other.
#ifndef VMR_TOOLS_REPORT_GATHERED_CASE_H_
#define VMR_TOOLS_REPORT_GATHERED_CASE_H_

#include <string>
#include <vector>

#include "tools/read/reading.h"
#include "tools/report/case_file.h"

namespace vmr::tool {

class GatheredCase {
 public:
  // `zone_is_recorded`: local times are those that the recordings tell, not of a zone that was
  // asked for.
  explicit GatheredCase(bool zone_is_recorded) : zone_is_recorded_(zone_is_recorded) {}

  // An exit code.
  int Read(Reading& reading);
  bool IsEmpty() const { return recordings_.empty(); }
  // To be called once.
  CaseFile Finish();

 private:
  void UseZoneOf(const Reading& reading);

  const bool zone_is_recorded_;
  std::string zone_;
  std::vector<CaseRecording> recordings_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_GATHERED_CASE_H_
