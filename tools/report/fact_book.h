// Who and what a recording is of.
#ifndef VMR_TOOLS_REPORT_FACT_BOOK_H_
#define VMR_TOOLS_REPORT_FACT_BOOK_H_

#include <map>
#include <string>
#include <vector>

#include "records/record.h"
#include "tools/report/case_file.h"
#include "tools/report/placement.h"
#include "tools/report/range_clip.h"

namespace vmr::tool {

// Texts as they change: officer, vehicle, unit, time zone. Behind a gap they are unknown until
// they are told again.
class FactBook {
 public:
  void Take(const records::Record& record, const Spot& spot);
  // From x on nothing is known.
  void LoseAll(AxisX x);
  // Of each the different texts that are in force inside, which begins at `begin`.
  std::vector<CaseFact> Finish(const Inside& inside, AxisX begin) const;

 private:
  struct Told {
    AxisX x;
    std::string text;
    unsigned int tick;
    bool is_known;
  };

  static bool IsInForce(const std::vector<Told>& told, std::size_t i, const Inside& inside,
                        AxisX begin);
  static void Add(const Told& told, CaseFact& fact);

  std::map<records::KindId, std::vector<Told>> told_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_FACT_BOOK_H_
