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
  enum class Loss { kNone, kBehindGap, kInNewRun };

  void Take(const records::Record& record, const Spot& spot);
  // From x on nothing is known.
  void LoseAll(AxisX x, Loss why);
  // Of each the texts that are in force in the part, or all of them without one, a text for each
  // change: who comes back is told again. Of more than kMostChanges the first ones and the last
  // one. Of a part that is not recorded nothing is known.
  std::vector<CaseFact> Finish(const Inside* part) const;
  // Some of them were known and got lost in a gap in front of x.
  bool AreLostAt(AxisX x) const;

  static constexpr std::size_t kMostChanges = 8;

 private:
  struct Told {
    AxisX x;
    std::string text;
    unsigned int tick;
    Loss lost;  // kNone: it is known from here on
  };

  static bool IsInForce(const std::vector<Told>& told, std::size_t i, const Inside& part);
  // The last one up to x; null: none.
  static const Told* LastAt(const std::vector<Told>& told, AxisX x);
  static std::string WhyUntold(const std::vector<Told>& told, const Inside* part);
  static void Add(const Told& told, CaseFact& fact);

  std::map<records::KindId, std::vector<Told>> told_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_FACT_BOOK_H_
