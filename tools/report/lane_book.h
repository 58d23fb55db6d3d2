// Inputs, microphones, cameras, streams and devices as lanes over time.
#ifndef VMR_TOOLS_REPORT_LANE_BOOK_H_
#define VMR_TOOLS_REPORT_LANE_BOOK_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "records/record.h"
#include "tools/read/phrase.h"
#include "tools/read/state_table.h"
#include "tools/report/case_file.h"
#include "tools/report/line_builder.h"
#include "tools/report/placement.h"

namespace vmr::tool {

// What a unit can tell has a lane, whether the recording tells it or not.
class LaneBook {
 public:
  LaneBook();

  void Take(const records::Record& record, const Spot& spot, const Phrases& phrases);
  // From x on nothing is known.
  void LoseAll(AxisX x);
  // `begin`: where the recording does.
  std::vector<CaseLane> Finish(AxisX begin);

 private:
  struct Lane {
    std::vector<std::string> words;
    LineBuilder line;
  };
  using Named = std::pair<records::KindId, std::int64_t>;

  Lane& LaneOf(const StateTable::Key& key);
  static std::int64_t WordOf(const records::Record& record, Lane& lane);
  void LearnName(const records::Record& record, const Phrases& phrases);
  std::string NameOf(const StateTable::Key& key) const;
  std::string NamesOf(records::KindId kind, std::int64_t number) const;

  std::map<StateTable::Key, Lane> lanes_;
  std::map<Named, std::vector<std::string>> names_;  // the different ones, as Phrases has them
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_REPORT_LANE_BOOK_H_
